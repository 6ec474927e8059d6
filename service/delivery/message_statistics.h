// How many messages have reached their receivers and how many were given up, until somebody clears that.
#pragma once

#include <cstdint>
#include <functional>

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

    // Of what is in the queue now.
    std::uint32_t messages() const;
    std::uint32_t deliveries(protocol::DeliveryState state) const;
    std::int64_t next_attempt_at() const;  // of the waiting ones; 0 for none

 private:
    SQLite::Database& connection_;
    const std::function<std::int64_t()> now_;
};

}  // namespace callhome::service
