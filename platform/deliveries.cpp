#include "platform/deliveries.h"

#include <cerrno>

#include "ask.h"
#include "protocol/records/delivery.h"
#include "record_text.h"

namespace callhome::platform {
namespace {

using protocol::Opcode;
using protocol::Operation;

constexpr const char* by_mail = "email";
constexpr const char* by_http = "http";

ServiceStatus report_broken_preview() {
    return report_failure(EPROTO, "the call-home service's preview ends in the middle");
}

// Takes the first piece off what came; false when it is not whole.
bool take_message(std::string_view& rest, PreviewRow& row) {
    if (rest.size() < sizeof(protocol::PreviewHead)) {
        return false;
    }
    const auto head = record_in<protocol::PreviewHead>(rest);
    rest.remove_prefix(sizeof head);
    if (head.length > rest.size()) {
        return false;
    }
    row = {.profile = text_in(head.profile),
           .format = format_word(head.format),
           .transport = head.is_mail != 0 ? by_mail : by_http,
           .receivers = text_in(head.receivers),
           .subject = text_in(head.subject),
           .text = std::string(rest.substr(0, head.length)),
           .size = head.size};
    rest.remove_prefix(head.length);
    return true;
}

}  // namespace

ServiceStatus read_queue_state(QueueState& state) {
    Reply reply;
    const ServiceStatus status =
        ask(Opcode::queue_state, Operation::get, protocol::QueueStateRecord{}, reply);
    if (status != 0) {
        return status;
    }
    const auto record = record_in<protocol::QueueStateRecord>(reply);
    state = {.messages = record.messages,
             .most_messages = record.most_messages,
             .deliveries = record.deliveries,
             .bytes = record.bytes,
             .most_bytes = record.most_bytes,
             .dropped = record.dropped,
             .is_degraded = record.is_degraded != 0,
             .degraded_since = record.degraded_since,
             .trouble = text_in(record.trouble)};
    return 0;
}

ServiceStatus read_profile_statistics(const std::string& profile, ProfileStatistics& statistics) {
    protocol::ProfileStatisticsRecord key{};
    put_text(key.profile, profile);
    Reply reply;
    const ServiceStatus status = ask(Opcode::profile_statistics, Operation::get, key, reply);
    if (status != 0) {
        return status;
    }
    const auto record = record_in<protocol::ProfileStatisticsRecord>(reply);
    statistics = {.profile = text_in(record.profile),
                  .sent = record.sent,
                  .recovered = record.recovered,
                  .lost = record.lost,
                  .waiting = record.waiting,
                  .since = record.since,
                  .last_success_at = record.last_success_at,
                  .last_error_at = record.last_error_at,
                  .last_latency = record.last_latency,
                  .mean_latency = record.mean_latency,
                  .most_latency = record.most_latency,
                  .last_error = text_in(record.last_error)};
    return 0;
}

ServiceStatus clear_queue(ClearedQueue& cleared) {
    Reply reply;
    const ServiceStatus status =
        ask(Opcode::clear_queue, Operation::set, protocol::ClearQueueRecord{}, reply);
    if (status == 0) {
        const auto record = record_in<protocol::ClearQueueRecord>(reply);
        cleared = {.given_up = record.given_up, .under_way = record.under_way};
    }
    return status;
}

ServiceStatus resend_message(std::uint32_t message_id, ResentMessage& resent) {
    protocol::ResendRecord key{};
    key.message_id = message_id;
    Reply reply;
    const ServiceStatus status = ask(Opcode::resend_message, Operation::set, key, reply);
    const auto record = record_in<protocol::ResendRecord>(reply);
    resent = {.due_now = record.due_now,
              .under_way = record.under_way,
              .new_message = record.new_message,
              .receivers = record.receivers,
              .why_not = text_in(record.why_not)};
    return status;
}

ServiceStatus read_preview(const std::string& type, const std::string& profile, Preview& preview) {
    protocol::PreviewRequestRecord key{};
    put_text(key.type, type);
    put_text(key.profile, profile);
    Reply reply;
    const ServiceStatus status = ask(Opcode::message_preview, Operation::get, key, reply);
    std::string_view rest = text_of(reply);
    if (status != 0) {
        preview.why_not = rest;
        return status;
    }
    if (rest.size() < sizeof(protocol::PreviewTotals)) {
        return report_broken_preview();
    }
    const auto totals = record_in<protocol::PreviewTotals>(rest);
    rest.remove_prefix(sizeof totals);
    preview.left_out = totals.left_out;
    for (std::uint32_t number = 0; number < totals.messages; ++number) {
        PreviewRow row;
        if (!take_message(rest, row)) {
            return report_broken_preview();
        }
        preview.messages.push_back(std::move(row));
    }
    return 0;
}

}  // namespace callhome::platform
