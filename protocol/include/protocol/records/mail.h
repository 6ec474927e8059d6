// How e-mail leaves: the settings with their single SMTP server, and the list of mail servers.
#pragma once

#include "protocol/record.h"

namespace callhome::protocol {

enum class AddressType : std::uint32_t {
    unknown = 0,
    ipv4 = 1,
    ipv6 = 2,
    host_name = 16,
};

struct [[gnu::packed]] MailSettingsRecord {
    char from[256];
    char reply_to[256];
    char return_receipt[256];
    char smtp_server[256];       // dotted IPv4, IPv6 text or a host name
    std::uint32_t address_type;  // AddressType of smtp_server
    std::uint32_t port;          // 0 and 25 are the standard port
    std::uint8_t trailing_flag;
    char vrf_name[256];    // empty for the default VRF
    std::uint32_t vrf_id;  // 1 when unknown
};
CALLHOME_RECORD(MailSettingsRecord, 1293, from, reply_to, return_receipt, smtp_server, address_type, port,
                trailing_flag, vrf_name, vrf_id);

struct [[gnu::packed]] MailServerRecord {
    char host[256];              // the key, as text
    std::uint32_t address_type;  // AddressType of host
    std::uint32_t port;
    std::uint32_t priority;  // the lowest number is tried first
    std::uint32_t reserved;  // sent as 1
    std::uint8_t trailing_flag;
    char vrf_name[256];    // empty for the default VRF
    std::uint32_t vrf_id;  // 0 when unknown
};
CALLHOME_RECORD(MailServerRecord, 533, host, address_type, port, priority, reserved, trailing_flag,
                vrf_name, vrf_id);

}  // namespace callhome::protocol
