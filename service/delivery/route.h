#pragma once

#include <cstdint>
#include <string>

namespace callhome::service {

enum class Carrier : int {
    smtp = 1,
    http = 2,
};

// How HTTP leaves: through a proxy and a VRF (each empty for none).
struct HttpRoute {
    std::string proxy;
    std::uint32_t proxy_port = 0;
    std::string vrf_name;
};

}  // namespace callhome::service
