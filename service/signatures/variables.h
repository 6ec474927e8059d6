// Variables of signatures: $ds_name or ${ds_name} in commands, subject and text. $$ is a dollar sign, any
// other dollar sign stands for itself.
#pragma once

#include <array>
#include <cstddef>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <variant>

#include "signatures/signature.h"

namespace callhome::service {

// Bytes. A text may name the output of its commands more than once, but not without end.
inline constexpr std::size_t longest_filled_text = 8UL * 1024UL * 1024UL;

using VariableValues = std::map<std::string, std::string, std::less<>>;

// What every run fills in by itself, in subject and text but not in commands: what a log line holds, others
// may have written. A signature cannot declare these.
namespace built_in {
inline constexpr std::string_view id = "ds_id";
inline constexpr std::string_view name = "ds_name";
inline constexpr std::string_view host = "ds_host";
inline constexpr std::string_view time = "ds_time";
inline constexpr std::string_view event = "ds_event";    // the log line, or what else set it off
inline constexpr std::string_view count = "ds_count";    // runs, this one included
inline constexpr std::string_view output = "ds_output";  // of all commands, under their names
inline constexpr std::array names{id, name, host, time, event, count, output};
}  // namespace built_in

// ds_ and one or more of a-z, 0-9 and _, not longer than a record can carry.
bool is_variable_name(std::string_view name);

// Whether the signature may be given this value: one line that fits a record, and that the pattern matches
// as a whole. It may become a piece of a command, so it holds no bar, behind which filters would begin.
std::optional<Refusal> refuse_value(const SignatureVariable& variable, std::string_view value);

// variable_name_invalid or variable_unresolved for the first variable that is not known.
std::optional<Refusal> refuse_variables(std::string_view text,
                                        const std::function<bool(std::string_view)>& is_known);

// The text with its variables filled in. One that has no value is a refusal (variable_unresolved), as is a
// name that cannot be one (variable_name_invalid), and a text that becomes too long (over_length).
std::variant<std::string, Refusal> fill_in(std::string_view text, const VariableValues& values);

// As fill_in, and fit for the header of a mail: on one line, without control characters.
std::variant<std::string, Refusal> fill_in_subject(std::string_view subject, const VariableValues& values);

}  // namespace callhome::service
