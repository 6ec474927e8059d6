#include "delivery/endpoint.h"

#include <arpa/inet.h>
#include <fmt/format.h>
#include <net/if.h>

#include <algorithm>
#include <cctype>
#include <string_view>

#include "messages/text.h"

namespace callhome::service {
namespace {

constexpr std::uint32_t highest_port = 65535;
constexpr std::string_view default_vrf = "default";

bool is_ipv6(const std::string& host) {
    in6_addr address{};
    return ::inet_pton(AF_INET6, host.c_str(), &address) == 1;
}

bool is_host_name(const std::string& host) {
    return !host.empty() && std::all_of(host.begin(), host.end(), [](char c) {
        return std::isalnum(static_cast<unsigned char>(c)) != 0 || c == '.' || c == '-' || c == '_';
    });
}

bool is_default_vrf(const std::string& vrf_name) {
    return vrf_name.empty() || vrf_name == default_vrf;
}

}  // namespace

bool is_endpoint(const std::string& host, std::uint32_t port) {
    return (is_ipv6(host) || is_host_name(host)) && port != 0 && port <= highest_port;
}

std::string authority_of(const std::string& host, std::uint32_t port) {
    return fmt::format("{}:{}", is_ipv6(host) ? "[" + host + "]" : clean_line(host), port);
}

std::string why_no_vrf(const std::string& vrf_name) {
    return is_default_vrf(vrf_name) || ::if_nametoindex(vrf_name.c_str()) != 0
               ? ""
               : fmt::format("the VRF {} does not exist", clean_line(vrf_name));
}

void leave_through_vrf(CurlHandle& handle, const std::string& vrf_name) {
    if (!is_default_vrf(vrf_name)) {
        handle.set(CURLOPT_INTERFACE, ("if!" + vrf_name).c_str());
    }
}

std::string find_within_vrf(CurlHandle& handle, const std::string& vrf_name, const std::string& host,
                            std::uint32_t port, const TransferLimits& limits) {
    in_addr address{};
    if (is_default_vrf(vrf_name) || is_ipv6(host) || ::inet_pton(AF_INET, host.c_str(), &address) == 1) {
        return "";
    }
    const ResolvedName found = resolve_within_vrf(vrf_name, host, limits.connect, limits.name_servers);
    if (found.addresses.empty()) {
        return found.why;
    }
    handle.resolve_as(host, port, fmt::format("{}", fmt::join(found.addresses, ",")));
    return "";
}

}  // namespace callhome::service
