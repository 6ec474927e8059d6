// What show handlers print through the structured output.
#pragma once

#include <cstdint>

#include "callhome/data.h"
#include "platform/interface.h"

namespace callhome::library {

inline constexpr std::uint32_t tag_error = 0;
inline constexpr void* end_of_tuples = nullptr;

// One tuple through the handle `h`.
inline void print_tuple(std::uint32_t tag, const char* format, const char* value) {
    cli_print(h, format, cli_tuple(tag, value), end_of_tuples);
}

}  // namespace callhome::library
