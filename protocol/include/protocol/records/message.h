// Messages: asking for one now, and looking at what was sent and what still waits.
#pragma once

#include "protocol/record.h"

namespace callhome::protocol {

// Opcode send_message; the reply has the same layout and may end after the terminator of its text.
struct [[gnu::packed]] SendMessageRecord {
    char type[64];          // name of the message type
    std::uint32_t result;   // sent as 0; not read
    char reply_text[2048];  // of a reply: one line a receiver
    char parameter_1[256];  // of an action message
    char parameter_2[256];  //
};
CALLHOME_RECORD(SendMessageRecord, 2628, type, result, reply_text, parameter_1, parameter_2);

// Opcode message_log, a walk by id from the oldest message; 0 asks for the first.
struct [[gnu::packed]] MessageLogRecord {
    std::uint32_t id;
    std::uint32_t recorded_at;  // seconds since 1970, UTC
    std::uint32_t size;         // bytes of the composed text
    std::uint32_t format;       // MessageFormat
    std::uint32_t waiting;      // receivers that are still to be tried
    std::uint32_t delivered;    // receivers that have it
    std::uint32_t failed;       // receivers that were given up
    char type[64];
    char profile[32];
    char subject[256];
};
CALLHOME_RECORD(MessageLogRecord, 380, id, recorded_at, size, format, waiting, delivered, failed, type,
                profile, subject);

enum class DeliveryState : std::uint32_t {
    waiting = 1,
    delivered = 2,
    failed = 3,
};

// Opcode delivery_log, a walk by id; 0 asks for the first. With `message_id` not 0 in the key, only
// the receivers of that message are walked; with `state` not 0, only those in that state.
struct [[gnu::packed]] DeliveryLogRecord {
    std::uint32_t id;
    std::uint32_t message_id;
    std::uint32_t state;            // DeliveryState
    std::uint32_t attempts;         // tries made so far
    std::uint32_t next_attempt_at;  // seconds since 1970, UTC; 0 when nothing is due
    std::uint32_t last_attempt_at;  // seconds since 1970, UTC; 0 before the first try
    char receiver[256];
    char last_result[512];  // what the last try came to, as one line
    char profile[32];       // of the message
};
CALLHOME_RECORD(DeliveryLogRecord, 824, id, message_id, state, attempts, next_attempt_at, last_attempt_at,
                receiver, last_result, profile);

// The alert that stands for a line of the system log: what it is about is said by its source and severity.
inline constexpr const char* syslog_alert = "SYSLOG_ALERT";

// AlertRecord::severity of an alert whose name says how severe it is.
inline constexpr std::uint32_t severity_of_its_name = 0xFFFFFFFF;
inline constexpr std::uint32_t least_severe = 7;  // of the system log, whose 0 is the most severe

// Opcode post_alert; the reply is one line a receiver as text, without a terminator.
struct [[gnu::packed]] AlertRecord {
    char alert[64];          // name of the alert
    char source[256];        // who raises it
    char text[2048];         // what happened
    std::uint32_t severity;  // as the system log counts, 0 to 7; or severity_of_its_name
};
CALLHOME_RECORD(AlertRecord, 2372, alert, source, text, severity);

// Opcode message_text; the reply is the text alone, without a terminator.
struct [[gnu::packed]] MessageKeyRecord {
    std::uint32_t id;
};
CALLHOME_RECORD(MessageKeyRecord, 4, id);

}  // namespace callhome::protocol
