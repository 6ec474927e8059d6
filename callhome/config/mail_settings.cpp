#include <array>

#include "callhome/data.h"
#include "callhome/handlers.h"
#include "config/host.h"
#include "frame/keywords.h"
#include "frame/outcome.h"
#include "frame/reply.h"
#include "frame/text.h"
#include "frame/tokens.h"

namespace callhome::library {
namespace {

using protocol::MailSettingsRecord;
using protocol::Opcode;
using protocol::Operation;
using protocol::Status;

constexpr std::uint32_t unknown_vrf = 1;  // MailSettingsRecord::vrf_id

struct SettingKeyword {
    std::uint32_t keyword;
    char (MailSettingsRecord::*field)[256];
};

constexpr std::array text_parameters{
    SettingKeyword{keyword_from_address, &MailSettingsRecord::from},
    SettingKeyword{keyword_reply_to_address, &MailSettingsRecord::reply_to},
    SettingKeyword{keyword_return_receipt_address, &MailSettingsRecord::return_receipt},
};
constexpr std::array cleared_by_no_form{
    SettingKeyword{keyword_from, &MailSettingsRecord::from},
    SettingKeyword{keyword_reply_to, &MailSettingsRecord::reply_to},
    SettingKeyword{keyword_smtp_server, &MailSettingsRecord::smtp_server},
};

void take_texts(MailSettingsRecord& settings, const TokenRecord& token, bool no_form) {
    for (const SettingKeyword& parameter : text_parameters) {
        if (token.keyword_id == parameter.keyword) {
            copy_text(settings.*parameter.field, text_value(token));
        }
    }
    for (const SettingKeyword& cleared : cleared_by_no_form) {
        if (no_form && token.keyword_id == cleared.keyword) {
            (settings.*cleared.field)[0] = '\0';
        }
    }
}

void take_port(MailSettingsRecord& settings, const TokenRecord& token, bool no_form) {
    set_number(settings, &MailSettingsRecord::port, token);
    if (!no_form && token.value != nullptr) {
        warn_of_port(settings.port);
    }
}

HostToken take_server(MailSettingsRecord& settings, const TokenRecord& token) {
    Host host;
    const HostToken result = take_host(host, token);
    if (result == HostToken::taken) {
        copy_text(settings.smtp_server, host.text);
        settings.address_type = static_cast<std::uint32_t>(host.type);
    }
    return result;
}

// False when a token was refused.
bool change_settings(MailSettingsRecord& settings, const CommandContext& ctx) {
    const bool no_form = ctx.no_form != 0;
    for (const TokenRecord& token : Tokens(ctx)) {
        switch (token.keyword_id) {
            case keyword_mail_host:
                if (take_server(settings, token) == HostToken::refused) {
                    return false;
                }
                break;
            case keyword_mail_port:
                take_port(settings, token, no_form);
                break;
            case keyword_vrf_name:
                copy_text(settings.vrf_name, text_value(token));
                settings.vrf_id = vrf_context(text_value(token)).value_or(unknown_vrf);
                break;
            default:
                take_texts(settings, token, no_form);
        }
    }
    settings.trailing_flag = 0;
    return true;
}

}  // namespace
}  // namespace callhome::library

using namespace callhome::library;

uint32_t callhome_email(CommandContext* ctx) {
    cmd_type = class_configuration;
    MailSettingsRecord request{};
    Reply<MailSettingsRecord> reply;
    const ServiceStatus status = reply.look_up(Opcode::mail_settings, request, *ctx);
    if (status != code(Status::ok)) {
        return report(status);
    }
    MailSettingsRecord* settings = reply.record();
    if (settings == nullptr) {
        return report_incomplete(reply.length(), sizeof *settings, nothing_changed);
    }
    if (!change_settings(*settings, *ctx)) {
        return failed;
    }
    const Operation operation = ctx->no_form == 0 ? Operation::set : Operation::remove;
    return report(send_record(Opcode::mail_settings, operation, *settings, *ctx));
}
