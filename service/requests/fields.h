// Text fields of records.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <string>
#include <string_view>

namespace callhome::service {

// The text of a field, without its terminator.
template <std::size_t size>
std::string read_text(const char (&field)[size]) {
    return {field, ::strnlen(field, size)};
}

// Writes `text`, cut to the field, and its terminator. The field is zero before.
template <std::size_t size>
void write_text(char (&field)[size], std::string_view text) {
    std::ranges::copy(text.substr(0, size - 1), field);
}

}  // namespace callhome::service
