#include "messages/queue_actions.h"

#include <fmt/format.h>
#include <spdlog/spdlog.h>

#include <algorithm>
#include <limits>

#include "messages/resent_message.h"
#include "messages/text.h"

namespace callhome::service {
namespace {

using protocol::Status;

constexpr const char* text_is_gone = "its text is gone: it was dropped from a full queue";
constexpr const char* cannot_be_read = "its text cannot be read";

std::uint32_t counted(std::uint64_t number) {
    return static_cast<std::uint32_t>(
        std::min<std::uint64_t>(number, std::numeric_limits<std::uint32_t>::max()));
}

void say_why(protocol::ResendRecord& record, const std::string& why) {
    const std::string_view part = cut_to(why, sizeof record.why_not - 1);
    std::ranges::copy(part, record.why_not);
}

// A message that nobody waits for any more counts as one that comes to the queue.
std::string why_not_due(const PostOffice& post_office, const RecordedMessage& recorded) {
    if (recorded.failed == 0 || recorded.waiting > 0) {
        return "";
    }
    NewMessage coming = recorded.message;
    coming.receivers.resize(recorded.failed);
    return post_office.queue().why_no_room_for(coming, post_office.limits());
}

// Gives why there is no new message.
std::string send_anew(PostOffice& post_office, const NewMessage& message, std::int64_t now,
                      protocol::ResendRecord& record) {
    const auto copy = resent(message, now);
    if (!copy) {
        return cannot_be_read;
    }
    const RecordedMessages recorded = post_office.accept(std::span(&*copy, 1));
    if (!recorded.why_no_room.empty()) {
        return recorded.why_no_room;
    }
    const auto delivery = post_office.queue().delivery_after(
        static_cast<std::uint32_t>(recorded.deliveries.front().front() - 1), 0);
    record.new_message = delivery ? +delivery->message_id : 0;
    record.receivers = counted(message.receivers.size());
    return "";
}

}  // namespace

protocol::ClearQueueRecord clear_queue_of(PostOffice& post_office, const std::string& requested_by) {
    const auto cleared = post_office.give_up_all(
        fmt::format("given up: the queue was cleared by {}", clean_line(requested_by)));
    if (cleared.given_up > 0) {
        spdlog::warn("The queue was cleared by {}; deliveries given up: {}", clean_line(requested_by),
                     cleared.given_up);
    }
    return {.given_up = counted(cleared.given_up), .under_way = counted(cleared.under_way)};
}

// Those who have the message come last: the new one may push the old one out of what is kept.
std::pair<Status, protocol::ResendRecord> resend_from(PostOffice& post_office, std::uint32_t id,
                                                      std::int64_t now) {
    protocol::ResendRecord record{};
    record.message_id = id;
    const auto recorded = post_office.queue().recorded_message(id);
    if (!recorded) {
        return {Status::not_found, record};
    }
    if (recorded->message.content.empty()) {
        say_why(record, text_is_gone);
        return {Status::not_sent, record};
    }
    std::string why_not = why_not_due(post_office, *recorded);
    if (why_not.empty()) {
        const auto due = post_office.make_due(id);
        record.due_now = counted(due.receivers);
        record.under_way = counted(due.under_way);
    }
    if (!recorded->message.receivers.empty()) {
        const std::string why_not_anew = send_anew(post_office, recorded->message, now, record);
        why_not = why_not.empty() ? why_not_anew : why_not;
    }
    say_why(record, why_not);
    const bool is_any_done = record.due_now > 0 || record.under_way > 0 || record.new_message > 0;
    return {is_any_done ? Status::ok : Status::not_sent, record};
}

protocol::QueueStateRecord state_of(const PostOffice& post_office) {
    const QueueTotals totals = post_office.queue().totals();
    const QueueLimits& limits = post_office.limits();
    protocol::QueueStateRecord record{};
    record.messages = counted(totals.messages);
    record.most_messages = counted(limits.messages);
    record.deliveries = counted(totals.deliveries);
    record.bytes = counted(totals.bytes);
    record.most_bytes = counted(limits.bytes);
    record.dropped = counted(totals.dropped);
    return record;
}

}  // namespace callhome::service
