// Names as they are known within a VRF. The system's resolver asks through the default VRF only.
#pragma once

#include <sys/socket.h>

#include <chrono>
#include <string>
#include <vector>

namespace callhome::service {

struct NameServer {
    sockaddr_storage address{};
    socklen_t length = 0;
};

// Those of the system, in the order in which they are asked.
std::vector<NameServer> system_name_servers();

struct ResolvedName {
    std::vector<std::string> addresses;  // in numbers; IPv4 first
    std::string why;                     // none were found, as one line
};

// Asks the hosts file and then the name servers, through the device of the VRF. Blocks for at most
// `within`.
ResolvedName resolve_within_vrf(const std::string& vrf_name, const std::string& host,
                                std::chrono::milliseconds within, const std::vector<NameServer>& servers);

}  // namespace callhome::service
