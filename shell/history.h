// The commands typed so far. They outlive the session's process, and, where a folder can be had, the shell.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace callhome::shell {

inline constexpr std::size_t history_length = 1000;  // commands

class History {
 public:
    History() = default;
    History(const History&) = delete;
    History& operator=(const History&) = delete;
    ~History();

    // Opens the file $XDG_STATE_HOME/callhome/history (mode 0600); without a place for it, the commands
    // are kept for as long as the shell runs. Reads what is there.
    void open();
    // Reads again what this and earlier session processes have added.
    void reload();
    void add(std::string_view line);
    const std::vector<std::string>& lines() const { return lines_; }

 private:
    int file_ = -1;
    std::vector<std::string> lines_;
};

}  // namespace callhome::shell
