// Which record belongs to which opcode, and its way between host and transport byte order.
#pragma once

#include <optional>

#include "protocol/opcode.h"
#include "protocol/record.h"

namespace callhome::protocol {

// A reply that is not a record: text in the byte order of the service, of any length.
inline constexpr Layout text_reply{};

struct Exchange {
    Opcode opcode;
    Layout request;
    Layout reply;
    std::size_t behind_reply = 0;    // bytes that may stand behind the reply's record
    std::size_t behind_request = 0;  // the same of the request
};

// The records of an opcode; a null pointer for a number that nobody uses.
const Exchange* find_exchange(std::uint32_t opcode);

// Turns each 32-bit word of `record` that lies whole within it from host to big-endian order, or
// back: the conversion is its own inverse. Bytes behind the layout are left alone.
void convert_byte_order(std::span<std::byte> record, const Layout& layout);

// Says why `record` cannot be a record of this layout with at most `behind` bytes behind it (wrong
// length, a text without its terminator), or gives a null pointer when it can. The texts name no
// content of the record.
const char* why_invalid(std::span<const std::byte> record, const Layout& layout, std::size_t behind = 0);

}  // namespace callhome::protocol
