// Sets signatures off by the clock.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <vector>

#include <asio/io_context.hpp>
#include <asio/steady_timer.hpp>

#include "delivery/settings.h"
#include "signatures/cron.h"
#include "signatures/signature.h"

namespace callhome::service {

// What was due while the clock leapt ahead, or while no service ran, is not made up for: a timer or cron
// expression sets its signature off once. A cron expression does not repeat what it has set off when the
// clock is set back by less than a day; a timer begins anew. Lives on the io_context's thread.
class Schedule {
 public:
    struct Entry {
        std::uint32_t id = 0;
        SignatureEvent event;  // those that no clock sets off are never due
    };

    // Of the settings, the clock and how often it is read count. `fire` may call set().
    Schedule(asio::io_context& io, const DeliverySettings& settings,
             std::function<void(std::uint32_t id)> fire);

    Schedule(const Schedule&) = delete;
    Schedule& operator=(const Schedule&) = delete;

    // An entry that was there before goes on as it was; a new timer begins now.
    void set(const std::vector<Entry>& entries);

    // True while something is due within a minute: no time to end the process.
    bool due_soon() const;

 private:
    struct Item {
        std::uint32_t id;
        SignatureEvent event;
        std::optional<CronSchedule> cron;
        std::int64_t handled;             // all up to this moment
        std::optional<std::int64_t> due;  // the next moment; nothing for never
    };

    static std::optional<std::int64_t> next_due(const Item& item);
    static std::int64_t most_ahead(const Item& item);
    Item item_for(const Entry& entry) const;
    void look();
    void look_later(std::int64_t now);

    const DeliverySettings settings_;
    const std::function<void(std::uint32_t)> fire_;
    asio::steady_timer timer_;
    std::vector<Item> items_;
    std::shared_ptr<Schedule*> self_ = std::make_shared<Schedule*>(this);
};

}  // namespace callhome::service
