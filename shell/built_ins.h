// The commands that are the shell's own: modes, help, and what the service has recorded.
#pragma once

#include <cstdint>
#include <span>
#include <string_view>

#include "parser.h"
#include "platform/interface.h"

namespace callhome::shell {

class Session;

struct BuiltIn {
    std::string_view name;  // as in the grammar, with its '@'
    std::uint32_t (*run)(Session&, const ParsedCommand&);
    bool needs_service;
};

// What shell_print_mts_error distinguishes.
enum class CommandClass : std::uint32_t { display = 1, configuration = 2 };

// Tells of a refusal or a lost service; true when there was neither.
bool succeeded(ServiceStatus status, CommandClass command = CommandClass::display);

std::span<const BuiltIn> all_built_ins();
// Throws std::runtime_error when there is none of that name.
const BuiltIn& built_in_named(std::string_view name);

}  // namespace callhome::shell
