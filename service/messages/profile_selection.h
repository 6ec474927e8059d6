// Which destination profiles take a message, and how each is reached.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "messages/message_type.h"
#include "store/configuration.h"

namespace callhome::service {

enum class Transport : int {
    email = 1,
    http = 2,
};

// One profile, one way to it, and those who stand at its end.
struct Taker {
    const Profile* profile;
    Transport transport;
    std::vector<std::string> receivers;  // e-mail addresses or URLs
};

// True when the profile subscribes to the group, or to all, and its level lets the message pass.
bool subscribes(const Profile& profile, const MessageType& type);

// In the order of the profiles; e-mail before HTTP. The profile `named` (empty for none) takes the message
// whatever it subscribes to. The profiles must outlive the result.
std::vector<Taker> select_takers(const Configuration& configuration, const MessageType& type,
                                 std::string_view named = {});

// What to configure when nobody takes the message: one line for the operator.
std::string why_nobody_takes(const Configuration& configuration, const MessageType& type);

}  // namespace callhome::service
