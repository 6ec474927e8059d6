// Any bytes as a signature file, as a cron expression, and as a text with variables.
#include <algorithm>
#include <string>

#include "input.h"
#include "protocol/alert_group.h"
#include "requests/checks.h"
#include "require.h"
#include "signatures/cron.h"
#include "signatures/pattern.h"
#include "signatures/signature_file.h"
#include "signatures/software_version.h"
#include "signatures/variables.h"

using namespace callhome::service;
using callhome::fuzz::Input;
using callhome::fuzz::require;
namespace protocol = callhome::protocol;

namespace {

constexpr std::int64_t moment = 1'700'000'000;  // seconds since 1970
constexpr std::size_t longest_reason = 4096;

void check_refusal(const Refusal& refusal) {
    require(refusal.code != protocol::ResultCode::ok, "a refusal has a code");
    require(!refusal.why.empty() && refusal.why.size() < longest_reason, "a refusal has a bounded reason");
}

void check_texts(const Signature& signature) {
    require(signature.id >= 1 && signature.id <= highest_signature_id, "an id fits its column");
    require(!signature.name.empty() && signature.name.size() <= longest_signature_name &&
                is_name(signature.name),
            "a name is a word that fits its column");
    require(!signature.revision.empty() && signature.revision.size() <= longest_signature_revision &&
                is_name(signature.revision),
            "a revision is a word that fits its column");
    require(!signature.author.empty() && is_line(signature.author), "an author is a line");
    require(!signature.description.empty() && !signature.text.empty(), "texts are there");
    require(!signature.subject.empty() && is_line(signature.subject), "a subject is a line");
    require(signature.required_version.empty() || is_software_version(signature.required_version),
            "a required version is one");
    require(protocol::is_alert_group(signature.alert_group), "an alert group is one");
}

void check_event(const SignatureEvent& event) {
    if (const auto* log = std::get_if<LogEvent>(&event)) {
        require(!why_no_pattern(log->pattern) && !is_found_in(log->pattern, ""),
                "a log pattern is one, and not of every line");
    } else if (const auto* timer = std::get_if<TimerEvent>(&event)) {
        require(timer->period.count() >= 1, "time passes between two runs");
    } else if (const auto* cron = std::get_if<CronEvent>(&event)) {
        const auto schedule = read_cron(cron->expression);
        require(schedule && next_time(*schedule, moment) > moment, "a cron event comes");
    }
}

// Filled in as it will be, with the longest values that may be.
void check_variables(const Signature& signature) {
    VariableValues values;
    require(signature.variables.size() <= most_signature_variables, "all questions fit a reply");
    for (const SignatureVariable& variable : signature.variables) {
        require(is_variable_name(variable.name), "a variable has a name that fits a record");
        require(values.emplace(variable.name, variable.default_value.value_or("")).second,
                "a variable is there once");
        require(!variable.default_value || !refuse_value(variable, *variable.default_value),
                "a default is a value");
    }
    require(!signature.commands.empty() && signature.commands.size() <= most_signature_commands,
            "there are commands, but not many");
    for (const std::string& command : signature.commands) {
        const auto filled = fill_in(command, values);
        require(std::holds_alternative<std::string>(filled), "a command has its variables");
        require(is_show_command(command), "a command is a show command");
    }
    for (const std::string_view name : built_in::names) {
        values.emplace(name, "a\r\nb");
    }
    const auto subject = fill_in_subject(signature.subject, values);
    require(std::holds_alternative<std::string>(subject) && is_line(std::get<std::string>(subject)),
            "a subject is a line also when it is filled in");
    require(std::holds_alternative<std::string>(fill_in(signature.text, values)),
            "a text has its variables");
}

void read_as_file(const std::string& text) {
    const auto read = read_signature(text);
    if (const auto* refusal = std::get_if<Refusal>(&read)) {
        check_refusal(*refusal);
        return;
    }
    const auto& signature = std::get<Signature>(read);
    check_texts(signature);
    check_event(signature.event);
    check_variables(signature);
}

void read_as_cron(const std::string& text) {
    const auto schedule = read_cron(text);
    if (!schedule) {
        return;
    }
    if (const auto first = next_time(*schedule, moment)) {
        require(*first > moment, "the next time is later");
        require(next_time(*schedule, *first - 1) == first, "no time lies between");
    }
}

void read_as_text(const std::string& text) {
    const VariableValues values{{"ds_a", "$ds_b"}, {"ds_b", ""}};
    const auto filled = fill_in(text, values);
    if (const auto* refusal = std::get_if<Refusal>(&filled)) {
        check_refusal(*refusal);
    } else {
        require(std::get<std::string>(filled).size() <= 2 * text.size(), "a text grows by its values only");
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string text = Input(data, size).rest();
    read_as_file(text);
    read_as_cron(text);
    read_as_text(text);
    return 0;
}
