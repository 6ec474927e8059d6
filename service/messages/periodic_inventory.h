// The inventory message that the service sends by itself.
#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include <asio/io_context.hpp>
#include <asio/steady_timer.hpp>

#include "messages/inventory_schedule.h"
#include "messages/message_service.h"

namespace callhome::service {

// Sends while call home and the periodic inventory are switched on. When the last message was sent is kept
// in the database, so that a restart neither repeats nor drops one; one that fell due while no service ran
// is sent when the next one starts. Lives on the io_context's thread.
class InventoryTimer {
 public:
    // Looks for the first time as soon as the io_context runs. All references must outlive this object.
    InventoryTimer(asio::io_context& io, Database& database, const Configuration& configuration,
                   MessageService& messages, const DeliverySettings& settings);
    ~InventoryTimer();

    InventoryTimer(const InventoryTimer&) = delete;
    InventoryTimer& operator=(const InventoryTimer&) = delete;

    // Takes up changed settings now instead of within a minute.
    void settings_may_have_changed();

    // True while a message is due within a minute: no time to end the process.
    bool due_soon() const;

 private:
    // What is kept in the database. The settings are kept to see that they have changed.
    struct Kept {
        bool wanted = false;
        std::uint32_t time_period = 0;
        std::uint32_t time_of_day = 0;
        InventoryState state;

        bool operator==(const Kept&) const = default;
    };

    void load();
    void keep(const Kept& kept);
    void store();
    Kept as_wanted(std::int64_t now) const;
    std::int64_t due() const;
    void look();
    void look_later(std::int64_t now);
    void send(std::int64_t now);
    void use_up(std::int64_t slot);
    void take_result(std::int64_t slot, protocol::Status status, const std::string& text);
    void complain(const std::string& why);

    asio::io_context& io_;
    SQLite::Database& connection_;
    const Configuration& configuration_;
    MessageService& messages_;
    const DeliverySettings settings_;
    asio::steady_timer timer_;
    Kept kept_;
    bool is_stored_ = true;        // the database holds what is in kept_
    bool storing_failed_ = false;  // and the log says so
    bool sending_ = false;         // what came of the message is not known yet
    std::string complaint_;        // the last one; it is not repeated until a message goes well
    // What is on its way through the io_context finds out here whether there is still someone to tell.
    std::shared_ptr<InventoryTimer*> self_;
};

}  // namespace callhome::service
