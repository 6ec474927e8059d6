// A diagnostic signature as it was read: an event, the commands whose output explains it, the message that
// carries that output. The file is described in callhome-signature(5).
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "protocol/alert_group.h"
#include "protocol/record.h"
#include "protocol/records/signature.h"
#include "protocol/result_code.h"

namespace callhome::service {

// Bytes, unless something else is said. Displays cut ids, names and revisions at their columns.
inline constexpr std::size_t longest_signature_file = 1024UL * 1024UL;
inline constexpr std::uint32_t highest_signature_id = 99'999'999;
inline constexpr std::size_t longest_signature_name = 31;
inline constexpr std::size_t longest_signature_revision = 8;
inline constexpr std::size_t longest_signature_author = 63;
inline constexpr std::size_t longest_signature_description = 4096;
inline constexpr std::size_t longest_signature_version = 31;
inline constexpr std::size_t longest_signature_pattern = 1024;
inline constexpr std::size_t longest_variable_name = sizeof(protocol::DsEnvironmentRecord::name) - 1;
inline constexpr std::size_t longest_variable_value = sizeof(protocol::DsQuestionRecord::answer) - 1;
inline constexpr std::size_t longest_variable_prompt = sizeof(protocol::DsQuestionRecord::prompt) - 1;
inline constexpr std::size_t longest_signature_command = 255;
inline constexpr std::size_t longest_signature_subject = 255;
inline constexpr std::size_t longest_signature_text = 16'384;
inline constexpr std::size_t most_signature_variables = protocol::most_questions;
inline constexpr std::size_t most_signature_commands = 32;
inline constexpr std::uint32_t highest_execution_limit = 1'000'000;
inline constexpr std::uint32_t longest_timer_period = 31'622'400;  // seconds: a leap year

inline constexpr std::string_view default_signature_group = "Diagnostic";

struct OnDemandEvent {
    bool operator==(const OnDemandEvent&) const = default;
};

// A log line in which the pattern (RE2) is found.
struct LogEvent {
    std::string pattern;

    bool operator==(const LogEvent&) const = default;
};

// Again and again after this time.
struct TimerEvent {
    std::chrono::seconds period{};

    bool operator==(const TimerEvent&) const = default;
};

// At the minutes that the expression names (cron.h), local time.
struct CronEvent {
    std::string expression;

    bool operator==(const CronEvent&) const = default;
};

using SignatureEvent = std::variant<OnDemandEvent, LogEvent, TimerEvent, CronEvent>;

// A name whose value is put into commands and message. With a prompt it is asked for when the signature is
// installed; without one its value is that of the environment setting of this name.
struct SignatureVariable {
    std::string name;    // ds_…
    std::string prompt;  // one line; empty for a variable that is not asked for
    std::optional<std::string> default_value;
    std::string pattern;  // RE2 that the whole value must match; empty for any value

    bool is_asked_for() const { return !prompt.empty(); }
    bool operator==(const SignatureVariable&) const = default;
};

// Commands, subject and text hold variables as they were written, $ds_name or ${ds_name}: variables.h.
struct Signature {
    std::uint32_t id = 0;
    std::string name;
    std::string revision;
    std::string author;
    std::string description;       // lines
    std::string required_version;  // of this software, "1.2"; empty for any
    SignatureEvent event;
    std::vector<SignatureVariable> variables;
    std::vector<std::string> commands;  // each a show command
    std::string subject;
    std::string text;
    std::string alert_group{default_signature_group};  // one of protocol::alert_group_names
    std::uint32_t execution_limit = 0;                 // runs; 0 for no limit
    bool removed_at_limit = false;                     // else it stays installed and runs no more

    bool operator==(const Signature&) const = default;
};

// Why something about a signature cannot be: the code for the reply, and a sentence for log and operator
// without a full stop.
struct Refusal {
    protocol::ResultCode code{};
    std::string why;
};

}  // namespace callhome::service
