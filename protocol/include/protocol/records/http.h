// How HTTP leaves: through a proxy, through a VRF.
#pragma once

#include "protocol/record.h"

namespace callhome::protocol {

struct [[gnu::packed]] HttpProxyRecord {
    char server[256];            // dotted IPv4, IPv6 text or a host name; empty for none
    std::uint32_t address_type;  // AddressType of server
    std::uint32_t port;
    std::uint8_t enabled;       // 1 when the proxy is in use
    std::uint8_t settings[93];  // the service's own; kept as they came
    std::uint8_t trailing_flag;
};
CALLHOME_RECORD(HttpProxyRecord, 359, server, address_type, port, enabled, settings, trailing_flag);

struct [[gnu::packed]] HttpVrfRecord {
    char vrf_name[256];  // empty for the default VRF
    std::uint8_t trailing_flag;
};
CALLHOME_RECORD(HttpVrfRecord, 257, vrf_name, trailing_flag);

}  // namespace callhome::protocol
