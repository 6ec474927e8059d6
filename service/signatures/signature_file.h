// Reads signatures from XML. The text may be anything: what is not a signature is refused in bounded time
// and memory, and nothing outside of it is ever opened.
#pragma once

#include <string_view>
#include <variant>

#include "signatures/signature.h"

namespace callhome::service {

std::variant<Signature, Refusal> read_signature(std::string_view xml);

}  // namespace callhome::service
