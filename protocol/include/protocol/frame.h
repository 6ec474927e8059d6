// What travels on the service's socket: a header of seven big-endian words, then `length` bytes of
// record or text. One request frame is answered by one reply frame, in order.
#pragma once

#include "protocol/opcode.h"
#include "protocol/record.h"
#include "protocol/status.h"

namespace callhome::protocol {

inline constexpr std::uint32_t frame_magic = 0x43484D46;  // "CHMF"
inline constexpr std::uint32_t frame_version = 1;
inline constexpr std::uint32_t largest_frame_body = 16U * 1024 * 1024;  // bytes

enum class FrameKind : std::uint32_t {
    request = 1,
    reply = 2,
};

struct [[gnu::packed]] FrameHeader {
    std::uint32_t magic;
    std::uint32_t version;
    std::uint32_t kind;       // FrameKind
    std::uint32_t opcode;     // Opcode; a reply repeats the one of its request
    std::uint32_t operation;  // Operation; likewise
    std::uint32_t status;     // Status of a reply; 0 in a request
    std::uint32_t length;     // bytes that follow the header
};
CALLHOME_RECORD(FrameHeader, 28, magic, version, kind, opcode, operation, status, length);

using FrameHeaderBytes = std::array<std::byte, sizeof(FrameHeader)>;

FrameHeader request_header(std::uint32_t opcode, std::uint32_t operation, std::uint32_t length);
FrameHeader reply_header(const FrameHeader& request, Status status, std::uint32_t length);

FrameHeaderBytes encode(FrameHeader header);
FrameHeader decode(const FrameHeaderBytes& bytes);

// Says why a decoded header is not one of the given kind, or gives a null pointer when it is.
// Nothing else of a frame may be read before this has been asked.
const char* why_invalid(const FrameHeader& header, FrameKind kind);

}  // namespace callhome::protocol
