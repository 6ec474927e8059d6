// What the commands about transport have in common: the server, its port and its VRF.
#pragma once

#include <optional>

#include "callhome/context.h"
#include "frame/text.h"
#include "protocol/records/mail.h"

namespace callhome::library {

inline constexpr std::uint32_t standard_mail_port = 25;

// A server as text, which is how records carry it.
struct Host {
    char text[256] = {};
    protocol::AddressType type = protocol::AddressType::unknown;
};

enum class HostToken {
    taken,
    absent,   // the token carries no value
    refused,  // neither an address nor a host name; has been said
};

// Turns the value of a host token into text.
HostToken take_host(Host& host, const TokenRecord& token);

// Says that a server is neither an address nor a host name.
void say_invalid_host();

// Warns of a port that is set to other than the standard one.
void warn_of_port(std::uint32_t port, std::uint32_t standard_port = standard_mail_port);

// The context id of a VRF; nothing when the name is null or unknown.
std::optional<std::uint32_t> vrf_context(const char* name);

}  // namespace callhome::library
