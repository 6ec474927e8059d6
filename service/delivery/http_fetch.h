// Files from web servers.
#pragma once

#include <chrono>
#include <stop_token>
#include <string>

#include "delivery/curl_handle.h"
#include "delivery/fetched.h"
#include "delivery/route.h"

namespace callhome::service {

// One after the other from the same server, which keeps the connection. The certificate of an HTTPS server
// is checked. Redirections are not followed: the operator has named who may be asked.
class Fetcher {
 public:
    // `stop` must outlive this object. Throws std::runtime_error when libcurl cannot be set up.
    Fetcher(const HttpRoute& route, const TransferLimits& limits, const std::stop_token& stop);

    // Takes at most `most_bytes`, and `within` in all, whatever the server does.
    Fetched fetch(const std::string& url, std::size_t most_bytes, std::chrono::milliseconds within);

 private:
    CurlHandle handle_;
    const HttpRoute route_;
    const TransferLimits limits_;
    std::string why_unusable_;
};

}  // namespace callhome::service
