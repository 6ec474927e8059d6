// What a diagnostic signature has found out: the content of its message.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace callhome::service {

struct CommandOutput {
    std::string command;
    std::string output;  // as it came, of any bytes
    std::string remark;  // why it is not whole, one line; empty when it is
};

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
