#include "docs.h"

#include <map>

#include "filter.h"

namespace callhome::shell {

namespace {

constexpr std::string_view introduction =
    "# Commands\n\n"
    "Written by `callhome --dump-commands` from `shell/commands.grammar`; change the grammar, not this "
    "page.\n\n"
    "Keywords may be abbreviated as long as they stay unique, and are not case-sensitive; names are. "
    "`[...]` may\n"
    "be left out, `(a | b)` is a choice, words in capitals are values (see the end). `no` before a "
    "command\n"
    "removes the setting. `?` after a blank lists what may follow, Tab completes.\n\n"
    "A command is looked up in the current mode and then in the modes above it: commands of exec mode "
    "work\n"
    "everywhere (also with `do` before them), and a configuration command of a mode above moves the "
    "session\n"
    "there. A line that begins with `!` or `#` is a comment.\n";

// A bar ends a cell of a table.
std::string cell(std::string_view text) {
    std::string escaped;
    for (const char character : text) {
        escaped += character == '|' ? "\\|" : std::string(1, character);
    }
    return escaped;
}

void add_commands(std::string& page, const Grammar& grammar, std::optional<std::size_t> mode) {
    page += "\n| Command | What it does |\n|---|---|\n";
    for (const Command& command : grammar.commands) {
        if (command.mode == mode) {
            page += "| `" + cell(readable_syntax(command)) + "` | " + cell(command.help) + " |\n";
        }
    }
}

std::string limits(const Parameter& parameter) {
    const std::string most = std::to_string(parameter.range.most);
    if (is_number(parameter.kind)) {
        return "a number from " + std::to_string(parameter.range.least) + " to " + most;
    }
    return (parameter.kind == ValueKind::text ? "a text with blanks, at most " : "one word, at most ") +
           most + " bytes";
}

void add_values(std::string& page, const Grammar& grammar) {
    std::map<std::string_view, std::string> rows;  // sorted by name
    for (const auto& [name, parameter] : grammar.parameters) {
        rows[name] = cell(parameter.help) + " | " + limits(parameter);
    }
    for (const auto& [name, set] : grammar.sets) {
        rows[name] = cell(set.help) + " | `" + cell(readable_syntax(set.syntax)) + "`";
    }
    page +=
        "\n## Values\n\nA value is UTF-8 without control characters.\n\n| Value | Meaning | Limits "
        "|\n|---|---|---|\n";
    for (const auto& [name, row] : rows) {
        page += "| `" + std::string(name) + "` | " + row + " |\n";
    }
}

}  // namespace

std::string command_reference(const Grammar& grammar) {
    std::string page(introduction);
    for (std::size_t mode = 0; mode < grammar.modes.size(); ++mode) {
        page += "\n## Mode " + std::string(grammar.modes[mode].name) + "\n\nPrompt: `HOST" +
                std::string(grammar.modes[mode].prompt) + "#`\n";
        add_commands(page, grammar, mode);
    }
    page += "\n## In every mode\n";
    add_commands(page, grammar, std::nullopt);
    page +=
        "\n## Output filters\n\nAfter a command, one after the other, each with `|` before it. A pattern "
        "is a\n"
        "regular expression (RE2); one that holds ` |` is put in double quotes.\n\n| Filter | What is "
        "shown |\n|---|---|\n";
    for (const FilterWord& filter : filter_words) {
        page += "| `" + std::string(filter.word) + (filter.takes_pattern ? " PATTERN" : "") + "` | " +
                std::string(filter.help) + " |\n";
    }
    add_values(page, grammar);
    return page;
}

}  // namespace callhome::shell
