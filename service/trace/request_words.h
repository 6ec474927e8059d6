// Requests in words, for who reads traces.
#pragma once

#include <cstdint>
#include <string>

namespace callhome::service {

// "set feature_state"; numbers stand for what this service does not know.
std::string words_of_request(std::uint32_t opcode, std::uint32_t operation);

// True for operations that only look.
bool is_reading(std::uint32_t operation);

}  // namespace callhome::service
