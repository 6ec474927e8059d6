#include "signatures/views.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>

#include "signatures/signature_tables.h"

namespace callhome::service {
namespace {

using protocol::SignatureView;

// Above this many bytes, a view of all signatures ends with a hint: a reply is one frame.
constexpr std::size_t longest_view = 8UL * 1024UL * 1024UL;

std::string heading_of(const CatalogueEntry& entry) {
    return fmt::format("Signature {}: {}\n", entry.id, entry.signature->name);
}

std::string line_of(std::string_view name, std::string_view value) {
    return fmt::format(" {:<19}{}\n", fmt::format("{}:", name), value);
}

// Each line of a text, indented below its name.
std::string lines_of(std::string_view name, std::string_view text) {
    std::string lines = fmt::format(" {}:\n", name);
    while (!text.empty()) {
        const std::size_t end = text.find('\n');
        lines += fmt::format("   {}\n", text.substr(0, end));
        text = end == std::string_view::npos ? "" : text.substr(end + 1);
    }
    return lines;
}

std::string limit_text(const Signature& signature) {
    if (signature.execution_limit == 0) {
        return "none";
    }
    return fmt::format("{}, then {}", signature.execution_limit,
                       signature.removed_at_limit ? "it is removed" : "it runs no more");
}

struct EventWords {
    std::string operator()(const OnDemandEvent& /*event*/) const { return line_of("Event", "on demand"); }
    std::string operator()(const LogEvent& event) const {
        return line_of("Event", "a log line") + line_of("Pattern", event.pattern);
    }
    std::string operator()(const TimerEvent& event) const {
        return line_of("Event", "a timer") +
               line_of("Period", fmt::format("{} seconds", event.period.count()));
    }
    std::string operator()(const CronEvent& event) const {
        return line_of("Event", "the clock") + line_of("Cron expression", event.expression);
    }
};

std::string state_text(const CatalogueEntry& entry, bool active) {
    switch (entry.state) {
        case SignatureState::installed:
            return active ? "installed, waits for its event"
                          : "installed, does not run: diagnostic signatures are disabled";
        case SignatureState::finished:
            return "finished: it has run as often as it may";
        case SignatureState::loaded:
            break;
    }
    return "loaded, not installed";
}

std::string describe(const CatalogueEntry& entry, const SignatureActions& actions) {
    const Signature& signature = *entry.signature;
    return line_of("Revision", signature.revision) + line_of("Author", signature.author) +
           line_of("Required version",
                   signature.required_version.empty() ? "any" : signature.required_version) +
           line_of("Alert group", signature.alert_group) +
           line_of("Execution limit", limit_text(signature)) +
           line_of("State", state_text(entry, actions.catalogue().settings().active)) +
           lines_of("Description", signature.description);
}

std::string show_xml(const CatalogueEntry& entry, const SignatureActions& actions) {
    std::string xml = actions.catalogue().xml_of(entry.id);
    if (!xml.ends_with('\n')) {
        xml += '\n';
    }
    return xml;
}

std::string show_event(const CatalogueEntry& entry, const SignatureActions& /*actions*/) {
    return std::visit(EventWords{}, entry.signature->event) +
           line_of("Alert group", entry.signature->alert_group);
}

std::string value_of(const CatalogueEntry& entry, const SignatureVariable& variable,
                     const SignatureActions& actions) {
    const VariableValues values =
        variables_of(*entry.signature, entry.answers, actions.catalogue().settings().environment);
    const auto value = values.find(variable.name);
    return value == values.end() ? "not set" : value->second;
}

std::string show_prompts(const CatalogueEntry& entry, const SignatureActions& actions) {
    std::string text;
    for (const SignatureVariable& variable : entry.signature->variables) {
        text += line_of("Variable", variable.name);
        text += line_of("  Prompt", variable.is_asked_for() ? variable.prompt
                                                            : "none, its value is that of the environment");
        if (variable.default_value) {
            text += line_of("  Default", *variable.default_value);
        }
        if (!variable.pattern.empty()) {
            text += line_of("  Pattern", variable.pattern);
        }
        text += line_of("  Value", value_of(entry, variable, actions));
    }
    return text.empty() ? " It has no variables.\n" : text;
}

std::string show_actions(const CatalogueEntry& entry, const SignatureActions& /*actions*/) {
    const Signature& signature = *entry.signature;
    std::string commands;
    for (const std::string& command : signature.commands) {
        commands += command + '\n';
    }
    return lines_of("Commands", commands) + line_of("Message subject", signature.subject) +
           lines_of("Message text", signature.text);
}

std::string show_state(const CatalogueEntry& entry, const SignatureActions& actions) {
    const SignatureCounters& counters = entry.counters;
    return line_of("State", state_text(entry, actions.catalogue().settings().active)) +
           line_of("Loaded", table_time(entry.loaded_at)) +
           line_of("Installed", table_time(entry.installed_at)) +
           line_of("Runs", fmt::format("{} since it was installed", entry.runs_of_install)) +
           line_of("Execution limit", limit_text(*entry.signature)) +
           line_of("Last run", table_time(counters.last_run_at)) +
           line_of("Dropped events", fmt::format("{}", counters.dropped_events));
}

std::string show_messages(const CatalogueEntry& entry, const SignatureActions& /*actions*/) {
    const SignatureCounters& counters = entry.counters;
    std::string text = line_of("Sent", fmt::format("{}", counters.messages_sent)) +
                       line_of("Failed", fmt::format("{}", counters.messages_failed)) +
                       line_of("Last message", table_time(counters.last_message_at));
    if (!counters.last_message_result.empty()) {
        text += line_of("Last result", counters.last_message_result);
    }
    return text;
}

// The views of each signature by itself.
struct EntryView {
    SignatureView view;
    bool is_plain;  // of one signature, without a heading: it can be taken as it stands
    std::string (*show)(const CatalogueEntry& entry, const SignatureActions& actions);
};

constexpr std::array entry_views{
    EntryView{SignatureView::description, false, describe},
    EntryView{SignatureView::xml, true, show_xml},
    EntryView{SignatureView::events, false, show_event},
    EntryView{SignatureView::prompts, false, show_prompts},
    EntryView{SignatureView::actions, false, show_actions},
    EntryView{SignatureView::state, false, show_state},
    EntryView{SignatureView::messages, false, show_messages},
};

struct WholeView {
    SignatureView view;
    std::string (*show)(const SignatureActions& actions);
};

constexpr std::array whole_views{
    WholeView{SignatureView::settings, settings_view},
    WholeView{SignatureView::failures, failures_view},
    WholeView{SignatureView::run_time, run_time_view},
    WholeView{SignatureView::downloads, downloads_view},
};

std::string show_one(const EntryView& view, std::uint32_t id, const SignatureActions& actions) {
    const CatalogueEntry* entry = actions.catalogue().find(id);
    if (entry == nullptr) {
        return fmt::format("There is no signature {}.\n", id);
    }
    return (view.is_plain ? std::string() : heading_of(*entry)) + view.show(*entry, actions);
}

std::string show_all(const EntryView& view, const SignatureActions& actions) {
    std::string text;
    for (const auto& [id, entry] : actions.catalogue().entries()) {
        if (text.size() > longest_view) {
            return text + "\nThere are more; ask for them one by one.\n";
        }
        if (!text.empty()) {
            text += '\n';
        }
        text += heading_of(entry);
        text += view.show(entry, actions);
    }
    return text.empty() ? "No signature is loaded.\n" : text;
}

}  // namespace

std::optional<std::string> signature_view(SignatureView view, std::uint32_t id,
                                          const SignatureActions& actions) {
    const auto* whole = std::ranges::find(whole_views, view, &WholeView::view);
    if (whole != whole_views.end()) {
        return whole->show(actions);
    }
    const auto* of_entry = std::ranges::find(entry_views, view, &EntryView::view);
    if (of_entry == entry_views.end()) {
        return std::nullopt;
    }
    return id == protocol::all_signatures ? show_all(*of_entry, actions) : show_one(*of_entry, id, actions);
}

}  // namespace callhome::service
