#include "messages/periodic_inventory.h"

#include <spdlog/spdlog.h>

#include <SQLiteCpp/VariadicBind.h>

#include <algorithm>
#include <array>
#include <asio/post.hpp>

#include "messages/text.h"

namespace callhome::service {
namespace {

constexpr std::int64_t soon = 60;  // seconds

constexpr const char* table = R"(
    CREATE TABLE IF NOT EXISTS inventory_schedule (
        only_row INTEGER PRIMARY KEY CHECK (only_row = 1),
        wanted INTEGER NOT NULL,
        time_period INTEGER NOT NULL,
        time_of_day INTEGER NOT NULL,
        armed_at INTEGER NOT NULL,
        last_slot INTEGER NOT NULL
    );
)";

// After these there is no message: it is tried again.
bool must_be_repeated(protocol::Status status) {
    constexpr std::array without_message{protocol::Status::message_in_progress,
                                         protocol::Status::limit_reached, protocol::Status::storage_failed};
    return std::ranges::find(without_message, status) != without_message.end();
}

}  // namespace

InventoryTimer::InventoryTimer(asio::io_context& io, Database& database, const Configuration& configuration,
                               MessageService& messages, const DeliverySettings& settings)
    : io_(io),
      connection_(database.connection()),
      configuration_(configuration),
      messages_(messages),
      settings_(settings),
      timer_(io),
      self_(std::make_shared<InventoryTimer*>(this)) {
    load();
    settings_may_have_changed();
}

InventoryTimer::~InventoryTimer() = default;

void InventoryTimer::load() {
    connection_.exec(table);
    SQLite::Statement row(connection_,
                          "SELECT wanted, time_period, time_of_day, armed_at, last_slot "
                          "FROM inventory_schedule");
    if (row.executeStep()) {
        kept_ = {
            .wanted = row.getColumn(0).getInt() != 0,
            .time_period = row.getColumn(1).getUInt(),
            .time_of_day = row.getColumn(2).getUInt(),
            .state = {.armed_at = row.getColumn(3).getInt64(), .last_slot = row.getColumn(4).getInt64()}};
    }
}

// What is not on the disk counts as long as the service runs: sending the same message each minute because
// the disk is full would help nobody.
void InventoryTimer::keep(const Kept& kept) {
    if (kept != kept_) {
        kept_ = kept;
        is_stored_ = false;
    }
    if (!is_stored_) {
        store();
    }
}

void InventoryTimer::store() {
    try {
        SQLite::Statement row(connection_,
                              "REPLACE INTO inventory_schedule (only_row, wanted, time_period, "
                              "time_of_day, armed_at, last_slot) VALUES (1, ?, ?, ?, ?, ?)");
        SQLite::bind(row, static_cast<int>(kept_.wanted), kept_.time_period, kept_.time_of_day,
                     kept_.state.armed_at, kept_.state.last_slot);
        row.exec();
        is_stored_ = true;
        storing_failed_ = false;
    } catch (const SQLite::Exception& error) {
        if (!storing_failed_) {
            storing_failed_ = true;
            spdlog::error("When the periodic inventory was sent cannot be recorded: {}", error.what());
        }
    }
}

// What is kept when the settings of now are looked at: where they have changed, the days are counted anew.
InventoryTimer::Kept InventoryTimer::as_wanted(std::int64_t now) const {
    const PeriodicInventory& periodic = configuration_.periodic_inventory;
    Kept kept;
    kept.state = kept_.state;
    if (configuration_.enabled && periodic.notification) {
        kept.wanted = true;
        kept.time_period = periodic.time_period;
        kept.time_of_day = periodic.time_of_day;
        kept.state = settled(kept_.state, now);
    }
    const bool changed = kept.wanted != kept_.wanted || kept.time_period != kept_.time_period ||
                         kept.time_of_day != kept_.time_of_day;
    if (changed) {
        kept.state.armed_at = now;
    }
    return kept;
}

std::int64_t InventoryTimer::due() const {
    return next_inventory(configuration_.periodic_inventory, kept_.state);
}

bool InventoryTimer::due_soon() const {
    return sending_ || (kept_.wanted && due() <= settings_.now() + soon);
}

void InventoryTimer::settings_may_have_changed() {
    asio::post(io_, [weak = std::weak_ptr(self_)] {
        if (const auto self = weak.lock()) {
            (*self)->look();
        }
    });
}

void InventoryTimer::look() {
    const std::int64_t now = settings_.now();
    keep(as_wanted(now));
    if (kept_.wanted && !sending_ && due() <= now) {
        send(now);
    }
    look_later(now);
}

// Clocks jump: the wait is never longer than clock_check.
void InventoryTimer::look_later(std::int64_t now) {
    std::chrono::milliseconds time = settings_.clock_check;
    if (kept_.wanted && due() > now) {
        time = std::min(time, std::chrono::milliseconds(std::chrono::seconds(due() - now)));
    }
    timer_.expires_after(time);
    timer_.async_wait([weak = std::weak_ptr(self_)](const asio::error_code& error) {
        const auto self = weak.lock();
        if (!error && self != nullptr) {
            (*self)->look();
        }
    });
}

// The slot is used up when the message is in the queue, or when it is known that there can be none.
void InventoryTimer::send(std::int64_t now) {
    const std::int64_t slot = inventory_slot(configuration_.periodic_inventory, now);
    sending_ = true;
    messages_.send({.type = "inventory",
                    .parameter_1 = "",
                    .parameter_2 = "",
                    .requested_by = "",
                    .when_recorded =
                        [weak = std::weak_ptr(self_), slot] {
                            if (const auto self = weak.lock()) {
                                (*self)->use_up(slot);
                            }
                        }},
                   [weak = std::weak_ptr(self_), slot](protocol::Status status, const std::string& text) {
                       if (const auto self = weak.lock()) {
                           (*self)->take_result(slot, status, text);
                       }
                   });
}

void InventoryTimer::use_up(std::int64_t slot) {
    Kept kept = kept_;
    kept.state.last_slot = slot;
    keep(kept);
}

void InventoryTimer::take_result(std::int64_t slot, protocol::Status status, const std::string& text) {
    sending_ = false;
    if (status == protocol::Status::ok) {
        complaint_.clear();
        spdlog::info("The periodic inventory was sent");
        return;
    }
    if (!must_be_repeated(status)) {
        use_up(slot);
    }
    // That an operator's message is just being sent is no fault.
    if (status != protocol::Status::message_in_progress) {
        const char* known = protocol::text_of(status);
        complain(clean_line(text.empty() && known != nullptr ? known : text));
    }
}

void InventoryTimer::complain(const std::string& why) {
    if (why != complaint_) {
        complaint_ = why;
        spdlog::warn("The periodic inventory: {}", why);
    }
}

}  // namespace callhome::service
