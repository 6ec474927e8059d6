// One try to bring a message to one receiver.
#pragma once

#include <chrono>
#include <cstdint>
#include <memory>
#include <stop_token>
#include <string>
#include <vector>

#include "delivery/route.h"
#include "delivery/settings.h"
#include "delivery/transfer_connection.h"

namespace callhome::service {

enum class Verdict : std::uint8_t {
    delivered,
    postponed,  // a later try, or another server, may succeed
    refused,    // the same would be refused again
    stopped,    // the service ends: nothing is known
};

struct FailedServer {
    std::string server;   // "host:port"
    std::string failure;  // which and why, as failure_of() tells it
    bool is_down = false;
};

struct Outcome {
    Verdict verdict = Verdict::postponed;
    std::string through;  // who had the last word: "host:port", "the proxy host:port";
                          // empty when nobody was asked, or the receiver itself
    std::string reason;   // of a failure: one clean line, without a full stop
    // Mail servers that were asked before the one that took the mail.
    std::vector<FailedServer> failed_before{};
    bool is_server_down = false;  // SMTP: what failed had nothing to do with this mail
    bool is_encrypted = false;    // SMTP: the server that took the mail took it encrypted
    std::chrono::milliseconds took{0};
};

// Why a try came to nothing, with the server that said so where there was one.
std::string failure_of(const Outcome& outcome);

// A mail server, and the VRF through which it is reached (empty for the default one).
struct MailRoute {
    std::string host;
    std::uint32_t port = 0;
    std::string vrf_name;
    bool is_known_to_encrypt = false;  // it has taken mail encrypted before
};

// "host:port" of a mail server, as in Outcome::through.
std::string name_of(const MailRoute& route);

struct DeliveryJob {
    std::int64_t delivery_id = 0;
    Carrier carrier = Carrier::smtp;
    std::string receiver;           // e-mail address or URL
    std::string sender;             // SMTP: the envelope's
    std::string own_name;           // SMTP: how this host greets
    std::vector<MailRoute> routes;  // SMTP: in the order in which they are tried
    HttpRoute http;
    std::string content_type;  // HTTP: of the content
    std::string key;           // HTTP: of this message to this receiver, the same with each try
    std::shared_ptr<const std::string> content;
};

// Blocks for as long as the limits allow, for each route; ends early when a stop is requested. Goes on with
// the kept connection where that leads to a place of the job, and may leave another one behind.
Outcome attempt(const DeliveryJob& job, const TransferLimits& limits, const std::stop_token& stop,
                KeptConnection& kept);

// To which connections may serve the job, as Way::place has it.
std::vector<std::string> places_of(const DeliveryJob& job);

}  // namespace callhome::service
