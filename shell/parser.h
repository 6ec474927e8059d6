// From a typed line to a command with its tokens, or to an error that points at a word.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "filter.h"
#include "grammar.h"

namespace callhome::shell {

struct ParsedToken {
    std::uint32_t keyword_id = 0;
    CheckedValue value;
};

struct ParsedCommand {
    const Command* command = nullptr;
    std::size_t mode = 0;  // where the command was found: the mode of the session or one above it
    bool no_form = false;
    std::vector<ParsedToken> tokens;
    std::vector<CheckedValue> values;  // of all parameters, with and without a token, as typed
    bool ends_in_value = false;        // a value comes last, not a keyword
    std::vector<FilterSpec> filters;
};

enum class ErrorKind : std::uint8_t { invalid, incomplete, ambiguous, value };

struct ParseError {
    ErrorKind kind = ErrorKind::invalid;
    std::size_t position = 0;           // byte of the line that it points at
    std::string word;                   // as typed
    std::vector<std::string> expected;  // what could have stood there
    std::string reason;                 // of a value: "is not a number from 0 to 7"
};

struct NothingTyped {};  // an empty line or a comment

using ParseResult = std::variant<NothingTyped, ParsedCommand, ParseError>;

// `mode` is the session's. Commands of the modes above it are understood, too; `do` stands for exec mode.
ParseResult parse_line(const Grammar& grammar, std::size_t mode, std::string_view line);

// One line: 'Invalid input at "wrod": expected one, other'.
std::string describe(const ParseError& error);

inline constexpr std::string_view no_word = "no";
inline constexpr std::string_view do_word = "do";

// True for lines that are not commands.
bool is_comment(std::string_view trimmed_line);

}  // namespace callhome::shell
