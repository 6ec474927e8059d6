#include "messages/message_type.h"

#include <algorithm>

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
                Severity::notice, Origin::command, false, section_configuration, no_parameters},
    MessageType{"TEMO-normal", "Diagnostic", "diagnostic", "Diagnostic", Severity::notice, Origin::command,
                false, section_state | section_interfaces, no_parameters},
    MessageType{"SW_CRASH",
                "Software crash",
                "swcrash action",
                "crash",
                Severity::critical,
                Origin::command,
                false,
                section_state | section_software,
                {{{"process", "Process"}, {"reason", "Reason"}}}},
    MessageType{"OBX_ALERT",
                "Event action",
                "obx action",
                "OBX",
                Severity::notice,
                Origin::command,
                false,
                section_state,
                {{{"policy", "Policy"}, {"text", "Text"}}}},
    MessageType{"SUP_FAILURE",
                "Supervisor failure",
                "sup-failure",
                "supervisor-hardware",
                Severity::severe,
                Origin::alert,
                false,
                section_state | section_interfaces | section_hardware,
                {{{"source", "Source"}, {"text", "Text"}}}},
    MessageType{signature_message, "Diagnostic signature", "diagnostic-signature", "Diagnostic",
                Severity::warning, Origin::signature, false, 0, no_parameters},
};

}  // namespace

std::string_view name_of(Severity severity) {
    return severity_names.at(static_cast<std::size_t>(severity));
}

std::span<const MessageType> message_types() {
    return types;
}

const MessageType* find_message_type(std::string_view name, Origin origin) {
    const auto* found = std::find_if(types.begin(), types.end(), [&](const MessageType& type) {
        return type.name == name && type.origin == origin;
    });
    return found == types.end() ? nullptr : found;
}

}  // namespace callhome::service
