#include "built_ins.h"

#include <array>
#include <cerrno>
#include <cstdio>
#include <ctime>
#include <stdexcept>
#include <string>

#include "configuration_displays.h"
#include "platform/reference.h"
#include "session.h"
#include "table.h"

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
        "\"| include\", \"| exclude\", \"| begin\" and \"| count\" select from a command's output.");
    return done;
}

std::uint32_t show_version(Session&, const ParsedCommand&) {
    std::puts("callhome " CALLHOME_VERSION);
    return done;
}

std::uint32_t show_history(Session& session, const ParsedCommand&) {
    for (const std::string& line : session.history().lines()) {
        std::printf("  %s\n", line.c_str());
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

std::string time_text(std::uint32_t seconds) {
    return seconds == 0 ? "-" : platform::local_time_text(seconds);
}

std::string state_of(const platform::MessageRow& row) {
    std::string state;
    const auto add = [&](std::uint32_t number, const char* what) {
        if (number > 0) {
            state += (state.empty() ? "" : ", ") + std::to_string(number) + " " + what;
        }
    };
    add(row.delivered, "delivered");
    add(row.waiting, "waiting");
    add(row.failed, "failed");
    return state.empty() ? "no receiver" : state;
}

std::uint32_t show_messages(Session&, const ParsedCommand&) {
    std::vector<platform::MessageRow> rows;
    if (!succeeded(platform::read_messages(rows))) {
        return failed;
    }
    if (rows.empty()) {
        std::puts("No message has been recorded.");
        return done;
    }
    Table table({"ID", "Recorded", "Type", "Profile", "Format", "Bytes", "Receivers", "Subject"});
    for (const platform::MessageRow& row : rows) {
        table.add({std::to_string(row.id), time_text(row.recorded_at), row.type, row.profile, row.format,
                   std::to_string(row.size), state_of(row), row.subject});
    }
    std::fputs(table.text().c_str(), stdout);
    return done;
}

std::uint32_t show_queue(Session&, const ParsedCommand&) {
    std::vector<platform::DeliveryRow> rows;
    if (!succeeded(platform::read_queue(rows))) {
        return failed;
    }
    Table table({"Message", "Receiver", "Tries", "Next try", "Last result"});
    const auto now = static_cast<std::uint32_t>(std::time(nullptr));
    for (const platform::DeliveryRow& row : rows) {
        table.add({std::to_string(row.message_id), row.receiver, std::to_string(row.attempts),
                   row.next_attempt_at <= now ? "now" : time_text(row.next_attempt_at), row.last_result});
    }
    std::fputs(rows.empty() ? "Nothing waits to be sent.\n" : table.text().c_str(), stdout);
    return done;
}

std::uint32_t show_message(Session&, const ParsedCommand& command) {
    const auto id = std::get<std::uint32_t>(command.values.front().value);
    std::string text;
    std::vector<platform::DeliveryRow> rows;
    if (!succeeded(platform::read_message_text(id, text)) ||
        !succeeded(platform::read_deliveries(id, rows))) {
        return failed;
    }
    std::string readable = printable(text, KeepLineEnds::yes);
    if (!readable.ends_with('\n')) {
        readable += '\n';
    }
    std::fputs(readable.c_str(), stdout);
    if (rows.empty()) {
        return done;
    }
    Table table({"Receiver", "State", "Tries", "Last try", "Last result"});
    for (const platform::DeliveryRow& row : rows) {
        table.add({row.receiver, row.state, std::to_string(row.attempts), time_text(row.last_attempt_at),
                   row.last_result});
    }
    std::printf("\n%s", table.text().c_str());
    return done;
}

constexpr std::array built_ins{
    BuiltIn{"@exit", leave, false},
    BuiltIn{"@end", end, false},
    BuiltIn{"@help", help, false},
    BuiltIn{"@configure", configure, false},
    BuiltIn{"@show_version", show_version, false},
    BuiltIn{"@show_history", show_history, false},
    BuiltIn{"@show_messages", show_messages, true},
    BuiltIn{"@show_message", show_message, true},
    BuiltIn{"@show_queue", show_queue, true},
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
    if (status < 0) {
        shell_print_mts_error(static_cast<std::uint32_t>(command), errno);
    } else if (status != 0) {
        std::puts(sys_err_to_str(status));
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
