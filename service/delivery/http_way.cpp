#include "delivery/http_way.h"

#include <fmt/format.h>

#include "delivery/endpoint.h"

namespace callhome::service {

bool is_http_url(std::string_view url) {
    return url.starts_with("http://") || url.starts_with("https://");
}

std::string why_unusable(const HttpRoute& route) {
    const bool usable = route.proxy.empty() || is_endpoint(route.proxy, route.proxy_port);
    return usable ? why_no_vrf(route.vrf_name)
                  : "what is configured as HTTP proxy is not the name or address of a host";
}

void choose_way(CurlHandle& handle, const HttpRoute& route) {
    if (!route.proxy.empty()) {
        handle.set(CURLOPT_PROXY, ("http://" + authority_of(route.proxy, route.proxy_port)).c_str());
    }
    leave_through_vrf(handle, route.vrf_name);
}

std::string status_text(long status) {
    const std::string text = fmt::format("HTTP status {}", status);
    return is_http_redirection(status) ? text + ": the address has moved; configure the new one" : text;
}

}  // namespace callhome::service
