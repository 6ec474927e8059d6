#include "signatures/signature_file.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <charconv>

#include "requests/checks.h"
#include "signatures/cron.h"
#include "signatures/element_reader.h"
#include "signatures/pattern.h"
#include "signatures/software_version.h"
#include "signatures/variables.h"

namespace callhome::service {
namespace {

using protocol::ResultCode;

// More than any signature has: 64 variables of four elements, 32 commands, and what is there once.
constexpr std::size_t most_elements = 512;

constexpr std::string_view name_letters =
    "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789._-";

// Names and revisions stand in columns and on command lines.
std::string read_name(const XmlElement& element, std::size_t longest) {
    std::string name = read_words(element, longest);
    if (name.find_first_not_of(name_letters) != std::string::npos) {
        refuse(element, ResultCode::signature_invalid, "holds more than letters, digits and . _ -");
    }
    return name;
}

std::string read_pattern(const XmlElement& element) {
    std::string pattern = read_exact_line(element, longest_signature_pattern);
    if (const auto why = why_no_pattern(pattern)) {
        refuse(element, ResultCode::pattern_invalid, "is no pattern: " + *why);
    }
    return pattern;
}

std::uint32_t read_id(const XmlElement& root) {
    const std::string* text = find_attribute(root, "id");
    std::uint32_t id = 0;
    if (text == nullptr) {
        refuse(root, ResultCode::id_invalid, "has no id");
    }
    const char* const last = text->data() + text->size();
    const auto [end, error] = std::from_chars(text->data(), last, id);
    if (error != std::errc{} || end != last || id == 0 || id > highest_signature_id) {
        refuse(root, ResultCode::id_invalid,
               fmt::format("has an id that is no number from 1 to {}", highest_signature_id));
    }
    return id;
}

// ---- event ----

struct EventKind {
    std::string_view element;
    SignatureEvent (*read)(const XmlElement&);
};

SignatureEvent read_log(const XmlElement& element) {
    LogEvent event{read_pattern(element)};
    if (event.pattern.empty()) {
        refuse(element, ResultCode::event_incomplete, "is empty");
    }
    if (is_found_in(event.pattern, "")) {
        refuse(element, ResultCode::pattern_invalid, "is found in every line");
    }
    return event;
}

SignatureEvent read_period(const XmlElement& element) {
    allow_attributes(element, {});
    return TimerEvent{std::chrono::seconds(read_number(element, 1, longest_timer_period))};
}

SignatureEvent read_cron_event(const XmlElement& element) {
    CronEvent event{read_words(element, longest_signature_pattern)};
    const auto schedule = read_cron(event.expression);
    if (!schedule) {
        refuse(element, ResultCode::cron_invalid, "is not minute, hour, day, month and weekday");
    }
    if (!next_time(*schedule, 0)) {
        refuse(element, ResultCode::cron_invalid, "names no day that there is");
    }
    return event;
}

SignatureEvent read_on_demand(const XmlElement& element) {
    allow_attributes(element, {});
    allow_elements_only(element);
    if (!element.children.empty()) {
        refuse(element.children.front(), ResultCode::tag_unsupported, "is not known here");
    }
    return OnDemandEvent{};
}

SignatureEvent read_script(const XmlElement& element) {
    refuse(element, ResultCode::event_script_unsupported, "is not supported: no scripts are run");
}

// The one element that says what kind of event or timer it is.
SignatureEvent read_choice(const XmlElement& element, std::span<const EventKind> kinds,
                           ResultCode when_unknown) {
    allow_attributes(element, {});
    allow_elements_only(element);
    for (const XmlElement& child : element.children) {
        if (std::ranges::find(kinds, child.name, &EventKind::element) == kinds.end()) {
            refuse(child, when_unknown, "is not known here");
        }
    }
    if (element.children.empty()) {
        refuse(element, ResultCode::event_incomplete, "is empty");
    }
    if (element.children.size() > 1) {
        refuse(element.children[1], ResultCode::multiple_events, "is one event too many");
    }
    const XmlElement& child = element.children.front();
    return std::ranges::find(kinds, child.name, &EventKind::element)->read(child);
}

SignatureEvent read_timer(const XmlElement& element) {
    constexpr std::array kinds{
        EventKind{"every", read_period},
        EventKind{"cron", read_cron_event},
    };
    return read_choice(element, kinds, ResultCode::timer_tag_invalid);
}

void read_event(const XmlElement& element, Signature& signature) {
    constexpr std::array kinds{
        EventKind{"log", read_log},
        EventKind{"timer", read_timer},
        EventKind{"onDemand", read_on_demand},
        EventKind{"script", read_script},
    };
    signature.event = read_choice(element, kinds, ResultCode::event_tag_invalid);
}

// ---- variables ----

constexpr std::array variable_parts{
    Part<SignatureVariable>{.element = "prompt",
                            .read =
                                [](const XmlElement& element, SignatureVariable& variable) {
                                    variable.prompt = read_words(element, longest_variable_prompt);
                                },
                            .is_required = false},
    Part<SignatureVariable>{.element = "default",
                            .read =
                                [](const XmlElement& element, SignatureVariable& variable) {
                                    variable.default_value =
                                        read_exact_line(element, longest_variable_value);
                                },
                            .is_required = false},
    Part<SignatureVariable>{
        .element = "pattern",
        .read = [](const XmlElement& element,
                   SignatureVariable& variable) { variable.pattern = read_pattern(element); },
        .is_required = false},
};

SignatureVariable read_variable(const XmlElement& element) {
    allow_attributes(element, {"name"});
    SignatureVariable variable;
    const std::string* name = find_attribute(element, "name");
    if (name == nullptr || !is_variable_name(*name)) {
        refuse(element, ResultCode::variable_name_invalid,
               fmt::format("has no name, or one that is not ds_ and then a-z, 0-9 or _, at most {} in all",
                           longest_variable_name));
    }
    if (std::ranges::find(built_in::names, *name) != built_in::names.end()) {
        refuse(element, ResultCode::variable_name_invalid,
               fmt::format("{} has the name of a variable that each run fills in by itself", *name));
    }
    variable.name = *name;
    read_parts<SignatureVariable>(element, variable_parts, variable);
    if (variable.default_value) {
        if (const auto refusal = refuse_value(variable, *variable.default_value)) {
            refuse(element, refusal->code, "has a wrong default: " + refusal->why);
        }
    }
    return variable;
}

void read_variables(const XmlElement& element, Signature& signature) {
    require_list(element, "variable", most_signature_variables);
    for (const XmlElement& child : element.children) {
        SignatureVariable variable = read_variable(child);
        if (std::ranges::find(signature.variables, variable.name, &SignatureVariable::name) !=
            signature.variables.end()) {
            refuse(child, ResultCode::signature_invalid, variable.name + " is there a second time");
        }
        signature.variables.push_back(std::move(variable));
    }
}

// ---- commands and message ----

void read_commands(const XmlElement& element, Signature& signature) {
    require_list(element, "command", most_signature_commands);
    for (const XmlElement& child : element.children) {
        std::string command = read_words(child, longest_signature_command);
        if (!is_show_command(command)) {
            refuse(child, ResultCode::action_wrong, "is not a show command");
        }
        signature.commands.push_back(std::move(command));
    }
}

constexpr std::array message_parts{
    Part<Signature>{.element = "subject",
                    .read =
                        [](const XmlElement& element, Signature& signature) {
                            signature.subject = read_words(element, longest_signature_subject);
                        }},
    Part<Signature>{
        .element = "text",
        .read = [](const XmlElement& element,
                   Signature& signature) { signature.text = read_lines(element, longest_signature_text); }},
};

void read_message(const XmlElement& element, Signature& signature) {
    allow_attributes(element, {});
    read_parts<Signature>(element, message_parts, signature);
}

void read_limit(const XmlElement& element, Signature& signature) {
    allow_attributes(element, {"remove"});
    signature.execution_limit = read_number(element, 1, highest_execution_limit);
    const std::string* removal = find_attribute(element, "remove");
    if (removal != nullptr && *removal != "true" && *removal != "false") {
        refuse(element, ResultCode::parameter_invalid, "says in remove neither true nor false");
    }
    signature.removed_at_limit = removal != nullptr && *removal == "true";
}

// ---- the whole ----

void read_required_version(const XmlElement& element, Signature& signature) {
    signature.required_version = read_words(element, longest_signature_version);
    if (!is_software_version(signature.required_version)) {
        refuse(element, ResultCode::parameter_invalid, "is not numbers with points between them");
    }
}

void read_alert_group(const XmlElement& element, Signature& signature) {
    signature.alert_group = read_words(element, longest_signature_file);
    if (!protocol::is_alert_group(signature.alert_group)) {
        refuse(element, ResultCode::event_group_missing, "is not the name of an alert group");
    }
}

constexpr std::array parts{
    Part<Signature>{
        .element = "name",
        .read = [](const XmlElement& element,
                   Signature& signature) { signature.name = read_name(element, longest_signature_name); }},
    Part<Signature>{.element = "revision",
                    .read =
                        [](const XmlElement& element, Signature& signature) {
                            signature.revision = read_name(element, longest_signature_revision);
                        }},
    Part<Signature>{.element = "author",
                    .read =
                        [](const XmlElement& element, Signature& signature) {
                            signature.author = read_words(element, longest_signature_author);
                        }},
    Part<Signature>{.element = "description",
                    .read =
                        [](const XmlElement& element, Signature& signature) {
                            signature.description = read_lines(element, longest_signature_description);
                        }},
    Part<Signature>{.element = "requiredVersion", .read = read_required_version, .is_required = false},
    Part<Signature>{.element = "event",
                    .read = read_event,
                    .when_missing = ResultCode::event_missing,
                    .when_repeated = ResultCode::multiple_events},
    Part<Signature>{.element = "variables", .read = read_variables, .is_required = false},
    Part<Signature>{.element = "commands", .read = read_commands},
    Part<Signature>{.element = "message", .read = read_message},
    Part<Signature>{.element = "alertGroup", .read = read_alert_group, .is_required = false},
    Part<Signature>{.element = "executionLimit", .read = read_limit, .is_required = false},
};

// Every variable that is used has to be there when the signature runs.
void require_known_variables(const Signature& signature) {
    const auto is_declared = [&signature](std::string_view name) {
        return std::ranges::find(signature.variables, name, &SignatureVariable::name) !=
               signature.variables.end();
    };
    const auto is_known = [&is_declared](std::string_view name) {
        return is_declared(name) || std::ranges::find(built_in::names, name) != built_in::names.end();
    };
    const auto require = [](std::string_view where, const std::optional<Refusal>& refusal) {
        if (refusal) {
            throw Refused{{refusal->code, fmt::format("{}: {}", where, refusal->why)}};
        }
    };
    for (const std::string& command : signature.commands) {
        require(command, refuse_variables(command, is_declared));
    }
    require("subject", refuse_variables(signature.subject, is_known));
    require("text", refuse_variables(signature.text, is_known));
}

Signature read_root(const XmlElement& root) {
    if (root.name != signature_element) {
        refuse(root, ResultCode::tag_unsupported,
               fmt::format("is not {} in the namespace {}", signature_element, signature_namespace));
    }
    allow_attributes(root, {"id"});
    Signature signature;
    signature.id = read_id(root);
    read_parts<Signature>(root, parts, signature);
    require_known_variables(signature);
    return signature;
}

}  // namespace

std::variant<Signature, Refusal> read_signature(std::string_view xml) {
    const auto read = read_xml(
        xml, signature_namespace,
        {.bytes = longest_signature_file, .elements = most_elements, .depth = deepest_signature_element});
    if (const auto* error = std::get_if<XmlError>(&read)) {
        const bool is_long = error->fault == XmlFault::too_long;
        return Refusal{is_long ? ResultCode::over_length : ResultCode::xml_unreadable, error->why};
    }
    try {
        return read_root(std::get<XmlElement>(read));
    } catch (const Refused& refused) {
        return refused.refusal;
    }
}

}  // namespace callhome::service
