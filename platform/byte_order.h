// Which record is a reply: the C interface gives the conversion no more than an opcode and a pointer.
#pragma once

#include <cstddef>
#include <cstdint>

namespace callhome::platform {

// The next conversion of `record` is that of a reply of `length` bytes. A caller converts a reply once,
// right after it came; when it sends the record back, it is a request.
void remember_reply(std::uint32_t opcode, const void* record, std::size_t length);

}  // namespace callhome::platform
