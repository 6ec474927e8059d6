// What may wait in the queue, and what goes when more wants to.
#include <SQLiteCpp/VariadicBind.h>
#include <fmt/format.h>

#include <algorithm>

#include "delivery/queue.h"

namespace callhome::service {
namespace {

constexpr auto waiting = static_cast<std::uint32_t>(protocol::DeliveryState::waiting);
constexpr auto failed = static_cast<std::uint32_t>(protocol::DeliveryState::failed);
constexpr unsigned bits_of_mebibyte = 20;

struct Need {
    std::uint64_t messages = 0;
    std::uint64_t bytes = 0;
};

Need need_of(std::span<const NewMessage> messages) {
    Need need;
    for (const NewMessage& message : messages) {
        need.messages += message.receivers.empty() ? 0 : 1;
        need.bytes += message.content.size();
    }
    return need;
}

int severity_of(std::span<const NewMessage> messages) {
    int severity = 0;
    for (const NewMessage& message : messages) {
        severity = std::max(severity, message.severity);
    }
    return severity;
}

std::uint64_t number(SQLite::Database& connection, const char* sql) {
    return static_cast<std::uint64_t>(connection.execAndGet(sql).getInt64());
}

// What the database can take up without taking more of the disk.
std::uint64_t free_in_database(SQLite::Database& connection) {
    return number(connection, "PRAGMA freelist_count") * number(connection, "PRAGMA page_size");
}

}  // namespace

// Nothing when all of them find room now.
std::optional<Queue::Shortage> Queue::shortage(std::span<const NewMessage> messages,
                                               const QueueLimits& limits) const {
    const Need need = need_of(messages);
    if (number(connection_, "SELECT waiting FROM queue_totals") + need.messages > limits.messages) {
        return Shortage{"Too many messages wait in the queue; see 'show callhome queue'"};
    }
    if (number(connection_, "SELECT bytes FROM queue_totals") + need.bytes > limits.bytes) {
        return Shortage{
            "The messages that wait in the queue are too long in all; see 'show callhome queue'"};
    }
    const auto on_disk = limits.free_bytes(folder_);
    if (on_disk && *on_disk < limits.free_disk + need.bytes && free_in_database(connection_) < need.bytes) {
        return Shortage{
            fmt::format("The disk of the service is too full: {} MiB are free, {} MiB have to stay free",
                        *on_disk >> bits_of_mebibyte, limits.free_disk >> bits_of_mebibyte),
            true};
    }
    return std::nullopt;
}

// The oldest message that nobody waits for any more; false when there is none.
bool Queue::forget_one() {
    return connection_.exec(
               "DELETE FROM messages WHERE id ="
               " (SELECT message_id FROM queued_messages WHERE waiting = 0 ORDER BY message_id LIMIT 1)") >
           0;
}

std::optional<Queue::Shortage> Queue::make_room(std::span<const NewMessage> messages,
                                                const QueueLimits& limits,
                                                const std::set<std::int64_t>& under_way, std::int64_t now,
                                                std::vector<std::int64_t>& dropped) {
    const Need need = need_of(messages);
    const bool fits_at_all = need.messages <= limits.messages && need.bytes <= limits.bytes;
    while (const auto lacking = shortage(messages, limits)) {
        const bool found_some = fits_at_all && ((lacking->is_of_disk && forget_one()) ||
                                                drop_one(severity_of(messages), under_way, now, dropped));
        if (!found_some) {
            return *lacking;
        }
    }
    return std::nullopt;
}

// The oldest of the least grave ones, if it is not graver than what takes its place. Its text goes, since
// it is the room that is wanted; who was to get it stays known as long as other finished messages do.
bool Queue::drop_one(int most_severity, const std::set<std::int64_t>& under_way, std::int64_t now,
                     std::vector<std::int64_t>& dropped) {
    SQLite::Statement candidates(
        connection_,
        "SELECT message_id FROM queued_messages WHERE waiting > 0 AND severity <= ?"
        " ORDER BY severity, message_id");
    candidates.bind(1, most_severity);
    std::optional<std::int64_t> message;
    while (!message && candidates.executeStep()) {
        const std::int64_t id = candidates.getColumn(0).getInt64();
        message = under_way.contains(id) ? std::nullopt : std::optional(id);
    }
    candidates.reset();
    if (!message) {
        return false;
    }
    SQLite::Statement waiting_ones(connection_,
                                   "SELECT id FROM deliveries WHERE message_id = ? AND state = ?");
    waiting_ones.bind(1, *message);
    waiting_ones.bind(2, waiting);
    const std::size_t before = dropped.size();
    while (waiting_ones.executeStep()) {
        dropped.push_back(waiting_ones.getColumn(0).getInt64());
    }
    waiting_ones.reset();
    SQLite::Statement give_up(connection_,
                              "UPDATE deliveries SET state = ?1, next_attempt_at = 0, last_result = ?2,"
                              " last_error = ?2, last_error_at = ?3 WHERE message_id = ?4 AND state = ?5");
    SQLite::bind(give_up, failed, dropped_result, now, *message, waiting);
    give_up.exec();
    SQLite::Statement empty(connection_, "UPDATE messages SET content = x'' WHERE id = ?");
    empty.bind(1, *message);
    empty.exec();
    SQLite::Statement count(connection_, "UPDATE queue_totals SET dropped = dropped + ?");
    count.bind(1, static_cast<std::int64_t>(dropped.size() - before));
    count.exec();
    return true;
}

bool Queue::has_disk_room(const QueueLimits& limits) const {
    const auto on_disk = limits.free_bytes(folder_);
    return !on_disk || *on_disk >= limits.free_disk;
}

std::uint64_t Queue::dropped() const {
    return number(connection_, "SELECT dropped FROM queue_totals");
}

std::size_t Queue::waiting_messages() const {
    return number(connection_, "SELECT waiting FROM queue_totals");
}

}  // namespace callhome::service
