// Patterns of signatures: RE2, so that no text makes one slow, and bounded in memory.
#pragma once

#include <re2/re2.h>

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace callhome::service {

// A pattern that needs more is refused: (x{1000}){1000} is short, its automaton is not.
inline constexpr std::int64_t pattern_memory = 1024L * 1024L;

RE2::Options pattern_options();

// Why the text is no pattern; nothing when it is one.
std::optional<std::string> why_no_pattern(const std::string& pattern);

// False also when the pattern is none.
bool matches_whole(const std::string& pattern, std::string_view text);
bool is_found_in(const std::string& pattern, std::string_view text);

}  // namespace callhome::service
