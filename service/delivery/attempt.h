// One try to bring a message to one receiver.
#pragma once

#include <cstdint>
#include <memory>
#include <stop_token>
#include <string>
#include <vector>

#include "delivery/route.h"
#include "delivery/settings.h"

namespace callhome::service {

enum class Verdict : std::uint8_t {
    delivered,
    postponed,  // a later try, or another server, may succeed
    refused,    // the same would be refused again
    stopped,    // the service ends: nothing is known
};

struct Outcome {
    Verdict verdict = Verdict::postponed;
    std::string through;  // who had the last word: "host:port", "the proxy host:port";
                          // empty when nobody was asked, or the receiver itself
    std::string reason;   // of a failure: one clean line, without a full stop
};

// Why a try came to nothing, with the server that said so where there was one.
std::string failure_of(const Outcome& outcome);

// A mail server, and the VRF through which it is reached (empty for the default one).
struct MailRoute {
    std::string host;
    std::uint32_t port = 0;
    std::string vrf_name;
};

struct DeliveryJob {
    std::int64_t delivery_id = 0;
    Carrier carrier = Carrier::smtp;
    std::string receiver;           // e-mail address or URL
    std::string sender;             // SMTP: the envelope's
    std::string own_name;           // SMTP: how this host greets
    std::vector<MailRoute> routes;  // SMTP: in the order in which they are tried
    HttpRoute http;
    std::string content_type;  // HTTP: of the content
    std::shared_ptr<const std::string> content;
};

// Blocks for as long as the limits allow, for each route; ends early when a stop is requested.
Outcome attempt(const DeliveryJob& job, const TransferLimits& limits, const std::stop_token& stop);

}  // namespace callhome::service
