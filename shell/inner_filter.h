// The filters of a command that runs within another one: what it prints goes through them in this process,
// on its way into the other one's output.
#pragma once

#include <cstdio>
#include <string>
#include <vector>

#include "filter.h"

namespace callhome::shell {

class InnerFilter {
 public:
    // From now on, what is written to `stdout` goes through the filters. Throws std::system_error.
    explicit InnerFilter(const std::vector<FilterSpec>& filters);
    InnerFilter(const InnerFilter&) = delete;
    InnerFilter& operator=(const InnerFilter&) = delete;
    // `stdout` is what it was.
    ~InnerFilter();

    // Shows what is left when the process exits inside the command.
    static void end_at_exit();

 private:
    static ssize_t take_written(void* cookie, const char* data, std::size_t size);
    void end();

    TextFilter filter_;
    std::FILE* outer_;
    std::FILE* stream_ = nullptr;
};

}  // namespace callhome::shell
