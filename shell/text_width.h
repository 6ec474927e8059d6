// How much room a text takes on a terminal.
#pragma once

#include <cstddef>
#include <string_view>

namespace callhome::shell {

// Columns, one a character.
constexpr std::size_t text_width(std::string_view text) {
    std::size_t columns = 0;
    for (const char byte : text) {
        const bool continues_character = (static_cast<unsigned char>(byte) & 0xC0U) == 0x80U;
        columns += continues_character ? 0 : 1;
    }
    return columns;
}

}  // namespace callhome::shell
