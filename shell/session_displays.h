// The displays of the distribution session.
#pragma once

#include <cstdint>
#include <string_view>

#include "parser.h"
#include "platform/command_output.h"

namespace callhome::shell {

class Session;

std::uint32_t show_last_action(Session& session, const ParsedCommand& command);
std::uint32_t show_distribution_session(Session& session, const ParsedCommand& command);

// The members of the documents "last_action" and "session"; empty for any other name.
platform::Members session_document(std::string_view name);

}  // namespace callhome::shell
