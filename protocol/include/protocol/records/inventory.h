// Inventory: when it is sent by itself, and what software there is.
#pragma once

#include "protocol/record.h"

namespace callhome::protocol {

struct [[gnu::packed]] PeriodicInventoryRecord {
    std::uint32_t notification;  // 1 when periodic inventory messages are on
    std::uint32_t time_period;   // days
    std::uint8_t trailing_flag;
    std::uint32_t time_of_day;  // minutes after midnight
};
CALLHOME_RECORD(PeriodicInventoryRecord, 13, notification, time_period, trailing_flag, time_of_day);

// Opcode software_inventory, a walk by name; an empty name asks for the first. Behind the record of a
// reply stand `pairs` times two NUL-terminated texts, a name and its value: software_pairs_size bytes at
// most.
struct [[gnu::packed]] SoftwareRecord {
    char name[255];
    std::uint32_t pairs;  // 0 in a request
};
CALLHOME_RECORD(SoftwareRecord, 259, name, pairs);
inline constexpr std::size_t software_pairs_size = 16'384;

}  // namespace callhome::protocol
