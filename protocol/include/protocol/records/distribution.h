// The distribution session: changes are collected in a pending copy of the configuration and take effect
// together when they are committed.
#pragma once

#include "protocol/record.h"

namespace callhome::protocol {

struct [[gnu::packed]] DistributionRecord {
    std::uint32_t enabled;  // 1 on, 0 off
};
CALLHOME_RECORD(DistributionRecord, 4, enabled);

struct [[gnu::packed]] ClearSessionRecord {
    std::uint32_t whoever_owns_it;  // 1 drops anybody's session, 0 only the caller's own
};
CALLHOME_RECORD(ClearSessionRecord, 4, whoever_owns_it);

enum class SessionAction : std::uint32_t {
    none = 0,
    commit = 4,
    discard = 5,
    clear = 6,  // never sent; told by SessionRecord
};

enum class ActionResult : std::uint32_t {
    none = 1,  // no action has been asked for
    success = 2,
    fail = 3,
    in_progress = 4,
};

// Opcode commit: a set asks for an action, a get for what came of the last one.
struct [[gnu::packed]] CommitRecord {
    std::uint32_t action;    // SessionAction
    std::uint8_t words[20];  // sent as 0
    std::uint32_t result;    // ActionResult; sent as 0
    std::uint32_t cause;     // Status of a failure; sent as 0
    std::uint8_t rest[12];   // sent as 0
};
CALLHOME_RECORD(CommitRecord, 44, action, words, result, cause, rest);

// Opcode session_state, a get. Times are seconds since 1970, UTC; 0 and an empty text stand for what there
// is not.
struct [[gnu::packed]] SessionRecord {
    std::uint32_t is_open;
    std::uint32_t opened_at;
    char owner[64];             // login name
    std::uint32_t last_action;  // SessionAction
    std::uint32_t last_result;  // ActionResult
    std::uint32_t last_cause;   // Status of a failure
    std::uint32_t last_at;
    char last_user[64];  // login name
};
CALLHOME_RECORD(SessionRecord, 152, is_open, opened_at, owner, last_action, last_result, last_cause,
                last_at, last_user);

}  // namespace callhome::protocol
