// The displays of the configuration as commands, and of the session that collects changes of it.
#pragma once

#include <cstdint>

#include "parser.h"

namespace callhome::shell {

class Session;

std::uint32_t show_running_config(Session& session, const ParsedCommand& command);
std::uint32_t show_running_config_with_defaults(Session& session, const ParsedCommand& command);
std::uint32_t show_pending(Session& session, const ParsedCommand& command);
std::uint32_t show_pending_difference(Session& session, const ParsedCommand& command);
std::uint32_t show_last_action(Session& session, const ParsedCommand& command);
std::uint32_t show_distribution_session(Session& session, const ParsedCommand& command);

}  // namespace callhome::shell
