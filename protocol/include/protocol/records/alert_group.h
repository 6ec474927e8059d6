// What a destination profile subscribes to, and the commands whose output goes with a group's messages.
#pragma once

#include "protocol/record.h"

namespace callhome::protocol {

// Opcode alert_group.
struct [[gnu::packed]] SubscriptionRecord {
    char name[32];           // the profile
    std::uint32_t index;     // the cursor of a walk, filled by the service; sent as 0 in a change
    std::uint32_t reserved;  // sent as 1
    char group[256];         // one of alert_group_names
    std::uint32_t spare;     // sent as 0
    std::uint8_t trailing_flag;
};
CALLHOME_RECORD(SubscriptionRecord, 301, name, index, reserved, group, spare, trailing_flag);

// Opcode user_command.
struct [[gnu::packed]] UserCommandRecord {
    std::uint32_t index;     // the cursor of a walk, filled by the service; sent as 0 in a change
    char group[256];         // one of alert_group_names
    std::uint32_t reserved;  // sent as 1
    char command[600];       // a show command
    std::uint8_t trailing_flag;
};
CALLHOME_RECORD(UserCommandRecord, 865, index, group, reserved, command, trailing_flag);

}  // namespace callhome::protocol
