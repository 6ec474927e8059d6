#include "configuration_displays.h"

#include <cstdio>

#include "built_ins.h"
#include "configuration_difference.h"
#include "defaults.h"
#include "platform/command_output.h"
#include "platform/reference.h"
#include "session.h"

namespace callhome::shell {

namespace {

constexpr std::uint32_t done = 0;
constexpr std::uint32_t failed = 1;

constexpr std::string_view block_mode = "call-home";
constexpr std::string_view block_mode_line = "callhome";
constexpr std::string_view parent_mode = "configuration";
constexpr std::string_view distribute_line = "distribute";
constexpr std::string_view removed_lines = "removed_lines[]";
constexpr std::string_view added_lines = "added_lines[]";
constexpr ServiceStatus message_in_progress = 0x403B001C;

// The settings whose lines stand before the block: no generator of the library writes them.
struct OuterSettings {
    std::optional<std::string> contact;
    bool are_traps_on = false;
    bool is_distributed = false;
};

bool read(OuterSettings& settings) {
    return succeeded(platform::read_system_contact(settings.contact)) &&
           succeeded(platform::read_traps(settings.are_traps_on)) &&
           succeeded(platform::read_distribution(settings.is_distributed));
}

void show_outer_lines(const OuterSettings& settings, MissingDefaults* defaults) {
    const auto show = [&](const std::string& line) {
        platform::show_configuration_line(line);
        if (defaults != nullptr) {
            defaults->notice(line);
        }
    };
    platform::show_configuration_line("configure terminal");
    if (settings.contact) {
        show("snmp-server contact " + *settings.contact);
    }
    if (settings.are_traps_on) {
        show("snmp-server enable traps callhome");
    }
    if (defaults != nullptr) {
        for (const std::string& line : defaults->lines()) {
            platform::show_configuration_line(line);
        }
    }
    if (!platform::is_output_structured()) {
        std::putchar('\n');
    }
}

platform::ConfigurationBlock block_of(const OuterSettings& settings, const std::uint32_t& data_present,
                                      MissingDefaults* defaults) {
    platform::ConfigurationBlock block;
    block.mode_line = block_mode_line;
    block.is_distributed = settings.is_distributed;
    block.data_present = &data_present;
    if (defaults != nullptr) {
        if (settings.is_distributed) {
            defaults->notice(distribute_line);
        }
        block.on_line = [defaults](std::string_view line) { defaults->notice(line); };
        block.last_lines = [defaults](const auto& show) {
            for (const std::string& line : defaults->lines()) {
                show(line);
            }
        };
    }
    return block;
}

// A generator's result: 0, 1 after it has said why, or a status of the service that it leaves to its
// caller.
bool has_generated(std::int32_t result) {
    return result == static_cast<std::int32_t>(failed) ? false : succeeded(result);
}

// The whole display is text that can be typed: at a prompt, in a script, or from a file.
std::uint32_t show_configuration(Session& session, const ParsedCommand& command, MissingDefaults* outer,
                                 MissingDefaults* inner) {
    const Generator user_commands = session.library().generator_named("print_user_def_cmds");
    const Handler driver = session.library().handler_named("callhome_asciigen");
    const std::uint32_t& data_present = session.library().variable_named("pxd_data_present");
    OuterSettings settings;
    // The driver writes nothing while the marker stands; half a configuration would look like a whole one.
    if (platform::is_processing_message()) {
        return succeeded(message_in_progress) ? done : failed;
    }
    if (!read(settings)) {
        return failed;
    }
    show_outer_lines(settings, outer);
    HandlerContext context = session.context_of(command);
    bool is_complete = false;
    const bool has_driver_ended =
        platform::write_configuration_block(block_of(settings, data_present, inner), [&] {
            is_complete = has_generated(user_commands(context.get()));
            (void)driver(context.get());
        });
    if (!has_driver_ended) {
        return succeeded(message_in_progress) ? done : failed;
    }
    platform::show_configuration_line("end");
    return is_complete ? done : failed;
}

enum class Copy : std::uint32_t { pending = 0, effective = 1 };  // values of print_running_config

// The lines of one copy of the configuration. False after saying why they are not to be had.
bool read_copy(Session& session, const ParsedCommand& command, Copy copy, std::vector<std::string>& lines) {
    const Generator generate = session.library().generator_named("print_calhome_config");
    std::uint32_t& selected_copy = session.library().variable_named("print_running_config");
    HandlerContext context = session.context_of(command);
    std::int32_t result = 0;
    platform::CollectedConfiguration collected = platform::collect_configuration([&] {
        selected_copy = static_cast<std::uint32_t>(copy);
        result = generate(context.get());
        selected_copy = static_cast<std::uint32_t>(Copy::effective);
    });
    lines = std::move(collected.lines);
    if (result != 0) {
        // Beside the reasons of failures, generators print empty lines between their parts.
        const std::size_t begin = collected.printed.find_first_not_of('\n');
        std::fputs(collected.printed.c_str() + std::min(begin, collected.printed.size()), stdout);
    }
    return has_generated(result);
}

void show_change(const std::string& line) {
    if (platform::is_output_structured()) {
        platform::set_value(line.starts_with('-') ? removed_lines : added_lines, line.substr(1));
    } else {
        std::puts(line.c_str());
    }
}

}  // namespace

std::uint32_t show_running_config(Session& session, const ParsedCommand& command) {
    return show_configuration(session, command, nullptr, nullptr);
}

std::uint32_t show_running_config_with_defaults(Session& session, const ParsedCommand& command) {
    const Grammar& grammar = session.grammar();
    MissingDefaults outer(grammar, grammar.mode_named(parent_mode));
    MissingDefaults inner(grammar, grammar.mode_named(block_mode));
    return show_configuration(session, command, &outer, &inner);
}

std::uint32_t show_pending(Session& session, const ParsedCommand& command) {
    std::vector<std::string> lines;
    if (!succeeded(platform::check_pending_copy()) || !read_copy(session, command, Copy::pending, lines)) {
        return failed;
    }
    for (const std::string& line : lines) {
        platform::show_configuration_line(line);
    }
    return done;
}

std::uint32_t show_pending_difference(Session& session, const ParsedCommand& command) {
    std::vector<std::string> effective;
    std::vector<std::string> pending;
    if (!succeeded(platform::check_pending_copy()) ||
        !read_copy(session, command, Copy::effective, effective) ||
        !read_copy(session, command, Copy::pending, pending)) {
        return failed;
    }
    const std::vector<std::string> changes = difference(effective, pending);
    for (const std::string& line : changes) {
        show_change(line);
    }
    if (changes.empty() && !platform::is_output_structured()) {
        std::puts("There is no difference: the pending configuration is the effective one.");
    }
    return done;
}

platform::Members difference_document() {
    return {{removed_lines}, {added_lines}};
}

}  // namespace callhome::shell
