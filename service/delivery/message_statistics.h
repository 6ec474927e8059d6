// How many messages have reached their receivers and how many were given up, until somebody clears that.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "delivery/settings.h"
#include "protocol/records/message.h"
#include "store/database.h"

namespace callhome::service {

class MessageStatistics {
 public:
    // Creates the tables where they are missing. The database counts by itself: a delivery and its being
    // counted are stored together.
    explicit MessageStatistics(Database& database, std::function<std::int64_t()> now = wall_clock);

    struct Counter {
        std::uint32_t count = 0;
        std::int64_t since = 0;
    };
    // Of deliveries that have ended in this state: delivered or failed.
    Counter of(protocol::DeliveryState state) const;
    void clear(protocol::DeliveryState state);

    // Deliveries that were dropped for want of room in the queue, since it was created. They count as
    // failed, too.
    std::uint64_t dropped() const;

    // How the deliveries of one destination profile have fared.
    struct OfProfile {
        std::string profile;
        std::uint32_t sent = 0;       // delivered in all
        std::uint32_t recovered = 0;  // of these, not with the first try
        std::uint32_t lost = 0;       // refused, given up or dropped, and not sent again since
        std::string last_error{};     // of a try, or of a mail server that another one stood in for
        std::int64_t last_error_at = 0;
        std::int64_t last_success_at = 0;
        std::int64_t last_latency_ms =
            0;  // from recording to the receiver's word, of the last one delivered
        std::int64_t most_latency_ms = 0;
        std::int64_t mean_latency_ms = 0;
        std::int64_t since = 0;  // when it was first counted, or cleared
    };
    // Zeros for a profile of which nothing was counted yet.
    OfProfile of_profile(const std::string& profile) const;
    // All of which something was counted, by name; also those that are gone.
    std::vector<OfProfile> of_profiles() const;
    void clear_profile(const std::string& profile);

    // How one delivery has fared, beyond what the walk of the deliveries tells.
    struct OfDelivery {
        std::string last_error;  // stays known when the delivery succeeds later
        std::int64_t last_error_at = 0;
        std::int64_t delivered_at = 0;
        std::int64_t latency_ms = 0;
    };
    // Nothing when there is no such delivery.
    std::optional<OfDelivery> of_delivery(std::int64_t id) const;

    // Of what is in the queue now.
    std::uint32_t messages() const;
    std::uint32_t deliveries(protocol::DeliveryState state) const;
    std::uint32_t waiting_of(const std::string& profile) const;  // deliveries
    std::int64_t next_attempt_at() const;                        // of the waiting ones; 0 for none

 private:
    SQLite::Database& connection_;
    Statements& statements_;
    const std::function<std::int64_t()> now_;
};

}  // namespace callhome::service
