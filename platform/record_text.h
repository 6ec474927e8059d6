// Texts in the fixed fields of records.
#pragma once

#include <algorithm>
#include <array>
#include <cstring>
#include <string>
#include <string_view>

namespace callhome::platform {

// Puts `text` into a zeroed field, cut to leave room for the terminator.
template <std::size_t size>
void put_text(char (&field)[size], std::string_view text) {
    std::memcpy(field, text.data(), std::min(text.size(), size - 1));
}

// The text of a field, also when its terminator is missing.
template <std::size_t size>
std::string text_in(const char (&field)[size]) {
    return {field, ::strnlen(field, size)};
}

}  // namespace callhome::platform
