#include "delivery/http_route.h"

namespace callhome::service {
namespace {

constexpr std::uint32_t standard_port = 8080;

}  // namespace

HttpRoute http_route(const Configuration& configuration) {
    HttpRoute route;
    route.vrf_name = configuration.http.vrf_name;
    const HttpProxy& proxy = configuration.http.proxy;
    if (proxy.enabled && !proxy.server.empty()) {
        route.proxy = proxy.server;
        route.proxy_port = proxy.port == 0 ? standard_port : proxy.port;
    }
    return route;
}

}  // namespace callhome::service
