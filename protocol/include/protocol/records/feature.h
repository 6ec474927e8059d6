// Switching the feature and its traps on and off.
#pragma once

#include "protocol/record.h"

namespace callhome::protocol {

// Opcodes feature_state and traps.
struct [[gnu::packed]] SwitchRecord {
    std::uint32_t enabled;  // 1 on, 0 off
    std::uint8_t trailing_flag;
};
CALLHOME_RECORD(SwitchRecord, 5, enabled, trailing_flag);

}  // namespace callhome::protocol
