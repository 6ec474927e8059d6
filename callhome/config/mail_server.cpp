#include <cstdio>

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

using protocol::MailServerRecord;
using protocol::Opcode;
using protocol::Operation;
using protocol::Status;

constexpr std::uint32_t default_priority = 50;
constexpr std::uint32_t server_reserved = 1;  // MailServerRecord::reserved
constexpr std::uint32_t unknown_vrf = 0;      // MailServerRecord::vrf_id

void say_invalid_token() {
    std::fputs("invalid tid", stderr);
}

// First pass over the tokens: which server. False when it was refused.
bool find_host(Host& host, const CommandContext& ctx) {
    for (const TokenRecord& token : Tokens(ctx)) {
        switch (token.keyword_id) {
            case keyword_mail_host:
                if (take_host(host, token) == HostToken::refused) {
                    return false;
                }
                break;
            case keyword_mail_port:
            case keyword_vrf_name:
            case keyword_mail_priority:
                break;
            default:
                say_invalid_token();
        }
    }
    return true;
}

void name_server(MailServerRecord& server, const Host& host) {
    copy_text(server.host, host.text);
    server.address_type = static_cast<std::uint32_t>(host.type);
}

// What the service knows of the server, or the defaults of a new one.
void set_starting_point(MailServerRecord& server, const MailServerRecord* known) {
    server.port = known == nullptr ? standard_mail_port : known->port;
    server.priority = known == nullptr ? default_priority : known->priority;
    if (known == nullptr) {
        copy_text(server.vrf_name, "");
    } else {
        copy_text(server.vrf_name, FieldText(known->vrf_name).c_str());
    }
    server.vrf_id = known == nullptr ? unknown_vrf : known->vrf_id;
}

// Second pass over the tokens: the server's settings.
void change_server(MailServerRecord& server, const CommandContext& ctx) {
    for (const TokenRecord& token : Tokens(ctx)) {
        switch (token.keyword_id) {
            case keyword_mail_host:
                break;
            case keyword_mail_port:
                set_number(server, &MailServerRecord::port, token);
                if (ctx.no_form == 0 && token.value != nullptr) {
                    warn_of_port(server.port);
                }
                break;
            case keyword_vrf_name:
                if (text_value(token) != nullptr) {
                    copy_text(server.vrf_name, text_value(token));
                    server.vrf_id = vrf_context(text_value(token)).value_or(unknown_vrf);
                }
                break;
            case keyword_mail_priority:
                set_number(server, &MailServerRecord::priority, token);
                break;
            default:
                say_invalid_token();
        }
    }
}

// `known` is the server as it was, or a null pointer for a new one.
std::uint32_t send_server(MailServerRecord& server, const MailServerRecord* known, CommandContext& ctx) {
    if (ctx.no_form != 0) {
        return report(send_record(Opcode::mail_server, Operation::remove, server, ctx));
    }
    if (known != nullptr && server.port != known->port) {
        std::fputs("Not allowed to change the port of existing SMTP server.\n", stderr);
        return failed;
    }
    return report(send_record(Opcode::mail_server, Operation::set, server, ctx));
}

}  // namespace
}  // namespace callhome::library

using namespace callhome::library;

uint32_t callhome_multiple_smtp(CommandContext* ctx) {
    cmd_type = class_configuration;
    Host host;
    if (!find_host(host, *ctx)) {
        return failed;
    }
    MailServerRecord server{};
    name_server(server, host);

    Reply<MailServerRecord> reply;
    const ServiceStatus status = reply.look_up(Opcode::mail_server, server, *ctx);
    const bool is_known = status == code(Status::ok);
    const MailServerRecord* known = is_known ? reply.record() : nullptr;
    if (is_known && known == nullptr) {
        return report_incomplete(reply.length(), sizeof *known, nothing_changed);
    }
    // The look-up has left the record in transport order.
    name_server(server, host);
    set_starting_point(server, known);
    server.reserved = server_reserved;
    change_server(server, *ctx);
    return send_server(server, known, *ctx);
}
