// The way of a request to the service and of its reply back.
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <optional>
#include <span>
#include <string_view>

#include "connection.h"
#include "platform/reference.h"
#include "protocol/frame.h"

namespace callhome::platform {

// How long a request may take. The service answers within 45 seconds, whatever it has to wait for.
inline constexpr std::chrono::seconds request_timeout{60};

struct Request {
    std::uint32_t opcode;
    std::uint32_t operation;
    std::span<const std::byte> record;  // in transport order
};

struct FreeMemory {
    void operator()(std::byte* memory) const { std::free(memory); }
};

struct Reply {
    ServiceStatus status = 0;
    // In transport order; null when nothing came. Zeroes follow the reply up to the length of its
    // opcode's record, and one more behind that: a reply cut short and a text without a terminator
    // can be read like any other.
    std::unique_ptr<std::byte[], FreeMemory> record;
    std::uint32_t length = 0;  // bytes that came
};

class ServiceLink {
 public:
    explicit ServiceLink(ServiceLocation location) : location_(std::move(location)) {}

    // Sends the request and waits for its reply. A request is sent a second time only when the service
    // cannot have received the first: on a connection kept from earlier whose peer has gone since.
    // Throws LinkError; the next exchange then begins with a new connection.
    Reply exchange(const Request& request, std::chrono::seconds timeout);

    const ServiceLocation& location() const { return location_; }

 private:
    void send(const Request& request, const Deadline& deadline);
    void connect(const Deadline& deadline);
    bool connected_now(const Deadline& deadline);
    Reply receive(const Request& request, const Deadline& deadline);

    ServiceLocation location_;
    std::optional<Connection> connection_;
};

// The link of this process, to the service given to use_service().
ServiceLink& service_link();

// As exchange() on the link of this process, for callers that know no exceptions: -1 and errno tell of
// a failure.
ServiceStatus try_exchange(const Request& request, std::chrono::seconds timeout, Reply& reply) noexcept;

// Makes `why` the reason of the last failure, sets errno, and gives the status of a failed transport.
ServiceStatus report_failure(int error_number, const char* why) noexcept;

// What the last failure of try_exchange() was, in words. Empty when it was not `error_number`.
std::string_view last_failure(int error_number);

}  // namespace callhome::platform
