#include "grammar.h"

#include <algorithm>
#include <charconv>

#include "syntax.h"
#include "words.h"

namespace callhome::shell {

namespace {

constexpr std::string_view handler_mark = " = ";
constexpr std::string_view help_mark = " : ";
constexpr std::string_view takes_nothing_mark = "()";

// Reads the lines one after the other; every error names its line.
class Reader {
 public:
    Reader(std::string_view text, Grammar& grammar) : text_(text), grammar_(grammar) {}

    void read() {
        while (!text_.empty()) {
            const std::size_t end = std::min(text_.find('\n'), text_.size());
            const std::string_view line = trimmed(text_.substr(0, end));
            text_.remove_prefix(std::min(end + 1, text_.size()));
            ++line_number_;
            if (!line.empty() && line.front() != '#') {
                read_line(line);
            }
        }
    }

 private:
    [[noreturn]] void fail(const std::string& what) const {
        throw GrammarError(grammar_.file + ":" + std::to_string(line_number_) + ": " + what);
    }

    void read_line(std::string_view line) {
        std::string_view rest = line;
        const std::string_view first = take_word(rest);
        if (first == "mode") {
            read_mode(rest);
        } else if (first == "word") {
            const auto [word, help] = split_help(rest);
            if (!grammar_.word_help.emplace(word, help).second) {
                fail("the word " + std::string(word) + " is explained twice");
            }
        } else if (first == "value") {
            read_value(rest);
        } else if (first == "set") {
            read_set(rest);
        } else if (first == "generator" || first == "helper") {
            const auto [name, help] = split_help(rest);
            grammar_.other_exports.push_back({name, help, first == "generator"});
        } else if (first == "default") {
            const std::size_t mode = mode_named(take_word(rest));
            grammar_.defaults.push_back({mode, rest});
        } else {
            read_command(first, rest);
        }
    }

    std::pair<std::string_view, std::string_view> split_help(std::string_view rest) const {
        const std::size_t mark = rest.find(help_mark);
        if (mark == std::string_view::npos || trimmed(rest.substr(mark + help_mark.size())).empty()) {
            fail("the help is missing: it stands after \" : \"");
        }
        return {trimmed(rest.substr(0, mark)), trimmed(rest.substr(mark + help_mark.size()))};
    }

    std::size_t mode_named(std::string_view name) const {
        try {
            return grammar_.mode_named(name);
        } catch (const std::out_of_range& error) {
            fail(error.what());
        }
    }

    void read_mode(std::string_view rest) {
        Mode mode;
        mode.name = take_word(rest);
        if (const std::string_view parent = take_word(rest); !parent.empty()) {
            mode.parent = mode_named(parent);
        }
        mode.prompt = trimmed(rest);
        grammar_.modes.push_back(mode);
    }

    std::uint32_t number_from(std::string_view digits) const {
        std::uint32_t number = 0;
        const bool is_hexadecimal = digits.starts_with("0x");
        if (is_hexadecimal) {
            digits.remove_prefix(2);
        }
        const auto [end, error] =
            std::from_chars(digits.data(), digits.data() + digits.size(), number, is_hexadecimal ? 16 : 10);
        if (error != std::errc{} || end != digits.data() + digits.size()) {
            fail("\"" + std::string(digits) + "\" is not a number");
        }
        return number;
    }

    void read_value(std::string_view rest) {
        auto [declaration, help] = split_help(rest);
        Parameter parameter{};
        parameter.help = help;
        parameter.name = take_word(declaration);
        const std::string_view kind_name = take_word(declaration);
        const std::optional<ValueKind> kind = value_kind_named(kind_name);
        const std::size_t dash = declaration.find('-');
        if (!kind || dash == std::string_view::npos) {
            fail("a value is written: value NAME KIND MIN-MAX : HELP");
        }
        parameter.kind = *kind;
        parameter.range = {number_from(declaration.substr(0, dash)),
                           number_from(declaration.substr(dash + 1))};
        if (parameter.range.least > parameter.range.most ||
            (*kind == ValueKind::u8 && parameter.range.most > UINT8_MAX)) {
            fail("the range of " + std::string(parameter.name) + " is empty or too large for its kind");
        }
        if (!grammar_.parameters.emplace(parameter.name, parameter).second) {
            fail("the value " + std::string(parameter.name) + " is declared twice");
        }
    }

    void read_set(std::string_view rest) {
        auto [declaration, help] = split_help(rest);
        const std::string_view name = take_word(declaration);
        if (take_word(declaration) != "=") {
            fail("a set is written: set NAME = SYNTAX : HELP");
        }
        grammar_.sets.emplace(name, Set{declaration, help});
    }

    static Forms take_forms(std::string_view& rest) {
        std::string_view after = rest;
        const std::string_view word = take_word(after);
        if (word != "no" && word != "[no]") {
            return Forms::set_only;
        }
        rest = after;
        return word == "no" ? Forms::no_only : Forms::both;
    }

    void read_handler(Command& command, std::string_view rest) const {
        command.handler = take_word(rest);
        if (command.handler.ends_with(takes_nothing_mark)) {
            command.handler.remove_suffix(takes_nothing_mark.size());
            command.takes_nothing = true;
        }
        if (command.handler.empty()) {
            fail("the command has no handler: it stands after \" = \"");
        }
        for (std::string_view option = take_word(rest); !option.empty(); option = take_word(rest)) {
            const std::string_view argument = take_word(rest);
            if (option == "id") {
                command.command_id = number_from(argument);
            } else if (option == "enter") {
                command.entered_mode = mode_named(argument);
            } else if (option == "document") {
                command.document = argument;
            } else {
                fail("unknown option \"" + std::string(option) + "\" of a command");
            }
        }
    }

    void read_command(std::string_view mode, std::string_view rest) {
        Command command;
        command.line = line_number_;
        if (mode != "any") {
            command.mode = mode_named(mode);
        }
        const auto [declaration, help] = split_help(rest);
        command.help = help;
        std::string_view syntax = declaration;
        const std::size_t mark = syntax.find(handler_mark);
        if (mark == std::string_view::npos) {
            fail("the command has no handler: it stands after \" = \"");
        }
        read_handler(command, syntax.substr(mark + handler_mark.size()));
        syntax = syntax.substr(0, mark);
        command.forms = take_forms(syntax);
        command.syntax = trimmed(syntax);
        try {
            compile_syntax(grammar_, command);
        } catch (const std::invalid_argument& error) {
            fail(error.what());
        }
        grammar_.commands.push_back(std::move(command));
    }

    std::string_view text_;
    Grammar& grammar_;
    std::size_t line_number_ = 0;
};

constexpr std::size_t expected_nodes = 512;
constexpr std::size_t expected_commands = 128;
constexpr std::size_t expected_words = 128;

}  // namespace

std::size_t Grammar::mode_named(std::string_view name) const {
    for (std::size_t index = 0; index < modes.size(); ++index) {
        if (modes[index].name == name) {
            return index;
        }
    }
    throw std::out_of_range("there is no mode " + std::string(name));
}

Grammar read_grammar(std::string_view text, std::string file) {
    Grammar grammar;
    grammar.file = std::move(file);
    grammar.nodes.reserve(expected_nodes);
    grammar.commands.reserve(expected_commands);
    grammar.word_help.reserve(expected_words);
    Reader(text, grammar).read();
    return grammar;
}

}  // namespace callhome::shell
