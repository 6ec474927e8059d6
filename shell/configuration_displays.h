// The displays of the configuration as commands.
#pragma once

#include <cstdint>

#include "parser.h"
#include "platform/command_output.h"

namespace callhome::shell {

class Session;

std::uint32_t show_running_config(Session& session, const ParsedCommand& command);
std::uint32_t show_running_config_with_defaults(Session& session, const ParsedCommand& command);
std::uint32_t show_pending(Session& session, const ParsedCommand& command);
std::uint32_t show_pending_difference(Session& session, const ParsedCommand& command);

// The members of the document "difference".
platform::Members difference_document();

}  // namespace callhome::shell
