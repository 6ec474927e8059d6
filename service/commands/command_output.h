// What a command has printed, as it goes into a message.
#pragma once

#include <string>

namespace callhome::service {

struct CommandOutput {
    std::string command;
    std::string output;  // as it came, of any bytes
    std::string remark;  // why it is not whole, one line; empty when it is
};

}  // namespace callhome::service
