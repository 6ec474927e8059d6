#include <array>
#include <cstdio>
#include <cstring>

#include "callhome/data.h"
#include "callhome/handlers.h"
#include "config/host.h"
#include "display/generator.h"
#include "display/output.h"
#include "frame/outcome.h"
#include "frame/reply.h"
#include "frame/text.h"
#include "platform/interface.h"

namespace callhome::library {
namespace {

using protocol::MailServerRecord;
using protocol::MailSettingsRecord;
using protocol::Opcode;
using protocol::Operation;
using protocol::Status;

enum Tag : std::uint32_t {
    tag_from = 0x30740051,
    tag_reply_to = 0x30740052,
    tag_return_receipt = 0x30740053,
    tag_smtp_server = 0x30740054,
    tag_smtp_port = 0x30740055,
};

// More servers than any service keeps: a walk that is longer goes in circles.
constexpr int longest_walk = 1024;

template <std::size_t size>
void print_field_unless_empty(std::uint32_t tag, const char* format, const char (&field)[size]) {
    const FieldText text(field);
    if (!text.empty()) {
        print_tuple(tag, format, text.c_str());
    }
}

// Prints the line in `buffer` as an error.
std::uint32_t print_error_line() {
    print_tuple(tag_error, "%s", buffer);
    cli_print_send(h);
    return failed;
}

std::uint32_t show_refusal(ServiceStatus status) {
    if (status == code(Status::transport_failed)) {
        std::snprintf(buffer, sizeof buffer, "%s", transport_error);
    } else {
        std::snprintf(buffer, sizeof buffer, "error %s", sys_err_to_str(status));
    }
    return print_error_line();
}

std::uint32_t show_incomplete(std::uint32_t got) {
    std::snprintf(buffer, sizeof buffer,
                  "error The answer of the call-home service was incomplete (%u of %zu bytes)\n", got,
                  sizeof(MailSettingsRecord));
    return print_error_line();
}

void show_settings(const MailSettingsRecord& settings) {
    print_tuple(tag_from, "from email addr:%s\n", FieldText(settings.from).c_str());
    print_field_unless_empty(tag_reply_to, "reply to email addr:%s\n", settings.reply_to);
    print_field_unless_empty(tag_return_receipt, "return receipt email addr:%s\n", settings.return_receipt);
    print_tuple(tag_smtp_server, "smtp server:%s\n", FieldText(settings.smtp_server).c_str());
    // Without a port the line shows what the buffer held before; scripts know that line.
    if (settings.port != 0) {
        std::snprintf(buffer, sizeof buffer, ":%d", static_cast<int>(settings.port));
    }
    print_tuple(tag_smtp_port, "smtp server port:%s\n", buffer);
    cli_print_send(h);
}

void write_smtp_server(const MailSettingsRecord& settings) {
    const FieldText server(settings.smtp_server);
    const FieldText vrf(settings.vrf_name);
    if (server.empty()) {
        return;
    }
    if (settings.port == 0 || settings.port == standard_mail_port) {
        cfgout_buf_printf("transport email smtp-server %s\n", server.c_str());
    } else {
        cfgout_buf_printf("transport email smtp-server %s port %d\n", server.c_str(),
                          static_cast<int>(settings.port));
    }
    if (!vrf.empty()) {
        cfgout_buf_printf("use-vrf %s\n", vrf.c_str());
    }
    pxd_data_present = 1;
}

void write_settings(const MailSettingsRecord& settings) {
    const FieldText from(settings.from);
    const FieldText reply_to(settings.reply_to);
    if (!from.empty()) {
        cfgout_buf_printf("transport email from %s\n", from.c_str());
        pxd_data_present = 1;
    }
    if (!reply_to.empty()) {
        cfgout_buf_printf("transport email reply-to %s\n", reply_to.c_str());
        pxd_data_present = 1;
    }
    write_smtp_server(settings);
}

void write_server(const MailServerRecord& server) {
    const FieldText host(server.host);
    const FieldText vrf(server.vrf_name);
    const int port = static_cast<int>(server.port);
    const int priority = static_cast<int>(server.priority);
    if (vrf.empty()) {
        cfgout_buf_printf("transport email mail-server %s port %d priority %d\n", host.c_str(), port,
                          priority);
    } else {
        cfgout_buf_printf("transport email mail-server %s port %d priority %d use-vrf %s\n", host.c_str(),
                          port, priority, vrf.c_str());
    }
}

std::int32_t write_servers(CommandContext& ctx) {
    MailServerRecord key{};
    for (int servers = 0; servers < longest_walk; ++servers) {
        Reply<MailServerRecord> reply;
        const ServiceStatus status = reply.ask(Opcode::mail_server, get_next_operation(), key, ctx);
        if (ends_walk(status)) {
            return code(Status::ok);
        }
        if (status != code(Status::ok)) {
            return generator_failure(status);
        }
        const MailServerRecord* server = reply.record();
        if (server == nullptr) {
            return incomplete_for_generator(reply.length(), sizeof *server);
        }
        write_server(*server);
        std::memcpy(key.host, server->host, sizeof key.host);
    }
    return endless_for_generator("mail servers");
}

}  // namespace
}  // namespace callhome::library

using namespace callhome::library;

uint32_t callhome_show_emailconf(CommandContext* ctx) {
    if (!begin_output(*ctx, "callhome_show_emailconf", __LINE__)) {
        return failed;
    }
    if (ctx->active_sup != active) {
        std::snprintf(buffer, sizeof buffer, "%s", active_sup_only);
        return print_error_line();
    }
    cmd_type = class_exec;
    MailSettingsRecord request{};
    Reply<MailSettingsRecord> reply;
    const ServiceStatus status = reply.ask(Opcode::mail_settings, Operation::get, request, *ctx);
    if (status != code(Status::ok)) {
        return show_refusal(status);
    }
    if (reply.record() == nullptr) {
        return show_incomplete(reply.length());
    }
    show_settings(*reply.record());
    return done;
}

int32_t callhome_emailconf_asciigen(CommandContext* ctx) {
    cmd_type = class_exec;
    MailSettingsRecord request{};
    Reply<MailSettingsRecord> reply;
    const ServiceStatus status = reply.ask(Opcode::mail_settings, get_operation(), request, *ctx);
    if (status == code(Status::distribution_off)) {
        return status;
    }
    if (status != code(Status::ok)) {
        return generator_failure(status);
    }
    if (reply.record() == nullptr) {
        return incomplete_for_generator(reply.length(), sizeof *reply.record());
    }
    write_settings(*reply.record());
    return write_servers(*ctx);
}
