// Reading a text of the service by the lines that it is known to have.
#pragma once

#include <cstddef>

namespace callhome::library {

// Puts the next line that holds `needle` into `buffer`, moves `position` behind it and gives its length
// with the line feed. Without such a line `buffer` is empty, the position stays, and the result is 0:
// reading goes on with the line that is expected next. A line that is too long for the buffer is cut, but
// keeps its line feed.
std::size_t take_expected_line(const char*& position, const char* needle);

// The same, and prints the line as it is.
void show_expected_line(const char*& position, const char* needle);

}  // namespace callhome::library
