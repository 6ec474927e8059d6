#include "messages/message_type.h"

#include <algorithm>

#include "protocol/records/message.h"

namespace callhome::service {
namespace {

constexpr std::array<std::string_view, 10> severity_names{"debug", "routine",    "notice",   "warning",
                                                          "minor", "major",      "critical", "severe",
                                                          "fatal", "catastrophe"};

constexpr std::array<ParameterName, 2> no_parameters{};
constexpr unsigned inventory_sections = section_interfaces | section_hardware | section_software;

constexpr std::array types{
    MessageType{"test", "Test message", "test", "test", Severity::notice, Origin::command, true,
                section_interfaces, no_parameters},
    MessageType{"inventory", "Inventory", "inventory", "inventory", Severity::notice, Origin::command,
                false, inventory_sections, no_parameters},
    MessageType{"PERIODIC_CONFIGURATION", "Configuration", "configuration", "configuration",
                Severity::notice, Origin::command_or_alert, false, section_configuration, no_parameters},
    MessageType{"TEMO-normal", "Diagnostic", "diagnostic", "Diagnostic", Severity::notice,
                Origin::command_or_alert, false, section_state | section_interfaces, no_parameters},
    MessageType{"SW_CRASH",
                "Software crash",
                "swcrash action",
                "crash",
                Severity::critical,
                Origin::command_or_alert,
                false,
                section_state | section_software,
                {{{"process", "Process"}, {"reason", "Reason"}}}},
    MessageType{"OBX_ALERT",
                "Event action",
                "obx action",
                "OBX",
                Severity::notice,
                Origin::command_or_alert,
                false,
                section_state,
                {{{"policy", "Policy"}, {"text", "Text"}}}},
    MessageType{"SUP_FAILURE", "Supervisor failure", "sup-failure", "supervisor-hardware", Severity::severe,
                Origin::alert, false, section_state | section_interfaces | section_hardware, no_parameters},
    MessageType{protocol::syslog_alert, "System log", "syslog", "syslog-group-port", Severity::minor,
                Origin::alert, false, section_interfaces, no_parameters},
    MessageType{"HARDWARE_INSERTION", "Hardware insertion", "hardware-insertion", "inventory",
                Severity::notice, Origin::alert, false, section_interfaces | section_hardware,
                no_parameters},
    MessageType{"TEMPERATURE_MINOR_ALARM", "Temperature alarm", "temperature-alarm", "environmental",
                Severity::minor, Origin::alert, false, section_state, no_parameters},
    MessageType{signature_message, "Diagnostic signature", "diagnostic-signature", "Diagnostic",
                Severity::warning, Origin::signature, false, 0, no_parameters},
};

constexpr std::array<ParameterName, 2> alert_parameters{{{"source", "Source"}, {"text", "Text"}}};

// By severity of the system log, from emergency to debug. What it never tells is an event for the whole
// network.
constexpr std::array syslog_severities{Severity::severe,  Severity::critical, Severity::major,
                                       Severity::minor,   Severity::warning,  Severity::notice,
                                       Severity::routine, Severity::debug};
static_assert(syslog_severities.size() == protocol::least_severe + 1);

}  // namespace

std::string_view name_of(Severity severity) {
    return severity_names.at(static_cast<std::size_t>(severity));
}

std::span<const MessageType> message_types() {
    return types;
}

const MessageType* find_message_type(std::string_view name, Origin origin) {
    const auto* found = std::find_if(types.begin(), types.end(), [&](const MessageType& type) {
        return type.name == name && includes(type.origins, origin);
    });
    return found == types.end() ? nullptr : found;
}

std::optional<MessageType> event_type(std::string_view alert, std::uint32_t severity) {
    const MessageType* found = find_message_type(alert, Origin::alert);
    const bool has_own = severity != protocol::severity_of_its_name;
    if (found == nullptr || (has_own && severity >= syslog_severities.size())) {
        return std::nullopt;
    }
    MessageType type = *found;
    type.parameters = alert_parameters;
    if (has_own) {
        type.severity = syslog_severities.at(severity);
    }
    return type;
}

}  // namespace callhome::service
