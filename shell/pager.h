// Shows text a screen at a time.
#pragma once

#include <cstddef>

#include <string_view>

namespace callhome::shell {

class Pager {
 public:
    // Writes to `output`; stops at each screen when `enabled` and the terminal can be asked.
    Pager(int output, bool enabled);
    Pager(const Pager&) = delete;
    Pager& operator=(const Pager&) = delete;
    ~Pager();

    // `lines` is whole lines. Nothing more is shown once the reader has left.
    void show(std::string_view lines);

    // True when something could not be written where it should go.
    bool has_failed() const { return has_failed_; }

 private:
    void ask();
    char read_key();
    void write_all(std::string_view text);

    int output_;
    int terminal_ = -1;
    std::size_t rows_ = 0, columns_ = 0;
    std::size_t rows_left_ = 0;
    bool has_left_ = false;
    bool has_failed_ = false;
};

}  // namespace callhome::shell
