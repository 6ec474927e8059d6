// Files from web servers.
#pragma once

#include <cstdint>
#include <stop_token>
#include <string>

#include "delivery/attempt.h"
#include "delivery/curl_handle.h"

namespace callhome::service {

enum class FetchVerdict : std::uint8_t {
    fetched,
    not_there,    // the server has no such file
    refused,      // the server answers with anything else
    too_long,     // the file goes on beyond the limit
    not_reached,  // no server, or none that can be believed
    timed_out,
    stopped,  // the service ends
};

struct Fetched {
    FetchVerdict verdict = FetchVerdict::not_reached;
    std::string body;    // of what was fetched
    std::string reason;  // of a failure: one clean line, without a full stop
};

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
    const std::string why_unusable_;
};

}  // namespace callhome::service
