// What a diagnostic signature has found out: the content of its message.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "commands/command_output.h"

namespace callhome::service {

struct SignatureReport {
    std::uint32_t id = 0;
    std::string name;
    std::string revision;
    std::string trigger;      // the log line, or what else set the signature off
    std::string subject;      // of the message, one line
    std::string text;         // lines
    std::string alert_group;  // the profiles that subscribe to it take the message,
    std::string profile;      // and so does this one; empty for none
    std::vector<CommandOutput> outputs;
};

}  // namespace callhome::service
