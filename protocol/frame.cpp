#include "protocol/frame.h"

#include <bit>

#include "protocol/layout.h"

namespace callhome::protocol {

FrameHeader request_header(std::uint32_t opcode, std::uint32_t operation, std::uint32_t length) {
    return {.magic = frame_magic,
            .version = frame_version,
            .kind = static_cast<std::uint32_t>(FrameKind::request),
            .opcode = opcode,
            .operation = operation,
            .status = 0,
            .length = length};
}

FrameHeader reply_header(const FrameHeader& request, Status status, std::uint32_t length) {
    FrameHeader header = request_header(request.opcode, request.operation, length);
    header.kind = static_cast<std::uint32_t>(FrameKind::reply);
    header.status = static_cast<std::uint32_t>(status);
    return header;
}

FrameHeaderBytes encode(FrameHeader header) {
    auto bytes = std::bit_cast<FrameHeaderBytes>(header);
    convert_byte_order(bytes, layout_of<FrameHeader>());
    return bytes;
}

FrameHeader decode(const FrameHeaderBytes& bytes) {
    FrameHeaderBytes host_order = bytes;
    convert_byte_order(host_order, layout_of<FrameHeader>());
    return std::bit_cast<FrameHeader>(host_order);
}

const char* why_invalid(const FrameHeader& header, FrameKind kind) {
    if (header.magic != frame_magic) {
        return "the frame does not begin with the magic word";
    }
    if (header.version != frame_version) {
        return "the frame has another protocol version";
    }
    if (header.kind != static_cast<std::uint32_t>(kind)) {
        return "the frame goes the wrong way";
    }
    if (kind == FrameKind::request && header.status != 0) {
        return "a request carries a status";
    }
    if (header.length > largest_frame_body) {
        return "the frame is too long";
    }
    return nullptr;
}

}  // namespace callhome::protocol
