// Text in columns, safe to print on a terminal.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace callhome::shell {

enum class KeepLineEnds : std::uint8_t { no, yes };

// Control characters, and bytes that are not UTF-8, become "\x1b": what comes from the network must not
// drive the terminal.
std::string printable(std::string_view text, KeepLineEnds keep);

class Table {
 public:
    explicit Table(std::vector<std::string> titles) : rows_{std::move(titles)} {}

    void add(const std::vector<std::string>& row);
    // Titles, a line under them, the rows; every line ends.
    std::string text() const;

 private:
    std::vector<std::vector<std::string>> rows_;
};

}  // namespace callhome::shell
