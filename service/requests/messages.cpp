#include "requests/checks.h"
#include "requests/fields.h"
#include "requests/functions.h"

namespace callhome::service {
namespace {

using protocol::Status;

protocol::SendMessageRecord answer_record(const std::string& type, std::string_view text) {
    protocol::SendMessageRecord answer{};
    write_text(answer.type, type);
    write_text(answer.reply_text, cut_text(text, sizeof(answer.reply_text) - 1));
    return answer;
}

}  // namespace

Outcome send_message(Call& call, const protocol::SendMessageRecord& record) {
    const MessageRequest request{.type = read_text(record.type),
                                 .parameter_1 = read_text(record.parameter_1),
                                 .parameter_2 = read_text(record.parameter_2),
                                 .requested_by = call.caller.login_name()};
    if (!is_name(request.type)) {
        return Status::malformed_request;
    }
    if (!call.configuration().enabled) {
        call.reply.set_record(answer_record(request.type, disabled_text));
        return Status::not_sent;
    }
    call.messages.send(request, [answer = call.caller.answer_later(), type = request.type](
                                    Status status, const std::string& text) {
        const protocol::SendMessageRecord reply = answer_record(type, text);
        answer(status, std::as_bytes(std::span(&reply, 1)));
    });
    return std::nullopt;
}

Outcome post_alert(Call& call, const protocol::AlertRecord& record) {
    const AlertRequest request{.alert = read_text(record.alert),
                               .source = read_text(record.source),
                               .text = read_text(record.text),
                               .requested_by = call.caller.login_name(),
                               .severity = record.severity};
    if (!is_name(request.alert)) {
        return Status::malformed_request;
    }
    if (!call.configuration().enabled) {
        call.reply.set_text(disabled_text);
        return Status::not_sent;
    }
    call.messages.alert(request,
                        [answer = call.caller.answer_later()](Status status, const std::string& text) {
                            answer(status, std::as_bytes(std::span(text)));
                        });
    return std::nullopt;
}

Outcome get_next_message(Call& call, const protocol::MessageLogRecord& record) {
    const auto message = call.messages.message_after(record.id);
    if (!message) {
        return Status::no_further_entry;
    }
    call.reply.set_record(*message);
    return Status::ok;
}

Outcome get_next_delivery(Call& call, const protocol::DeliveryLogRecord& record) {
    const auto delivery = call.messages.delivery_after(record.id, record.message_id, record.state);
    if (!delivery) {
        return Status::no_further_entry;
    }
    call.reply.set_record(*delivery);
    return Status::ok;
}

Outcome get_message_text(Call& call, const protocol::MessageKeyRecord& record) {
    const auto text = call.messages.message_text(record.id);
    if (!text) {
        return Status::not_found;
    }
    call.reply.set_text(*text);
    return Status::ok;
}

}  // namespace callhome::service
