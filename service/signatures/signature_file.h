// Reads signatures from XML. The text may be anything: what is not a signature is refused in bounded time
// and memory, and nothing outside of it is ever opened.
#pragma once

#include <cstddef>
#include <string_view>
#include <variant>

#include "signatures/signature.h"

namespace callhome::service {

inline constexpr std::string_view signature_namespace = "urn:callhome:signature:1";
inline constexpr std::string_view signature_element = "diagnosticSignature";
inline constexpr std::size_t deepest_signature_element = 64;

std::variant<Signature, Refusal> read_signature(std::string_view xml);

}  // namespace callhome::service
