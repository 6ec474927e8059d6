// Cutting lines into words.
#pragma once

#include <string_view>

namespace callhome::shell {

inline constexpr std::string_view blanks = " \t";

constexpr bool is_blank(char character) {
    return character == ' ' || character == '\t';
}

// Written out rather than with find_first_of: the whole grammar passes through here at each start.
constexpr std::string_view trimmed(std::string_view text) {
    while (!text.empty() && is_blank(text.front())) {
        text.remove_prefix(1);
    }
    while (!text.empty() && is_blank(text.back())) {
        text.remove_suffix(1);
    }
    return text;
}

// Takes the first word off `rest`; empty when there is none. Afterwards `rest` begins at the next word.
constexpr std::string_view take_word(std::string_view& rest) {
    rest = trimmed(rest);
    std::size_t length = 0;
    while (length < rest.size() && !is_blank(rest[length])) {
        ++length;
    }
    const std::string_view word = rest.substr(0, length);
    rest = trimmed(rest.substr(length));
    return word;
}

}  // namespace callhome::shell
