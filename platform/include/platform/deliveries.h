// How deliveries have fared, and what an operator does about them: requests of the reference shell.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "platform/interface.h"

namespace callhome::platform {

struct QueueState {
    std::uint32_t messages, most_messages, deliveries, bytes, most_bytes, dropped;
    bool is_degraded;
    std::uint32_t degraded_since;  // seconds since 1970, as all times here; 0 for never
    std::string trouble;
};
ServiceStatus read_queue_state(QueueState& state);

// Latencies are milliseconds.
struct ProfileStatistics {
    std::string profile;
    std::uint32_t sent, recovered, lost, waiting;
    std::uint32_t since, last_success_at, last_error_at;
    std::uint32_t last_latency, mean_latency, most_latency;
    std::string last_error;
};
ServiceStatus read_profile_statistics(const std::string& profile, ProfileStatistics& statistics);

struct ClearedQueue {
    std::uint32_t given_up, under_way;
};
ServiceStatus clear_queue(ClearedQueue& cleared);

struct ResentMessage {
    std::uint32_t due_now, under_way, new_message, receivers;
    std::string why_not;  // also of a refusal
};
ServiceStatus resend_message(std::uint32_t message_id, ResentMessage& resent);

struct PreviewRow {
    std::string profile, format, transport, receivers, subject, text;
    std::uint32_t size;  // bytes of the composed text, without the mail around it
};
struct Preview {
    std::vector<PreviewRow> messages;
    std::uint32_t left_out = 0;  // messages for which there was no room
    std::string why_not;         // of a refusal that gives its reason
};
// Of all profiles that take the message, or of the one that is named.
ServiceStatus read_preview(const std::string& type, const std::string& profile, Preview& preview);

}  // namespace callhome::platform
