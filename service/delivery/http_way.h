// How HTTP leaves this host, for whatever it carries.
#pragma once

#include <string>
#include <string_view>

#include "delivery/curl_handle.h"
#include "delivery/route.h"
#include "delivery/server_settings.h"

namespace callhome::service {

inline constexpr const char* http_protocols = "http,https";

bool is_http_url(std::string_view url);

// Why no try can be made; empty when one can.
std::string why_unusable(const HttpRoute& route);

struct HttpWay {
    std::string why_none;     // the proxy's settings cannot be used
    ServerLogin proxy_login;  // of who asks the proxy, where it is told
};

// The way as it is laid down now, without a look at the network.
HttpWay http_way(const HttpRoute& route, const TransferLimits& limits);

// Leads the transfer through the proxy and the VRF, where there are any.
void take_way(CurlHandle& handle, const HttpRoute& route, const HttpWay& way);

// Looks up within the VRF what this URL needs: its host, or the proxy. Gives the reason when it is not
// found.
std::string find_way(CurlHandle& handle, const HttpRoute& route, const std::string& url,
                     const TransferLimits& limits);

// As Way::place has it, for this URL.
std::string place_of(const HttpRoute& route, const std::string& url);

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
