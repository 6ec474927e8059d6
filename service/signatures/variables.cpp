#include "signatures/variables.h"

#include <fmt/format.h>

#include <algorithm>
#include <utility>

#include "messages/text.h"
#include "requests/checks.h"
#include "signatures/pattern.h"

namespace callhome::service {
namespace {

using protocol::ResultCode;

constexpr std::string_view name_start = "ds_";

// Either is there: a text that stands for itself, or the name of a variable, right or wrong.
struct VariablePiece {
    std::string_view literal;
    std::optional<std::string_view> name;
};

bool is_name_letter(char letter) {
    return (letter >= 'a' && letter <= 'z') || (letter >= '0' && letter <= '9') || letter == '_';
}

std::size_t length_of_name(std::string_view text) {
    return static_cast<std::size_t>(std::ranges::find_if_not(text, is_name_letter) - text.begin());
}

// Takes the next piece off a text that is not empty.
VariablePiece next_piece(std::string_view& text) {
    if (!text.starts_with('$')) {
        const std::size_t dollar = std::min(text.find('$'), text.size());
        const VariablePiece piece{.literal = text.substr(0, dollar), .name = {}};
        text.remove_prefix(dollar);
        return piece;
    }
    const bool braced = text.starts_with("${");
    std::string_view rest = text.substr(braced ? 2 : 1);
    if (!braced && !rest.starts_with(name_start)) {
        // A dollar sign, written once or twice.
        const VariablePiece piece{.literal = text.substr(0, 1), .name = {}};
        text.remove_prefix(rest.starts_with('$') ? 2 : 1);
        return piece;
    }
    const std::size_t end = braced ? rest.find('}') : length_of_name(rest);
    if (end == std::string_view::npos) {
        return {.literal = {}, .name = std::exchange(text, {})};  // with its brace, which no name has
    }
    text = rest.substr(end + (braced ? 1 : 0));
    return {.literal = {}, .name = rest.substr(0, end)};
}

Refusal wrong_name(std::string_view name) {
    return {ResultCode::variable_name_invalid,
            fmt::format("\"{}\" is no name of a variable: it is ds_ and then a-z, 0-9 or _, at most {} "
                        "characters in all",
                        cut_to(clean_line(name), longest_variable_prompt), longest_variable_name)};
}

}  // namespace

bool is_variable_name(std::string_view name) {
    return name.starts_with(name_start) && name.size() > name_start.size() &&
           name.size() <= longest_variable_name && length_of_name(name) == name.size();
}

std::optional<Refusal> refuse_value(const SignatureVariable& variable, std::string_view value) {
    const auto refusal = [&](std::string_view why) {
        return Refusal{ResultCode::prompt_value_invalid,
                       fmt::format("the value of {} {}", variable.name, why)};
    };
    if (value.size() > longest_variable_value) {
        return refusal(fmt::format("is longer than {} bytes", longest_variable_value));
    }
    if (!is_line(value) || value.find('|') != std::string_view::npos) {
        return refusal("is not one line of text without bars and without blanks at its ends");
    }
    if (!variable.pattern.empty() && !matches_whole(variable.pattern, value)) {
        return refusal(fmt::format("does not match {}", variable.pattern));
    }
    return std::nullopt;
}

std::optional<Refusal> refuse_variables(std::string_view text,
                                        const std::function<bool(std::string_view)>& is_known) {
    while (!text.empty()) {
        const std::optional<std::string_view> name = next_piece(text).name;
        if (name && !is_variable_name(*name)) {
            return wrong_name(*name);
        }
        if (name && !is_known(*name)) {
            return Refusal{ResultCode::variable_unresolved, fmt::format("${} has no value here", *name)};
        }
    }
    return std::nullopt;
}

std::variant<std::string, Refusal> fill_in(std::string_view text, const VariableValues& values) {
    if (auto refusal = refuse_variables(
            text, [&values](std::string_view name) { return values.find(name) != values.end(); })) {
        return *std::move(refusal);
    }
    std::string filled;
    while (!text.empty()) {
        const VariablePiece piece = next_piece(text);
        filled.append(piece.name ? values.find(*piece.name)->second : std::string(piece.literal));
        if (filled.size() > longest_filled_text) {
            return Refusal{
                ResultCode::over_length,
                fmt::format("with its variables the text is longer than {} bytes", longest_filled_text)};
        }
    }
    return filled;
}

std::variant<std::string, Refusal> fill_in_subject(std::string_view subject, const VariableValues& values) {
    auto filled = fill_in(subject, values);
    if (auto* text = std::get_if<std::string>(&filled)) {
        *text = cut_to(clean_line(*text), longest_signature_subject);
    }
    return filled;
}

}  // namespace callhome::service
