// Contact information: one named item a record.
#pragma once

#include "protocol/record.h"

namespace callhome::protocol {

struct [[gnu::packed]] ContactRecord {
    char name[256];    // MIB object name, the key
    char value[2048];  // numbers as decimal text
    std::uint8_t trailing_flag;
};
CALLHOME_RECORD(ContactRecord, 2305, name, value, trailing_flag);

}  // namespace callhome::protocol
