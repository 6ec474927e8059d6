#include "built_ins.h"

#include <array>
#include <cstdio>
#include <stdexcept>
#include <string>

#include "configuration_displays.h"
#include "delivery_displays.h"
#include "message_displays.h"
#include "platform/command_output.h"
#include "platform/reference.h"
#include "session.h"
#include "session_displays.h"
#include "system_displays.h"

namespace callhome::shell {

namespace {

constexpr std::uint32_t done = 0;
constexpr std::uint32_t failed = 1;

std::uint32_t leave(Session& session, const ParsedCommand&) {
    session.leave_mode();
    return done;
}

std::uint32_t end(Session& session, const ParsedCommand&) {
    session.return_to_exec();
    return done;
}

std::uint32_t configure(Session&, const ParsedCommand&) {
    return done;  // entering the mode is the session's business
}

std::uint32_t help(Session&, const ParsedCommand&) {
    std::puts(
        "Type ? at any place of a line to see what may stand there, and Tab to complete a word.\n"
        "Words may be abbreviated as long as they stay unique. Commands are looked up in the\n"
        "current mode, then in the modes above it; \"exit\" leaves a mode, \"end\" and Ctrl-Z go back\n"
        "to exec mode. \"no\" before a configuration command removes the setting.\n"
        "\"| include\", \"| exclude\", \"| begin\" and \"| count\" select from a command's output;\n"
        "\"| json\" and \"| xml\" give a display to programs.");
    return done;
}

std::uint32_t show_history(Session& session, const ParsedCommand&) {
    for (const std::string& line : session.history().lines()) {
        if (platform::is_output_structured()) {
            platform::set_value("commands[]", line);
        } else {
            std::printf("  %s\n", line.c_str());
        }
    }
    return done;
}

std::uint32_t set_system_contact(Session&, const ParsedCommand& command) {
    std::optional<std::string> contact;
    if (!command.no_form) {
        contact = std::get<std::string>(command.values.front().value);
    }
    return succeeded(platform::set_system_contact(contact), CommandClass::configuration) ? done : failed;
}

std::uint32_t show_messages(Session&, const ParsedCommand& command) {
    std::optional<std::uint32_t> last;
    if (!command.values.empty()) {
        last = std::get<std::uint32_t>(command.values.front().value);
    }
    return succeeded(show_message_list(last)) ? done : failed;
}

std::uint32_t show_queue(Session&, const ParsedCommand&) {
    return succeeded(show_waiting()) ? done : failed;
}

std::uint32_t show_message(Session&, const ParsedCommand& command) {
    const auto id = std::get<std::uint32_t>(command.values.front().value);
    return succeeded(show_one_message(id)) ? done : failed;
}

constexpr std::array built_ins{
    BuiltIn{"@exit", leave, false},
    BuiltIn{"@end", end, false},
    BuiltIn{"@help", help, false},
    BuiltIn{"@configure", configure, false},
    BuiltIn{"@show_version", show_version, false},
    BuiltIn{"@show_hostname", show_hostname, false},
    BuiltIn{"@show_module", show_module, false},
    BuiltIn{"@show_snmp", show_snmp, true},
    BuiltIn{"@show_history", show_history, false},
    BuiltIn{"@show_messages", show_messages, true},
    BuiltIn{"@show_message", show_message, true},
    BuiltIn{"@show_queue", show_queue, true},
    BuiltIn{"@show_profile_statistics", show_profile_statistics, true},
    BuiltIn{"@show_preview", show_preview, true},
    BuiltIn{"@clear_queue", clear_queue, true},
    BuiltIn{"@resend_message", resend_message, true},
    BuiltIn{"@show_running_config", show_running_config, true},
    BuiltIn{"@show_running_config_all", show_running_config_with_defaults, true},
    BuiltIn{"@show_pending", show_pending, true},
    BuiltIn{"@show_pending_diff", show_pending_difference, true},
    BuiltIn{"@show_last_action", show_last_action, true},
    BuiltIn{"@show_session", show_distribution_session, true},
    BuiltIn{"@system_contact", set_system_contact, true},
};

}  // namespace

bool succeeded(ServiceStatus status, CommandClass command) {
    if (status != 0) {
        platform::tell_failure(status, static_cast<std::uint32_t>(command));
    }
    return status == 0;
}

std::span<const BuiltIn> all_built_ins() {
    return built_ins;
}

const BuiltIn& built_in_named(std::string_view name) {
    for (const BuiltIn& row : built_ins) {
        if (row.name == name) {
            return row;
        }
    }
    throw std::runtime_error("the shell has no command " + std::string(name));
}

}  // namespace callhome::shell
