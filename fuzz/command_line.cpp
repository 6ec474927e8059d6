// Any line, in each mode, through the parser, help and completion of the shell, with its own grammar.
#include <string>
#include <string_view>

#include "context.h"
#include "filter.h"
#include "help.h"
#include "input.h"
#include "interactive.h"
#include "parser.h"
#include "require.h"

using namespace callhome::shell;
using callhome::fuzz::Input;
using callhome::fuzz::require;

namespace {

const Grammar& grammar() {
    static const Grammar read = read_grammar(embedded_grammar(), embedded_grammar_name);
    return read;
}

constexpr std::size_t prompt_width = 8;  // columns

void check_error(const ParseError& error, std::string_view line) {
    require(error.position <= line.size(), "an error points into its line");
    const std::string text = describe(error);
    require(!text.empty() && text.find('\n') == std::string::npos, "an error is described in one line");
    require(error_under_line(error, line, prompt_width).ends_with('\n'),
            "an error under its line is lines");
}

void run_filters(const ParsedCommand& command) {
    FilterChain chain(command.filters);
    std::string shown;
    for (const std::string_view line : {"", "smtp server:192.0.2.25", "\xC3\xA9 \xFF"}) {
        chain.take(line, shown);
    }
    chain.finish(shown);
    require(shown.empty() || shown.ends_with('\n'), "filters pass on whole lines");
}

void check_command(const ParsedCommand& command) {
    require(command.command != nullptr, "a parsed line names its command");
    HandlerContext context(command, true);
    const CommandContext& parsed = *context.get();
    require(parsed.token_count == command.tokens.size() && parsed.token_count < CALLHOME_TOKEN_SLOTS,
            "every token has its slot");
    for (int slot = 1; slot <= parsed.token_count; ++slot) {
        require(parsed.tokens[slot] != nullptr && parsed.tokens[slot]->value != nullptr,
                "every token carries a value");
    }
    run_filters(command);
}

// `?` and Tab with the cursor at the end of the line. What was put in must not break a line that was
// understood.
void check_editing(std::size_t mode, const std::string& line) {
    const Expectation expected = expectation_at(grammar(), mode, line);
    require(!help_text(expected).empty(), "help has an answer");
    const Completion completion = complete(grammar(), mode, line);
    if (expected.understood && !completion.insert.empty()) {
        require(expectation_at(grammar(), mode, line + completion.insert).understood,
                "a completed line is understood");
    }
}

void check_line(std::size_t mode, const std::string& line) {
    const ParseResult result = parse_line(grammar(), mode, line);
    if (const auto* error = std::get_if<ParseError>(&result)) {
        check_error(*error, line);
    } else if (const auto* command = std::get_if<ParsedCommand>(&result)) {
        check_command(*command);
        require(expectation_at(grammar(), mode, line).understood, "help understands what the parser does");
    }
    check_editing(mode, line);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string line = Input(data, size).rest();
    for (std::size_t mode = 0; mode < grammar().modes.size(); ++mode) {
        check_line(mode, line);
    }
    return 0;
}
