// Cutting lines into words.
#pragma once

#include <string_view>

namespace callhome::shell {

inline constexpr std::string_view blanks = " \t";

constexpr std::string_view trimmed(std::string_view text) {
    const std::size_t first = text.find_first_not_of(blanks);
    if (first == std::string_view::npos) {
        return text.substr(text.size());
    }
    return text.substr(first, text.find_last_not_of(blanks) - first + 1);
}

// Takes the first word off `rest`; empty when there is none. Afterwards `rest` begins at the next word.
constexpr std::string_view take_word(std::string_view& rest) {
    rest = trimmed(rest);
    const std::string_view word = rest.substr(0, rest.find_first_of(blanks));
    rest = trimmed(rest.substr(word.size()));
    return word;
}

}  // namespace callhome::shell
