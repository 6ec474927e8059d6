#include "options.h"

#include <algorithm>
#include <array>
#include <string_view>

namespace callhome::shell {

namespace {

struct Option {
    std::string_view name;
    std::string_view letter;    // empty: none
    std::string_view argument;  // empty: takes none
    std::string_view help;      // empty: for developers, not listed
    void (*apply)(Options&, std::string_view);
};

platform::OutputFormat format_named(std::string_view name) {
    constexpr std::array<std::string_view, 3> names{"text", "json", "xml"};  // as OutputFormat has them
    const auto* const found = std::find(names.begin(), names.end(), name);
    if (found == names.end()) {
        throw UsageError("--output is text, json or xml, not \"" + std::string(name) + "\"");
    }
    return static_cast<platform::OutputFormat>(found - names.begin());
}

// The whole process should take no longer than a few empty ones: a library for options would cost more
// than all else here.
constexpr std::array option_table{
    Option{"--command", "-c", "COMMAND", "Run a command; may be repeated, modes carry over",
           [](Options& options, std::string_view text) {
               options.sources.push_back({false, std::string(text)});
           }},
    Option{"--file", "-f", "FILE", "Run the commands of a file; - is standard input",
           [](Options& options, std::string_view text) {
               options.sources.push_back({true, std::string(text)});
           }},
    Option{"--keep-going", "", "", "Go on after a command that failed",
           [](Options& options, std::string_view) { options.keep_going = true; }},
    Option{"--echo", "", "", "Show prompt and command before each answer",
           [](Options& options, std::string_view) { options.echo = true; }},
    Option{"--output", "", "FORMAT", "How displays are shown: text, json or xml",
           [](Options& options, std::string_view text) { options.output = format_named(text); }},
    Option{"--socket", "", "PATH", "Socket of the call-home service",
           [](Options& options, std::string_view text) { options.socket = text; }},
    Option{"--prompt-name", "", "NAME", "What the prompt begins with (default: the host's name)",
           [](Options& options, std::string_view text) { options.prompt_name = text; }},
    Option{"--version", "", "", "Show the version",
           [](Options& options, std::string_view) { options.show_version = true; }},
    Option{"--help", "-h", "", "Show this",
           [](Options& options, std::string_view) { options.show_help = true; }},
    Option{"--library", "", "PATH", "",
           [](Options& options, std::string_view text) { options.library = text; }},
    Option{"--standby", "", "", "", [](Options& options, std::string_view) { options.standby = true; }},
    Option{"--dump-commands", "", "", "",
           [](Options& options, std::string_view) { options.dump_commands = true; }},
    Option{"--dump-schemas", "", "FOLDER", "",
           [](Options& options, std::string_view text) { options.schema_folder = text; }},
};

const Option& option_named(std::string_view name) {
    for (const Option& row : option_table) {
        if (name == row.name || (!row.letter.empty() && name == row.letter)) {
            return row;
        }
    }
    throw UsageError("unknown option or argument \"" + std::string(name) + "\"; see callhome --help");
}

}  // namespace

Options read_options(std::span<const char* const> arguments) {
    Options options;
    while (!arguments.empty()) {
        const std::string_view word = arguments.front();
        arguments = arguments.subspan(1);
        const std::size_t equals = word.starts_with("--") ? word.find('=') : std::string_view::npos;
        const Option& option = option_named(word.substr(0, equals));
        const bool is_attached = equals != std::string_view::npos;
        if (option.argument.empty()) {
            if (is_attached) {
                throw UsageError(std::string(option.name) + " takes no argument");
            }
            option.apply(options, {});
            continue;
        }
        if (!is_attached && arguments.empty()) {
            throw UsageError(std::string(word) + " needs an argument: " + std::string(option.argument));
        }
        option.apply(options, is_attached ? word.substr(equals + 1) : arguments.front());
        if (!is_attached) {
            arguments = arguments.subspan(1);
        }
    }
    return options;
}

std::string usage() {
    constexpr std::size_t help_column = 26;
    std::string text =
        "Usage: callhome [OPTION]...\n"
        "The command line of the switch's call-home feature. Without -c and -f it reads standard "
        "input.\n\n";
    for (const Option& row : option_table) {
        if (row.help.empty()) {
            continue;
        }
        std::string left("  ");
        for (const std::string_view part :
             {row.letter, row.letter.empty() ? "" : std::string_view(", "), row.name,
              row.argument.empty() ? "" : std::string_view(" "), row.argument}) {
            left.append(part);
        }
        left.append(help_column > left.size() + 1 ? help_column - left.size() : 2, ' ');
        text += left + std::string(row.help) + "\n";
    }
    return text + "\nThe exit status is 0 when every command succeeded, 2 for a wrong option, else 1.\n";
}

}  // namespace callhome::shell
