#include "signature/expected_line.h"

#include <algorithm>
#include <cstring>

#include "display/output.h"
#include "signature/text.h"

namespace callhome::library {

std::size_t take_expected_line(const char*& position, const char* needle) {
    const char* line = nullptr;
    std::size_t length = 0;
    const int result = find_line_containing(position, needle, &line, &length);
    std::memset(buffer, 0, sizeof buffer);
    if (result != 0 || line == nullptr) {
        return 0;
    }
    constexpr std::size_t most = sizeof buffer - 1;
    bounded_copy(buffer, line, std::min(length, most));
    if (length > most) {
        buffer[most - 1] = '\n';
    }
    position = line + length;
    return length;
}

void show_expected_line(const char*& position, const char* needle) {
    take_expected_line(position, needle);
    cli_print(h, buffer, end_of_tuples);
}

}  // namespace callhome::library
