// What the shipped schemas say of a file.
#pragma once

#include <string>
#include <string_view>

namespace callhome::service::tests {

// Empty when the text is valid; else why it is not.
std::string why_invalid(const char* schema_file, std::string_view text);

#ifdef SIGNATURE_SCHEMA
inline std::string why_invalid_signature(std::string_view text) {
    return why_invalid(SIGNATURE_SCHEMA, text);
}
#endif

}  // namespace callhome::service::tests
