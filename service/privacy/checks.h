// Whether what stands at the place of a secret or an address is one.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

#include "privacy/rules.h"

namespace callhome::service {

// A part of a line, and what tells it from other secrets: one address has one identity, however it is
// spelled.
struct Found {
    std::size_t begin;
    std::size_t end;
    std::string identity;
};

// What of line[begin, end) is to be masked; nothing where it is no secret.
std::optional<Found> checked(Check check, std::string_view line, std::size_t begin, std::size_t end);

// True for a text that nobody would write by itself: long enough, of letters and digits.
bool looks_random(std::string_view text);

}  // namespace callhome::service
