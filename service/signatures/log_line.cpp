#include "signatures/log_line.h"

#include <algorithm>
#include <string>

namespace callhome::service {
namespace {

constexpr std::size_t most_priority_digits = 3;

// A letter, a digit, or a digit that may be a blank; everything else stands for itself.
constexpr std::string_view time_shape = "Aaa _0 00:00:00 ";

bool has_shape(char character, char shape) {
    const bool is_digit = character >= '0' && character <= '9';
    switch (shape) {
        case 'A':
            return character >= 'A' && character <= 'Z';
        case 'a':
            return character >= 'a' && character <= 'z';
        case '0':
            return is_digit;
        case '_':
            return is_digit || character == ' ';
        default:
            return character == shape;
    }
}

// Bytes of "<13>" at the beginning; 0 where there is none.
std::size_t priority_length(std::string_view line) {
    if (!line.starts_with('<')) {
        return 0;
    }
    const std::size_t end = line.find_first_not_of("0123456789", 1);
    const bool is_priority =
        end != std::string_view::npos && line[end] == '>' && end > 1 && end <= 1 + most_priority_digits;
    return is_priority ? end + 1 : 0;
}

}  // namespace

std::string_view without_syslog_head(std::string_view line) {
    const std::size_t priority = priority_length(line);
    if (priority == 0) {
        return line;
    }
    line.remove_prefix(priority);
    const std::string_view time = line.substr(0, time_shape.size());
    if (std::ranges::equal(time, time_shape, has_shape)) {
        line.remove_prefix(time.size());
    }
    return line;
}

void each_line(std::string_view text, const TakeLine& take) {
    while (!text.empty() && text.back() == '\0') {
        text.remove_suffix(1);
    }
    while (!text.empty()) {
        const std::size_t end = std::min(text.find('\n'), text.size());
        std::string_view line = text.substr(0, end);
        if (line.ends_with('\r')) {
            line.remove_suffix(1);
        }
        if (!line.empty()) {
            take(line);
        }
        text.remove_prefix(std::min(end + 1, text.size()));
    }
}

}  // namespace callhome::service
