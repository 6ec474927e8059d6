// What the shell knows by itself of the switch: its name, its hardware, its software, and how it is
// managed.
#pragma once

#include <cstdint>
#include <string_view>

#include "parser.h"
#include "platform/command_output.h"

namespace callhome::shell {

class Session;

std::uint32_t show_hostname(Session& session, const ParsedCommand& command);
std::uint32_t show_module(Session& session, const ParsedCommand& command);
std::uint32_t show_version(Session& session, const ParsedCommand& command);
std::uint32_t show_snmp(Session& session, const ParsedCommand& command);

// The members of the documents "hostname", "module", "version" and "snmp"; empty for any other name.
platform::Members system_document(std::string_view name);

}  // namespace callhome::shell
