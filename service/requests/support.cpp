// What support asks for: the traces and the memory of this service.
#include "requests/fields.h"
#include "requests/functions.h"
#include "requests/memory_statistics.h"

namespace callhome::service {

using protocol::Status;

Outcome get_trace_buffer(Call& call, const protocol::TraceKeyRecord& record) {
    const auto text = call.facts.traces->text_of(read_text(record.buffer));
    if (!text) {
        return Status::not_found;
    }
    call.reply.set_text(*text);
    return Status::ok;
}

Outcome get_memory_statistics(Call& call, const protocol::MemoryStatisticsRequest& record) {
    if (record.detail > 1) {
        return Status::malformed_request;
    }
    call.reply.set_text(memory_statistics_text(call, record.detail == 1));
    return Status::ok;
}

}  // namespace callhome::service
