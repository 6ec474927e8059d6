#include <array>
#include <cstdio>

#include "callhome/data.h"
#include "callhome/handlers.h"
#include "config/host.h"
#include "frame/keywords.h"
#include "frame/outcome.h"
#include "frame/reply.h"
#include "frame/text.h"
#include "frame/tokens.h"
#include "protocol/records/http.h"
#include "protocol/records/mail.h"

namespace callhome::library {
namespace {

using protocol::AddressType;
using protocol::HttpProxyRecord;
using protocol::HttpVrfRecord;
using protocol::Opcode;
using protocol::Operation;
using protocol::Status;

constexpr std::uint32_t standard_proxy_port = 8080;
constexpr std::uint32_t short_host_name_kind = 8;  // some shells leave the high half out

struct ServerForm {
    std::uint32_t value_kind;
    AddressType type;
};

constexpr std::array server_forms{
    ServerForm{CALLHOME_VALUE_IPV4, AddressType::ipv4},
    ServerForm{CALLHOME_VALUE_IPV6, AddressType::ipv6},
    ServerForm{CALLHOME_VALUE_HOST_NAME, AddressType::host_name},
    ServerForm{short_host_name_kind, AddressType::host_name},
};

// False when the server was refused.
bool take_server(HttpProxyRecord& proxy, const TokenRecord& token) {
    for (const ServerForm& form : server_forms) {
        if (token.value_kind == form.value_kind) {
            if (text_value(token) != nullptr) {
                copy_text(proxy.server, text_value(token));
                proxy.address_type = static_cast<std::uint32_t>(form.type);
            }
            return true;
        }
    }
    say_invalid_host();
    return false;
}

void take_port(HttpProxyRecord& proxy, const TokenRecord& token) {
    set_number(proxy, &HttpProxyRecord::port, token);
    if (token.value != nullptr) {
        warn_of_port(proxy.port, standard_proxy_port);
    }
}

enum class Next {
    send,
    succeed,  // there is nothing to change
    fail,     // has been said
};

// Changes the proxy by the tokens. Switching it off is an update of it, so `operation` follows the keyword.
Next change_proxy(HttpProxyRecord& proxy, Operation& operation, const CommandContext& ctx) {
    const bool no_form = ctx.no_form != 0;
    for (const TokenRecord& token : Tokens(ctx)) {
        if (token.keyword_id == keyword_proxy_server && !take_server(proxy, token)) {
            return Next::fail;
        }
        if (token.keyword_id == keyword_proxy_port) {
            take_port(proxy, token);
        }
        if (token.keyword_id == keyword_proxy_enable) {
            if (no_form && proxy.enabled == 0) {
                return Next::succeed;
            }
            proxy.enabled = no_form ? 0 : 1;
            operation = Operation::set;
        }
    }
    proxy.trailing_flag = 0;
    return Next::send;
}

}  // namespace
}  // namespace callhome::library

using namespace callhome::library;

uint32_t callhome_http_proxy(CommandContext* ctx) {
    cmd_type = class_configuration;
    HttpProxyRecord request{};
    Reply<HttpProxyRecord> reply;
    const ServiceStatus status = reply.look_up(Opcode::http_proxy, request, *ctx);
    if (status != code(Status::ok)) {
        return report(status);
    }
    HttpProxyRecord* proxy = reply.record();
    if (proxy == nullptr) {
        return report_incomplete(reply.length(), sizeof *proxy, nothing_changed);
    }
    Operation operation = ctx->no_form == 0 ? Operation::set : Operation::remove;
    const Next next = change_proxy(*proxy, operation, *ctx);
    if (next != Next::send) {
        return next == Next::succeed ? done : failed;
    }
    return report(send_record(Opcode::http_proxy, operation, *proxy, *ctx));
}

uint32_t callhome_http_vrf(CommandContext* ctx) {
    cmd_type = class_configuration;
    HttpVrfRecord record{};
    for (const TokenRecord& token : Tokens(*ctx)) {
        if (token.keyword_id == keyword_http_vrf_name) {
            copy_text(record.vrf_name, text_value(token));
        }
    }
    const Operation operation = ctx->no_form == 0 ? Operation::set : Operation::remove;
    return report(send_record(Opcode::http_vrf, operation, record, *ctx));
}
