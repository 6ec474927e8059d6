// How deliveries have fared, and what an operator does about them.
#include <algorithm>
#include <limits>
#include <vector>

#include "protocol/frame.h"
#include "protocol/layout.h"
#include "requests/checks.h"
#include "requests/fields.h"
#include "requests/functions.h"

namespace callhome::service {
namespace {

using protocol::Status;

constexpr std::string_view between_receivers = ", ";

template <typename Number>
std::uint32_t told(Number number) {
    constexpr std::int64_t most = std::numeric_limits<std::uint32_t>::max();
    return static_cast<std::uint32_t>(std::clamp<std::int64_t>(static_cast<std::int64_t>(number), 0, most));
}

template <typename Record>
void append(std::string& bytes, Record record) {
    const auto raw = std::as_writable_bytes(std::span(&record, 1));
    protocol::convert_byte_order(raw, protocol::layout_of<Record>());
    bytes.append(reinterpret_cast<const char*>(raw.data()), raw.size());
}

std::string joined(const std::vector<std::string>& receivers, std::size_t most) {
    std::string all;
    for (const std::string& receiver : receivers) {
        const std::string_view between = all.empty() ? "" : between_receivers;
        if (all.size() + between.size() + receiver.size() > most) {
            break;
        }
        all.append(between).append(receiver);
    }
    return all;
}

std::string preview_piece(const NewMessage& message) {
    std::string text = message.content;
    std::erase(text, '\r');
    protocol::PreviewHead head{};
    head.length = told(text.size());
    head.size = told(message.size);
    head.format = static_cast<std::uint32_t>(message.format);
    head.is_mail = message.carrier == Carrier::smtp ? 1 : 0;
    write_text(head.profile, message.profile);
    write_text(head.subject, cut_text(message.subject, sizeof(head.subject) - 1));
    write_text(head.receivers, joined(message.receivers, sizeof(head.receivers) - 1));
    std::string piece;
    append(piece, head);
    return piece + text;
}

// As many messages as one frame takes.
std::string preview_reply(const std::vector<NewMessage>& messages) {
    std::string pieces;
    std::size_t taken = 0;
    for (; taken < messages.size(); ++taken) {
        const std::string piece = preview_piece(messages[taken]);
        if (sizeof(protocol::PreviewTotals) + pieces.size() + piece.size() > protocol::largest_frame_body) {
            break;
        }
        pieces += piece;
    }
    std::string reply;
    append(reply,
           protocol::PreviewTotals{.messages = told(taken), .left_out = told(messages.size() - taken)});
    return reply + pieces;
}

bool is_known(const Call& call, const std::string& profile) {
    return call.store.effective().find_profile(profile) != nullptr;
}

}  // namespace

Outcome get_queue_state(Call& call, const protocol::QueueStateRecord& /*record*/) {
    protocol::QueueStateRecord answer = call.messages.queue_state();
    const StorageHealth& health = call.facts.database.health();
    if (health.is_degraded()) {
        answer.is_degraded = 1;
        answer.degraded_since = told(health.since());
        write_text(answer.trouble, cut_text(health.reason(), sizeof(answer.trouble) - 1));
    }
    call.reply.set_record(answer);
    return Status::ok;
}

// A profile that is gone keeps its figures.
Outcome get_profile_statistics(Call& call, const protocol::ProfileStatisticsRecord& record) {
    const std::string name = read_text(record.profile);
    const MessageStatistics::OfProfile figures = call.facts.statistics.of_profile(name);
    if (figures.since == 0 && !is_known(call, name)) {
        return Status::not_found;
    }
    protocol::ProfileStatisticsRecord answer{};
    write_text(answer.profile, name);
    answer.sent = figures.sent;
    answer.recovered = figures.recovered;
    answer.lost = figures.lost;
    answer.waiting = call.facts.statistics.waiting_of(name);
    answer.since = told(figures.since);
    answer.last_success_at = told(figures.last_success_at);
    answer.last_error_at = told(figures.last_error_at);
    answer.last_latency = told(figures.last_latency_ms);
    answer.mean_latency = told(figures.mean_latency_ms);
    answer.most_latency = told(figures.most_latency_ms);
    write_text(answer.last_error, cut_text(figures.last_error, sizeof(answer.last_error) - 1));
    call.reply.set_record(answer);
    return Status::ok;
}

Outcome clear_queue(Call& call, const protocol::ClearQueueRecord& /*record*/) {
    call.reply.set_record(call.messages.clear_queue(call.caller.login_name()));
    return Status::ok;
}

Outcome resend_message(Call& call, const protocol::ResendRecord& record) {
    if (!call.configuration().enabled) {
        protocol::ResendRecord answer{};
        answer.message_id = record.message_id;
        write_text(answer.why_not, disabled_text);
        call.reply.set_record(answer);
        return Status::not_sent;
    }
    const auto [status, answer] = call.messages.resend(record.message_id);
    call.reply.set_record(answer);
    return status;
}

Outcome get_message_tail(Call& call, const protocol::MessageTailRecord& record) {
    protocol::MessageTailRecord answer{};
    answer.count = record.count;
    answer.before = call.messages.id_before_last(record.count);
    call.reply.set_record(answer);
    return Status::ok;
}

Outcome preview_message(Call& call, const protocol::PreviewRequestRecord& record) {
    const PreviewRequest request{.type = read_text(record.type),
                                 .profile = read_text(record.profile),
                                 .requested_by = call.caller.login_name()};
    if (!is_name(request.type)) {
        return Status::malformed_request;
    }
    call.messages.preview(request,
                          [answer = call.caller.answer_later()](Status status, const std::string& why,
                                                                const std::vector<NewMessage>& messages) {
                              const std::string body = status == Status::ok ? preview_reply(messages) : why;
                              answer(status, std::as_bytes(std::span(body)));
                          });
    return std::nullopt;
}

}  // namespace callhome::service
