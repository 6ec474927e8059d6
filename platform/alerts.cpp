#include <algorithm>
#include <cstring>
#include <span>

#include "platform/interface.h"
#include "protocol/records/message.h"
#include "record_text.h"
#include "service_link.h"

namespace callhome::platform {
namespace {

std::string_view or_empty(const char* text) {
    return text == nullptr ? "" : text;
}

}  // namespace
}  // namespace callhome::platform

extern "C" ServiceStatus ch_post_alert(uint32_t /*transport_handle*/, const char* alert, const char* source,
                                       const char* text, AlertResult* result) {
    using namespace callhome::platform;
    using callhome::protocol::Opcode;
    using callhome::protocol::Operation;

    callhome::protocol::AlertRecord record{};  // texts only: the same in either byte order
    put_text(record.alert, or_empty(alert));
    put_text(record.source, or_empty(source));
    put_text(record.text, or_empty(text));
    Reply reply;
    const ServiceStatus status =
        try_exchange({static_cast<std::uint32_t>(Opcode::post_alert),
                      static_cast<std::uint32_t>(Operation::set), std::as_bytes(std::span(&record, 1))},
                     request_timeout, reply);
    if (result != nullptr) {
        *result = {};
        result->status = status;
        if (reply.record != nullptr) {
            put_text(result->text, {reinterpret_cast<const char*>(reply.record.get()), reply.length});
        }
    }
    return status;
}
