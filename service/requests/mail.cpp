#include <algorithm>

#include "requests/checks.h"
#include "requests/fields.h"
#include "requests/functions.h"

namespace callhome::service {
namespace {

using protocol::AddressType;
using protocol::Status;

constexpr std::size_t most_mail_servers = 16;
constexpr std::uint32_t highest_priority_number = 100;
constexpr std::uint32_t reserved_word = 1;

bool is_valid(const protocol::MailSettingsRecord& record) {
    return is_empty_or(is_email_address, read_text(record.from)) &&
           is_empty_or(is_email_address, read_text(record.reply_to)) &&
           is_empty_or(is_email_address, read_text(record.return_receipt)) &&
           is_empty_or(is_host, read_text(record.smtp_server)) &&
           is_empty_or(is_vrf_name, read_text(record.vrf_name)) && is_address_type(record.address_type) &&
           record.port <= highest_port;
}

bool is_valid(const protocol::MailServerRecord& record) {
    return is_host(read_text(record.host)) && is_empty_or(is_vrf_name, read_text(record.vrf_name)) &&
           is_address_type(record.address_type) && record.port != 0 && record.port <= highest_port &&
           record.priority != 0 && record.priority <= highest_priority_number;
}

MailSettings settings_of(const protocol::MailSettingsRecord& record) {
    return {.from = read_text(record.from),
            .reply_to = read_text(record.reply_to),
            .return_receipt = read_text(record.return_receipt),
            .smtp_server = read_text(record.smtp_server),
            .address_type = static_cast<AddressType>(record.address_type),
            .port = record.port,
            .vrf_name = read_text(record.vrf_name),
            .vrf_id = record.vrf_id};
}

Outcome answer_server(Call& call, const MailServer& server) {
    protocol::MailServerRecord answer{};
    write_text(answer.host, server.host);
    answer.address_type = static_cast<std::uint32_t>(server.address_type);
    answer.port = server.port;
    answer.priority = server.priority;
    answer.reserved = reserved_word;
    write_text(answer.vrf_name, server.vrf_name);
    answer.vrf_id = server.vrf_id;
    call.reply.set_record(answer);
    return Status::ok;
}

}  // namespace

Outcome get_mail_settings(Call& call, const protocol::MailSettingsRecord& /*record*/) {
    const MailSettings& mail = call.shared().mail;
    protocol::MailSettingsRecord answer{};
    write_text(answer.from, mail.from);
    write_text(answer.reply_to, mail.reply_to);
    write_text(answer.return_receipt, mail.return_receipt);
    write_text(answer.smtp_server, mail.smtp_server);
    answer.address_type = static_cast<std::uint32_t>(mail.address_type);
    answer.port = mail.port;
    write_text(answer.vrf_name, mail.vrf_name);
    answer.vrf_id = mail.vrf_id;
    call.reply.set_record(answer);
    return Status::ok;
}

Outcome set_mail_settings(Call& call, const protocol::MailSettingsRecord& record) {
    if (!is_valid(record)) {
        return Status::malformed_request;
    }
    call.copy.put_mail_settings(settings_of(record));
    return Status::ok;
}

// The record is what shall be left. What belongs to the server goes with it: a port or VRF that stays
// behind would be taken up by the next server.
Outcome clear_mail_settings(Call& call, const protocol::MailSettingsRecord& record) {
    if (!is_valid(record)) {
        return Status::malformed_request;
    }
    MailSettings settings = settings_of(record);
    if (settings.smtp_server.empty()) {
        const MailSettings defaults;
        settings.address_type = defaults.address_type;
        settings.port = defaults.port;
        settings.vrf_name = defaults.vrf_name;
        settings.vrf_id = defaults.vrf_id;
    }
    call.copy.put_mail_settings(settings);
    return Status::ok;
}

Outcome get_mail_server(Call& call, const protocol::MailServerRecord& record) {
    const MailServer* server = call.copy.find_mail_server(read_text(record.host));
    return server == nullptr ? Outcome(Status::not_found) : answer_server(call, *server);
}

Outcome get_next_mail_server(Call& call, const protocol::MailServerRecord& record) {
    const auto& servers = call.shared().mail_servers;
    const auto next = std::ranges::upper_bound(servers, read_text(record.host), {}, &MailServer::host);
    return next == servers.end() ? Outcome(Status::no_further_entry) : answer_server(call, *next);
}

Outcome set_mail_server(Call& call, const protocol::MailServerRecord& record) {
    if (!is_valid(record)) {
        return Status::malformed_request;
    }
    const MailServer server{.host = read_text(record.host),
                            .address_type = static_cast<AddressType>(record.address_type),
                            .port = record.port,
                            .priority = record.priority,
                            .vrf_name = read_text(record.vrf_name),
                            .vrf_id = record.vrf_id};
    const MailServer* existing = call.copy.find_mail_server(server.host);
    if (existing == nullptr && call.shared().mail_servers.size() >= most_mail_servers) {
        return Status::limit_reached;
    }
    if (existing != nullptr && existing->port != server.port) {
        return Status::malformed_request;
    }
    call.copy.put_mail_server(server);
    return Status::ok;
}

Outcome remove_mail_server(Call& call, const protocol::MailServerRecord& record) {
    const std::string host = read_text(record.host);
    if (call.copy.find_mail_server(host) == nullptr) {
        return Status::not_found;
    }
    call.copy.remove_mail_server(host);
    return Status::ok;
}

}  // namespace callhome::service
