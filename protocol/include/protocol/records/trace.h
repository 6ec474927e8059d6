// What support asks the service for.
#pragma once

#include "protocol/record.h"

namespace callhome::protocol {

// The trace buffers, by name: all that is traced, and the errors alone.
inline constexpr const char* whole_trace = "callhome";
inline constexpr const char* error_trace = "callhome_error_trace_buffer";

// Opcode trace_buffer; the reply is the buffer's lines as text, oldest first, without a terminator.
struct [[gnu::packed]] TraceKeyRecord {
    char buffer[64];  // its name
};
CALLHOME_RECORD(TraceKeyRecord, 64, buffer);

// Opcode memory_statistics; the reply is lines of text, without a terminator.
struct [[gnu::packed]] MemoryStatisticsRequest {
    std::uint32_t detail;  // 1: with the parts of each part
};
CALLHOME_RECORD(MemoryStatisticsRequest, 4, detail);

}  // namespace callhome::protocol
