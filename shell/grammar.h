// The commands as data: what commands.grammar declares, ready for the parser, help and completion.
// Everything is a view into the grammar's text, which must outlive the Grammar.
#pragma once

#include <cstdint>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "values.h"

namespace callhome::shell {

struct Mode {
    std::string_view name;
    std::optional<std::size_t> parent;  // index of a mode
    std::string_view prompt;            // stands between host name and '#'
};

struct Parameter {
    std::string_view name;
    ValueKind kind;
    Range range;
    std::string_view help;
};

struct Set {
    std::string_view syntax, help;
};

// One keyword or parameter at one place of one command.
struct Node {
    std::string_view word;                    // empty for a parameter
    const Parameter* parameter = nullptr;     // null for a keyword
    std::optional<std::uint32_t> keyword_id;  // without one the handler gets no token
    std::string_view token_text;              // what a keyword's token carries
    bool may_be_abbreviated = true;
    bool may_end = false;                  // the command may end after it
    std::vector<std::uint16_t> followers;  // indices of nodes
    std::uint16_t command = 0;
};

enum class Forms : std::uint8_t { set_only, no_only, both };

struct Command {
    std::optional<std::size_t> mode;  // index of a mode; none: every mode
    Forms forms = Forms::set_only;
    std::string_view syntax;     // as written, with ids
    std::string_view handler;    // "@name": the shell's own
    bool takes_nothing = false;  // the handler is given no context
    std::string_view help;
    std::string_view document;  // what a display becomes as JSON or XML
    std::uint32_t command_id = 0;
    std::optional<std::size_t> entered_mode;  // once the handler has returned 0
    std::vector<std::uint16_t> first;         // nodes that it may begin with
    std::size_t line = 0;                     // of the grammar, from 1
};

// Displays are what is read a screen at a time, and what can be had as JSON or XML.
inline bool is_display(const Command& command) {
    return command.syntax.starts_with("show ") || !command.document.empty();
}

// A function of the library that no command is bound to.
struct OtherExport {
    std::string_view name, help;
    bool is_generator;
};

// A setting that has no line in the running configuration while it has its default.
struct DefaultLine {
    std::size_t mode;
    std::string_view text;
};

struct Grammar {
    Grammar() = default;
    Grammar(Grammar&&) = default;  // nodes point into `parameters`, which a move leaves where it is
    Grammar& operator=(Grammar&&) = default;
    ~Grammar() = default;
    Grammar(const Grammar&) = delete;
    Grammar& operator=(const Grammar&) = delete;

    std::string file;  // for messages
    std::vector<Mode> modes;
    std::unordered_map<std::string_view, std::string_view> word_help;
    std::unordered_map<std::string_view, Parameter> parameters;
    std::unordered_map<std::string_view, Set> sets;
    std::vector<Command> commands;
    std::vector<Node> nodes;
    std::vector<OtherExport> other_exports;
    std::vector<DefaultLine> defaults;

    // Throws std::out_of_range when there is none.
    std::size_t mode_named(std::string_view name) const;

    bool is_in_mode(const Command& command, std::size_t mode) const {
        return !command.mode || *command.mode == mode;
    }
};

// "FILE:LINE: what is wrong".
class GrammarError : public std::runtime_error {
 public:
    using std::runtime_error::runtime_error;
};

// Throws GrammarError.
Grammar read_grammar(std::string_view text, std::string file);

// The grammar that is built into the program.
std::string_view embedded_grammar();
inline constexpr const char* embedded_grammar_name = "commands.grammar";

// What a reader sees of a command: its words and parameters without ids and with its "no" form.
std::string readable_syntax(const Command& command);
std::string readable_syntax(std::string_view syntax);

}  // namespace callhome::shell
