// Destination profiles and the addresses that belong to them.
#pragma once

#include "protocol/record.h"

namespace callhome::protocol {

// Bits of ProfileRecord::transport_methods.
enum TransportMethod : std::uint32_t {
    transport_email = 1,
    transport_http = 2,
};

enum class MessageFormat : std::uint32_t {
    xml = 1,
    full_text = 2,
    short_text = 3,
};

struct [[gnu::packed]] ProfileRecord {
    char name[32];                    // the key
    std::uint32_t transport_methods;  // mask of TransportMethod
    std::uint32_t format;             // MessageFormat
    std::uint32_t message_size;       // largest message in bytes
    std::uint32_t lookup_flag;        // 1 in a record that only names a profile; not trusted
    std::uint8_t message_level;       // lowest level that is sent, shown as a signed number
    std::uint8_t spare;
    std::uint8_t trailing_flag;
};
CALLHOME_RECORD(ProfileRecord, 51, name, transport_methods, format, message_size, lookup_flag,
                message_level, spare, trailing_flag);

// Opcodes profile_email and profile_url.
struct [[gnu::packed]] AddressRecord {
    char name[32];           // the profile
    char address[256];       // e-mail address or URL
    std::uint32_t index;     // the cursor of a walk, filled by the service; sent as 0 in a change
    std::uint32_t reserved;  // sent as 1
    std::uint8_t trailing_flag;
};
CALLHOME_RECORD(AddressRecord, 297, name, address, index, reserved, trailing_flag);

}  // namespace callhome::protocol
