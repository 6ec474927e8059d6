// What has come of asking a web server for a file.
#pragma once

#include <cstdint>
#include <string>

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

}  // namespace callhome::service
