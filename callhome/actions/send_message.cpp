#include <array>
#include <cstddef>
#include <cstdio>

#include "actions/reply_text.h"
#include "callhome/data.h"
#include "callhome/handlers.h"
#include "frame/keywords.h"
#include "frame/outcome.h"
#include "frame/reply.h"
#include "frame/text.h"
#include "frame/tokens.h"
#include "protocol/records/message.h"

namespace callhome::library {
namespace {

using protocol::Opcode;
using protocol::Operation;
using protocol::SendMessageRecord;
using protocol::Status;

constexpr std::uint32_t reply_text_offset = offsetof(SendMessageRecord, reply_text);

struct ActionParameter {
    std::uint32_t keyword;
    char (SendMessageRecord::*field)[256];
};
using ActionParameters = std::array<ActionParameter, 2>;

// The two action messages name their parameters in opposite orders; receivers rely on it.
constexpr ActionParameters swcrash_parameters{{
    {keyword_swcrash_first_parameter, &SendMessageRecord::parameter_1},
    {keyword_swcrash_second_parameter, &SendMessageRecord::parameter_2},
}};
constexpr ActionParameters obx_parameters{{
    {keyword_obx_second_parameter, &SendMessageRecord::parameter_2},
    {keyword_obx_first_parameter, &SendMessageRecord::parameter_1},
}};

struct SendCommand {
    const char* type;  // message type, as the service knows it
    const char* name;  // of the message in lines about it
    const char* announcement;
    bool active_sup_only;
    bool lenient;                        // 0 also when the message could not be sent
    const char* success;                 // line of an action message; the others print the reply's own
    const ActionParameters* parameters;  // of an action message
};

constexpr SendCommand test_command{"test",  "test", "trying to send test callhome message", true, false,
                                   nullptr, nullptr};
constexpr SendCommand inventory_command{
    "inventory", "inventory", "trying to send test callhome inventory message", false, true,
    nullptr,     nullptr};
constexpr SendCommand config_command{"PERIODIC_CONFIGURATION",
                                     "configuration",
                                     "trying to send configuration callhome message",
                                     true,
                                     false,
                                     nullptr,
                                     nullptr};
constexpr SendCommand diag_command{
    "TEMO-normal", "diagnostic", "trying to send diagnostic callhome message", true, false,
    nullptr,       nullptr};
constexpr SendCommand swcrash_command{"SW_CRASH",
                                      nullptr,
                                      "trying to send swcrash action mail- callhome message",
                                      true,
                                      false,
                                      "successfully sent swcrash action mail- callhome message",
                                      &swcrash_parameters};
constexpr SendCommand obx_command{
    "OBX_ALERT",    nullptr, "trying to send obx action mail- callhome message",
    true,           false,   "successfully sent obx action mail- callhome message",
    &obx_parameters};

void take_parameter(SendMessageRecord& record, const ActionParameters& parameters,
                    const TokenRecord& token) {
    for (const ActionParameter& parameter : parameters) {
        if (token.keyword_id == parameter.keyword) {
            copy_text(record.*parameter.field, text_value(token));
            return;
        }
    }
    std::fprintf(stderr, "token id %d \n", static_cast<int>(token.keyword_id));
}

void print_success(const SendCommand& command, char* text) {
    if (command.success != nullptr) {
        std::puts(command.success);
        print_warning(text);
    } else if (*trim(text) != '\0') {
        parse_and_print_test_alert_reply(text, command.name);
    }
}

std::uint32_t print_failure(const SendCommand& command, ServiceStatus status, const char* text) {
    report(status);
    if (status == code(Status::message_in_progress)) {
        return failed;
    }
    if (status != code(Status::transport_failed)) {
        print_explanation(text);
    }
    return command.lenient ? done : failed;
}

OwnedText text_of(const Reply<SendMessageRecord>& reply) {
    if (reply.length() <= reply_text_offset) {
        return copy_of_text("", 0);
    }
    return copy_of_text(reply.text_from(reply_text_offset), reply.length() - reply_text_offset);
}

std::uint32_t send_message(const SendCommand& command, CommandContext& ctx) {
    if (command.active_sup_only && ctx.active_sup != active) {
        std::fputs(active_sup_only, stderr);
        return failed;
    }
    cmd_type = class_exec;
    if (ctx.no_form != 0) {
        return refuse_no_form();
    }
    SendMessageRecord record{};
    if (command.parameters != nullptr) {
        for (const TokenRecord& token : Tokens(ctx)) {
            take_parameter(record, *command.parameters, token);
        }
    }
    copy_text(record.type, command.type);
    std::puts(command.announcement);

    Reply<SendMessageRecord> reply;
    const ServiceStatus status = reply.ask(Opcode::send_message, Operation::set, record, ctx);
    const OwnedText text = text_of(reply);
    if (status == code(Status::ok)) {
        print_success(command, text.get());
        return done;
    }
    return print_failure(command, status, text.get());
}

}  // namespace
}  // namespace callhome::library

using namespace callhome::library;

uint32_t callhome_test(CommandContext* ctx) {
    return send_message(test_command, *ctx);
}

uint32_t callhome_test_inventory(CommandContext* ctx) {
    return send_message(inventory_command, *ctx);
}

uint32_t callhome_send_config(CommandContext* ctx) {
    return send_message(config_command, *ctx);
}

uint32_t callhome_send_diag(CommandContext* ctx) {
    return send_message(diag_command, *ctx);
}

uint32_t callhome_send_swcrash(CommandContext* ctx) {
    return send_message(swcrash_command, *ctx);
}

uint32_t callhome_send_obx(CommandContext* ctx) {
    return send_message(obx_command, *ctx);
}
