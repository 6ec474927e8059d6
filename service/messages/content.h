// What a message says, before it has a format.
#pragma once

#include <span>
#include <string>
#include <utility>
#include <vector>

#include "commands/command_output.h"
#include "inventory/system_inventory.h"
#include "messages/message_type.h"
#include "messages/signature_report.h"
#include "store/configuration.h"

namespace callhome::service {

struct ContentField {
    const char* element;  // its name in XML
    const char* label;    // its name in text
    std::string value;    // clean text; never empty
    bool brief;           // stands in a short message too
};

struct ContentBlock {
    const char* element;
    const char* title;
    bool may_be_cut;  // false where a cut value would be a wrong one, as a time
    std::vector<ContentField> fields;
};

struct ContentGroup {
    std::string name;  // empty where a section has only one group
    std::vector<std::pair<std::string, std::string>> entries;
};

// A part that may be long, and loses its end or all of itself when a message has to be small.
struct ContentSection {
    std::string id;
    std::string title;
    std::vector<ContentGroup> groups;
    std::vector<std::string> lines;
    bool is_cut = false;  // its end was left out
};

struct MessageContent {
    std::string subject;
    std::vector<ContentBlock> blocks;
    std::vector<ContentSection> sections;
};

// What tells one message from all others.
struct MessageStamp {
    std::string id;      // unique over all switches and times
    long long time = 0;  // seconds since 1970
};

struct MessageSubject {
    const MessageType* type;
    std::string parameter_1;
    std::string parameter_2;
    std::string requested_by;
    const SignatureReport* signature = nullptr;   // of a signature's message
    std::string repeated = {};                    // of an event that came again meanwhile: how often
    std::span<const CommandOutput> outputs = {};  // of the operator's commands; what it points to stays
};

class ConfigurationLines;

// `lines` are those of the last messages; without them, they are made for this one.
MessageContent compose_content(const MessageSubject& subject, const MessageStamp& stamp,
                               const std::string& profile_name, const Configuration& configuration,
                               const SystemInventory& inventory, ConfigurationLines& lines);
MessageContent compose_content(const MessageSubject& subject, const MessageStamp& stamp,
                               const std::string& profile_name, const Configuration& configuration,
                               const SystemInventory& inventory);

}  // namespace callhome::service
