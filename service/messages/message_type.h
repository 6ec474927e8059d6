// The kinds of messages: what each is called, whom it concerns, and what it tells.
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <span>
#include <string_view>

namespace callhome::service {

// How grave a message is; a profile takes those at its message level and above.
enum class Severity : std::int8_t {
    debug = 0,
    routine = 1,
    notice = 2,
    warning = 3,
    minor = 4,
    major = 5,
    critical = 6,
    severe = 7,
    fatal = 8,
    catastrophe = 9,
};

std::string_view name_of(Severity severity);

// The long parts of a message, in the order in which they stand in it.
enum SectionKind : unsigned {
    section_state = 1U << 0U,          // load, memory, disks
    section_interfaces = 1U << 1U,     // network interfaces
    section_hardware = 1U << 2U,       // processor, memory, disks
    section_software = 1U << 3U,       // versions and packages
    section_configuration = 1U << 4U,  // how call home is configured
};

// Where messages of a type come from; a mask.
enum class Origin : std::uint8_t {
    command = 1U << 0U,    // an operator asks for it
    alert = 1U << 1U,      // a part of the switch raises it
    signature = 1U << 2U,  // a diagnostic signature has run
    command_or_alert = command | alert,
};

constexpr bool includes(Origin mask, Origin origin) {
    return (static_cast<unsigned>(mask) & static_cast<unsigned>(origin)) != 0U;
}

// A parameter of a message: how XML and text name it; empty where the type has none.
struct ParameterName {
    const char* element = "";
    const char* label = "";
};

struct MessageType {
    std::string_view name;         // in requests
    std::string_view title;        // in subjects and headings
    std::string_view wording;      // in "… WORDING callhome message …"
    std::string_view alert_group;  // the group that it belongs to
    Severity severity;
    Origin origins;
    bool for_every_profile;                   // subscriptions and levels do not matter
    unsigned sections;                        // mask of SectionKind
    std::array<ParameterName, 2> parameters;  // of a command
};

// What the messages of signatures are; each signature has an alert group of its own.
inline constexpr std::string_view signature_message = "diagnostic-signature";

std::span<const MessageType> message_types();

// A null pointer for a name that is not a type of this origin.
const MessageType* find_message_type(std::string_view name, Origin origin);

// What an alert becomes: its parameters are source and text, and `severity`, as the system log counts,
// stands above the type's own unless it is protocol::severity_of_its_name. Nothing for an alert that is not
// known, and for a number that is no severity.
std::optional<MessageType> event_type(std::string_view alert, std::uint32_t severity);

}  // namespace callhome::service
