// How HTTP leaves this host, for whatever it carries.
#pragma once

#include <string>
#include <string_view>

#include "delivery/curl_handle.h"
#include "delivery/route.h"

namespace callhome::service {

inline constexpr const char* http_protocols = "http,https";

bool is_http_url(std::string_view url);

// Why no try can be made; empty when one can.
std::string why_unusable(const HttpRoute& route);

struct HttpWay {
    std::string why_none;          // the proxy's settings cannot be used
    bool has_proxy_login = false;  // the proxy is told who asks
};

// Through the proxy and the VRF, where there are any.
HttpWay choose_way(CurlHandle& handle, const HttpRoute& route, const TransferLimits& limits);

// Looks up within the VRF what this URL needs: its host, or the proxy. Gives the reason when it is not
// found.
std::string find_way(CurlHandle& handle, const HttpRoute& route, const std::string& url,
                     const TransferLimits& limits);

// "host:port" of an HTTP URL, in lower case; empty for what is none.
std::string authority_of_url(const std::string& url);

// "HTTP status 404"; for a redirection, also that it is not followed.
std::string status_text(long status);

inline constexpr long first_http_success = 200;
inline constexpr long first_http_redirection = 300;
inline constexpr long first_http_client_error = 400;
inline constexpr long first_http_server_error = 500;

constexpr bool is_http_success(long status) {
    return status >= first_http_success && status < first_http_redirection;
}

constexpr bool is_http_redirection(long status) {
    return status >= first_http_redirection && status < first_http_client_error;
}

}  // namespace callhome::service
