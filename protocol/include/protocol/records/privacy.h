// How much identifying data the messages may carry.
#pragma once

#include "protocol/record.h"

namespace callhome::protocol {

enum class PrivacyItem : std::uint32_t {
    host_name = 1,     // the host name is masked
    level_normal = 2,  // secrets are masked
    level_high = 3,    // addresses and serial numbers, too
};

// Opcode data_privacy, both directions of a change; a get sends it zeroed.
struct [[gnu::packed]] PrivacyRecord {
    std::uint32_t item;    // PrivacyItem
    std::uint32_t remove;  // 1 takes the item back
    std::uint8_t spare;
};
CALLHOME_RECORD(PrivacyRecord, 9, item, remove, spare);

// Bits of PrivacyReply.
enum PrivacyFlag : std::uint32_t {
    privacy_high = 1,  // else normal
    privacy_host_name = 2,
};

// The answer to a get. Its word stays in transport order (big-endian): whoever reads it converts it.
struct [[gnu::packed]] PrivacyReply {
    std::uint8_t flags[4];  // mask of PrivacyFlag
};
CALLHOME_RECORD(PrivacyReply, 4, flags);

}  // namespace callhome::protocol
