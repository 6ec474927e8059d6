#include "messages/content.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <iterator>

#include "messages/configuration_lines.h"
#include "messages/sections.h"
#include "messages/text.h"

namespace callhome::service {
namespace {

constexpr std::size_t longest_user_name = 64;  // bytes

struct ContactField {
    const char* item;  // MIB name
    const char* element;
    const char* label;
    bool brief;
};

constexpr std::array contact_fields{
    ContactField{"sysContact", "name", "Name", true},
    ContactField{"sysContactEmail", "email", "E-mail", false},
    ContactField{"sysContactPhoneNumber", "phone", "Phone", true},
    ContactField{"sysStreetAddress", "streetAddress", "Street address", false},
    ContactField{"siteId", "siteId", "Site id", true},
    ContactField{"custId", "customerId", "Customer id", false},
    ContactField{"contractId", "contractId", "Contract id", false},
    ContactField{"priority", "switchPriority", "Switch priority", true},
};

// Line ends are kept in what a person has written about an event; everything else is one line.
void add_field(ContentBlock& block, const char* element, const char* label, std::string value, bool brief) {
    if (!value.empty()) {
        block.fields.push_back({element, label, std::move(value), brief});
    }
}

ContentBlock header_block(const MessageSubject& subject, const MessageStamp& stamp,
                          const std::string& profile_name) {
    const MessageType& type = *subject.type;
    ContentBlock block{"header", "Message", false, {}};
    add_field(block, "id", "Id", clean_line(stamp.id), false);
    add_field(block, "type", "Type", std::string(type.name), false);
    add_field(block, "title", "Title", std::string(type.title), false);
    add_field(block, "alertGroup", "Alert group", std::string(type.alert_group), false);
    add_field(block, "level", "Level", fmt::to_string(static_cast<int>(type.severity)), false);
    add_field(block, "severity", "Severity", std::string(name_of(type.severity)), true);
    add_field(block, "time", "Time", iso_time(stamp.time), true);
    add_field(block, "profile", "Profile", clean_line(profile_name), false);
    add_field(block, "requestedBy", "Requested by",
              std::string(cut_to(clean_line(subject.requested_by), longest_user_name)), false);
    return block;
}

void add_signature_fields(ContentBlock& block, const SignatureReport& report) {
    add_field(block, "signature", "Signature",
              clean_line(fmt::format("{} {}, revision {}", report.id, report.name, report.revision)), true);
    add_field(block, "trigger", "Trigger", clean_line(report.trigger), true);
    add_field(block, "text", "Text", clean_text(report.text), true);
}

ContentBlock event_block(const MessageSubject& subject) {
    ContentBlock block{"event", "Event", true, {}};
    if (subject.signature != nullptr) {
        add_signature_fields(block, *subject.signature);
    }
    const std::array values{&subject.parameter_1, &subject.parameter_2};
    for (std::size_t i = 0; i < values.size(); ++i) {
        const ParameterName& name = subject.type->parameters[i];
        if (*name.element != '\0') {
            add_field(block, name.element, name.label, clean_text(*values[i]), true);
        }
    }
    add_field(block, "repeated", "Repeated", subject.repeated, true);
    return block;
}

ContentBlock device_block(const SystemInventory& inventory) {
    ContentBlock block{"device", "Device", true, {}};
    add_field(block, "hostName", "Host name", clean_line(inventory.host_name), false);
    add_field(block, "vendor", "Vendor", clean_line(inventory.vendor), false);
    add_field(block, "product", "Product", clean_line(inventory.product), true);
    add_field(block, "serialNumber", "Serial number", clean_line(inventory.serial_number), true);
    add_field(block, "softwareVersion", "Software version", clean_line(inventory.software_version), false);
    add_field(block, "operatingSystem", "Operating system", clean_line(inventory.operating_system), false);
    add_field(block, "kernel", "Kernel", clean_line(inventory.kernel), false);
    add_field(block, "uptime", "Uptime", duration_text(inventory.uptime), false);
    return block;
}

ContentBlock contact_block(const Configuration& configuration) {
    ContentBlock block{"contact", "Contact", true, {}};
    for (const ContactField& row : contact_fields) {
        const auto found = configuration.contact.find(row.item);
        if (found != configuration.contact.end()) {
            add_field(block, row.element, row.label, clean_line(found->second), row.brief);
        }
    }
    return block;
}

void add_command_sections(MessageContent& content, const MessageSubject& subject) {
    std::vector<CommandOutput> outputs(subject.outputs.begin(), subject.outputs.end());
    if (subject.signature != nullptr) {
        outputs.insert(outputs.begin(), subject.signature->outputs.begin(),
                       subject.signature->outputs.end());
    }
    std::ranges::move(command_sections(outputs), std::back_inserter(content.sections));
}

}  // namespace

MessageContent compose_content(const MessageSubject& subject, const MessageStamp& stamp,
                               const std::string& profile_name, const Configuration& configuration,
                               const SystemInventory& inventory, ConfigurationLines& lines) {
    MessageContent content;
    content.subject =
        subject.signature != nullptr
            ? clean_line(subject.signature->subject)
            : fmt::format("Call home: {} from {}", subject.type->title, clean_line(inventory.host_name));
    content.blocks = {header_block(subject, stamp, profile_name), event_block(subject),
                      device_block(inventory), contact_block(configuration)};
    std::erase_if(content.blocks, [](const ContentBlock& block) { return block.fields.empty(); });
    content.sections = compose_sections(subject.type->sections, configuration, inventory, lines);
    add_command_sections(content, subject);
    return content;
}

MessageContent compose_content(const MessageSubject& subject, const MessageStamp& stamp,
                               const std::string& profile_name, const Configuration& configuration,
                               const SystemInventory& inventory) {
    ConfigurationLines lines;
    return compose_content(subject, stamp, profile_name, configuration, inventory, lines);
}

}  // namespace callhome::service
