#include "delivery/http_way.h"

#include <fmt/format.h>

#include <algorithm>
#include <charconv>
#include <memory>

#include "delivery/endpoint.h"

namespace callhome::service {
namespace {

struct UrlHost {
    std::string name;  // in lower case, an IPv6 address without brackets; empty where there is none
    std::uint32_t port = 0;
};

std::string part_of(CURLU* url, CURLUPart part, unsigned flags) {
    char* text = nullptr;
    if (curl_url_get(url, part, &text, flags) != CURLUE_OK) {
        return "";
    }
    const std::unique_ptr<char, decltype(&curl_free)> owned(text, &curl_free);
    return text;
}

UrlHost host_of(const std::string& text) {
    const std::unique_ptr<CURLU, decltype(&curl_url_cleanup)> url(curl_url(), &curl_url_cleanup);
    if (url == nullptr || curl_url_set(url.get(), CURLUPART_URL, text.c_str(), 0) != CURLUE_OK) {
        return {};
    }
    UrlHost host{part_of(url.get(), CURLUPART_HOST, 0)};
    std::ranges::transform(host.name, host.name.begin(), [](char letter) {
        return letter >= 'A' && letter <= 'Z' ? static_cast<char>(letter - 'A' + 'a') : letter;
    });
    if (host.name.starts_with('[') && host.name.ends_with(']')) {
        host.name = host.name.substr(1, host.name.size() - 2);
    }
    const std::string port = part_of(url.get(), CURLUPART_PORT, CURLU_DEFAULT_PORT);
    std::from_chars(port.data(), port.data() + port.size(), host.port);
    return host;
}

}  // namespace

bool is_http_url(std::string_view url) {
    return url.starts_with("http://") || url.starts_with("https://");
}

std::string why_unusable(const HttpRoute& route) {
    const bool usable = route.proxy.empty() || is_endpoint(route.proxy, route.proxy_port);
    return usable ? why_no_vrf(route.vrf_name)
                  : "what is configured as HTTP proxy is not the name or address of a host";
}

HttpWay http_way(const HttpRoute& route, const TransferLimits& limits) {
    if (route.proxy.empty()) {
        return {};
    }
    const auto settings = proxy_settings(limits.server_folder, route.proxy);
    if (const auto* unusable = std::get_if<UnusableSettings>(&settings)) {
        return {.why_none = unusable->why, .proxy_login = {}};
    }
    return {.why_none = "", .proxy_login = std::get<ProxySettings>(settings).login};
}

void take_way(CurlHandle& handle, const HttpRoute& route, const HttpWay& way) {
    leave_through_vrf(handle, route.vrf_name);
    if (route.proxy.empty()) {
        return;
    }
    handle.set(CURLOPT_PROXY, ("http://" + authority_of(route.proxy, route.proxy_port)).c_str());
    if (!way.proxy_login.user.empty()) {
        handle.set(CURLOPT_PROXYAUTH, static_cast<long>(CURLAUTH_BASIC));
        handle.set(CURLOPT_PROXYUSERNAME, way.proxy_login.user.c_str());
        handle.set(CURLOPT_PROXYPASSWORD, way.proxy_login.secret.c_str());
    }
}

// The URL's part up to its path, as it is written: it may bear a login.
std::string place_of(const HttpRoute& route, const std::string& url) {
    constexpr std::string_view after_scheme = "://";
    const std::size_t scheme = url.find(after_scheme);
    const std::size_t host = scheme == std::string::npos ? 0 : scheme + after_scheme.size();
    const std::string origin = url.substr(0, url.find_first_of("/?#\\", host));
    return fmt::format("{} {}:{} {}", origin, route.proxy, route.proxy_port, route.vrf_name);
}

std::string find_way(CurlHandle& handle, const HttpRoute& route, const std::string& url,
                     const TransferLimits& limits) {
    if (!route.proxy.empty()) {
        return find_within_vrf(handle, route.vrf_name, route.proxy, route.proxy_port, limits);
    }
    const UrlHost host = host_of(url);
    return host.name.empty() ? "" : find_within_vrf(handle, route.vrf_name, host.name, host.port, limits);
}

std::string authority_of_url(const std::string& url) {
    const UrlHost host = host_of(url);
    return host.name.empty() ? "" : authority_of(host.name, host.port);
}

std::string status_text(long status) {
    const std::string text = fmt::format("HTTP status {}", status);
    return is_http_redirection(status) ? text + ": the address has moved; configure the new one" : text;
}

}  // namespace callhome::service
