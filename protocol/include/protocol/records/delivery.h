// How what was sent has fared, and what an operator does about it: the queue as a whole, the figures of a
// profile, giving up, sending again, and a look at what a message would be.
#pragma once

#include "protocol/record.h"

namespace callhome::protocol {

// Opcode queue_state; sent as 0. What does not fit a number is told as the highest there is.
struct [[gnu::packed]] QueueStateRecord {
    std::uint32_t messages;        // that some receiver still waits for
    std::uint32_t most_messages;   // of these
    std::uint32_t deliveries;      // receivers that are still to be tried, of all messages
    std::uint32_t bytes;           // of the messages that wait
    std::uint32_t most_bytes;      // of these
    std::uint32_t dropped;         // deliveries that had to make room, ever
    std::uint32_t is_degraded;     // 1: what has to be kept cannot be kept
    std::uint32_t degraded_since;  // seconds since 1970, UTC; 0 while it is not
    char trouble[256];             // what is wrong with the storage, as one line
};
CALLHOME_RECORD(QueueStateRecord, 288, messages, most_messages, deliveries, bytes, most_bytes, dropped,
                is_degraded, degraded_since, trouble);

// Opcode profile_statistics; the profile is the key, all else is sent as 0. Times are seconds since 1970,
// UTC, 0 for never; latencies run from recording to the receiver's word, in milliseconds.
struct [[gnu::packed]] ProfileStatisticsRecord {
    char profile[32];
    std::uint32_t sent;       // deliveries
    std::uint32_t recovered;  // of these, not with the first try
    std::uint32_t lost;       // refused, given up or dropped
    std::uint32_t waiting;    // still to be tried
    std::uint32_t since;      // when counting began
    std::uint32_t last_success_at;
    std::uint32_t last_error_at;
    std::uint32_t last_latency;
    std::uint32_t mean_latency;
    std::uint32_t most_latency;
    char last_error[512];  // with the server that it came from
};
CALLHOME_RECORD(ProfileStatisticsRecord, 584, profile, sent, recovered, lost, waiting, since,
                last_success_at, last_error_at, last_latency, mean_latency, most_latency, last_error);

// Opcode clear_queue; sent as 0.
struct [[gnu::packed]] ClearQueueRecord {
    std::uint32_t given_up;   // deliveries that waited
    std::uint32_t under_way;  // deliveries that are being tried, and stay
};
CALLHOME_RECORD(ClearQueueRecord, 8, given_up, under_way);

// Opcode resend_message; the message is the key, all else is sent as 0. A refusal brings a record, too.
struct [[gnu::packed]] ResendRecord {
    std::uint32_t message_id;
    std::uint32_t due_now;      // receivers that waited or were given up
    std::uint32_t under_way;    // receivers that are being tried anyhow
    std::uint32_t new_message;  // what goes to those who have the message already; 0 for none
    std::uint32_t receivers;    // of the new message
    char why_not[256];          // why something was not done; empty when all was
};
CALLHOME_RECORD(ResendRecord, 276, message_id, due_now, under_way, new_message, receivers, why_not);

// Opcode message_tail; `before` is sent as 0.
struct [[gnu::packed]] MessageTailRecord {
    std::uint32_t count;   // of the newest messages
    std::uint32_t before;  // where a walk over these begins, as its first key
};
CALLHOME_RECORD(MessageTailRecord, 8, count, before);

// Opcode message_preview. The reply is in pieces: PreviewTotals, then a PreviewHead with its text for each
// message, all numbers in transport order. A refusal's reply is its reason as text.
struct [[gnu::packed]] PreviewRequestRecord {
    char type[64];     // name of the message type, of an operator's message or of an alert
    char profile[32];  // empty for all that take it
};
CALLHOME_RECORD(PreviewRequestRecord, 96, type, profile);

struct [[gnu::packed]] PreviewTotals {
    std::uint32_t messages;  // that follow
    std::uint32_t left_out;  // for which the reply had no room
};
CALLHOME_RECORD(PreviewTotals, 8, messages, left_out);

struct [[gnu::packed]] PreviewHead {
    std::uint32_t length;  // bytes of text behind this head
    std::uint32_t size;    // bytes of the composed text, without the mail around it
    std::uint32_t format;  // MessageFormat
    std::uint32_t is_mail;
    char profile[32];
    char subject[256];
    char receivers[1024];  // addresses with ", " between them, cut behind a whole one
};
CALLHOME_RECORD(PreviewHead, 1328, length, size, format, is_mail, profile, subject, receivers);

}  // namespace callhome::protocol
