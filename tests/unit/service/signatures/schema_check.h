// What the shipped schema says of a signature file.
#pragma once

#include <string>
#include <string_view>

namespace callhome::service::tests {

// Empty when the text is valid; else why it is not.
std::string why_invalid_signature(std::string_view text);

}  // namespace callhome::service::tests
