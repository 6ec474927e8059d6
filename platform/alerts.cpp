#include <algorithm>
#include <cstring>
#include <span>

#include "platform/interface.h"
#include "protocol/layout.h"
#include "protocol/records/message.h"
#include "record_text.h"
#include "service_link.h"

namespace callhome::platform {
namespace {

using protocol::AlertRecord;
using protocol::Opcode;
using protocol::Operation;

std::string_view or_empty(const char* text) {
    return text == nullptr ? "" : text;
}

AlertRecord alert_record(const char* alert, const char* source, const char* text, std::uint32_t severity) {
    AlertRecord record{};
    put_text(record.alert, or_empty(alert));
    put_text(record.source, or_empty(source));
    put_text(record.text, or_empty(text));
    record.severity = severity;
    return record;
}

ServiceStatus post(AlertRecord record, Reply& reply) {
    const auto bytes = std::as_writable_bytes(std::span(&record, 1));
    protocol::convert_byte_order(bytes, protocol::layout_of<AlertRecord>());
    return try_exchange(
        {static_cast<std::uint32_t>(Opcode::post_alert), static_cast<std::uint32_t>(Operation::set), bytes},
        request_timeout, reply);
}

}  // namespace
}  // namespace callhome::platform

using namespace callhome::platform;

extern "C" ServiceStatus ch_post_alert(uint32_t /*transport_handle*/, const char* alert, const char* source,
                                       const char* text, AlertResult* result) {
    Reply reply;
    const ServiceStatus status =
        post(alert_record(alert, source, text, callhome::protocol::severity_of_its_name), reply);
    if (result != nullptr) {
        *result = {};
        result->status = status;
        if (reply.record != nullptr) {
            put_text(result->text, {reinterpret_cast<const char*>(reply.record.get()), reply.length});
        }
    }
    return status;
}

extern "C" ServiceStatus ch_post_syslog_alert(uint32_t /*transport_handle*/, const char* source,
                                              uint32_t severity, const char* text) {
    Reply reply;
    return post(alert_record(callhome::protocol::syslog_alert, source, text, severity), reply);
}
