// Mail records and host parameters for the tests of e-mail transport.
#pragma once

#include <functional>

#include "command.h"
#include "protocol/records/mail.h"

namespace callhome::test {

using protocol::MailServerRecord;
using protocol::MailSettingsRecord;

enum : std::uint32_t {
    from_address = 11,
    reply_to_address = 12,
    return_receipt_address = 13,
    mail_host = 14,
    mail_port = 15,
    vrf_name = 84,
    from_keyword = 85,
    reply_to_keyword = 86,
    smtp_server_keyword = 87,
    mail_priority = 97,
};
inline constexpr auto not_found = protocol::Status::not_found;

struct HostCase {
    std::function<void(Command&)> add;
    std::string text;
    std::uint32_t type;
};

inline const std::vector<HostCase> host_cases{
    {[](Command& c) {
         c.address(mail_host, CALLHOME_VALUE_IPV4, {192, 0, 2, 7});
     },
     "192.0.2.7", 1},
    {[](Command& c) {
         c.address(mail_host, CALLHOME_VALUE_IPV4, {255, 255, 255, 255});
     },
     "255.255.255.255", 1},
    {[](Command& c) {
         c.address(mail_host, CALLHOME_VALUE_IPV6,
                   {0x20, 0x01, 0x0D, 0xB8, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 1});
     },
     "2001:db8::1", 2},
    {[](Command& c) {
         c.address(mail_host, CALLHOME_VALUE_IPV6,
                   {0xFE, 0x81, 0x11, 0x11, 0x22, 0x22, 0x33, 0x33, 0x44, 0x44, 0x55, 0x55, 0x66, 0x66,
                    0x77, 0x77});
     },
     "fe81:1111:2222:3333:4444:5555:6666:7777", 2},
    {[](Command& c) { c.host_name(mail_host, "mail.example.net"); }, "mail.example.net", 16},
    {[](Command& c) { c.host_name(mail_host, std::string(5000, 'h')); }, std::string(255, 'h'), 16},
};

// Settings as the service keeps them.
inline MailSettingsRecord kept_settings() {
    MailSettingsRecord settings{};
    put(settings.from, "switch@example.net");
    put(settings.reply_to, "noc@example.net");
    put(settings.return_receipt, "receipt@example.net");
    put(settings.smtp_server, "smtp.example.net");
    settings.address_type = 16;
    settings.port = 2525;
    settings.trailing_flag = 9;
    put(settings.vrf_name, "red");
    settings.vrf_id = 7;
    return settings;
}

// A mail server as the service keeps it.
inline MailServerRecord kept_server() {
    MailServerRecord server{};
    put(server.host, "192.0.2.7");
    server.address_type = 1;
    server.port = 587;
    server.priority = 10;
    server.reserved = 0x66;
    server.trailing_flag = 9;
    put(server.vrf_name, "blue");
    server.vrf_id = 8;
    return server;
}

}  // namespace callhome::test
