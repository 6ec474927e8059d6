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

std::uint64_t number(Statements& statements, std::string_view sql) {
    const auto row = statements.use(sql);
    row->executeStep();
    return static_cast<std::uint64_t>(row->getColumn(0).getInt64());
}

// What the database can take up without taking more of the disk.
std::uint64_t free_in_database(Statements& statements) {
    return number(statements, "PRAGMA freelist_count") * number(statements, "PRAGMA page_size");
}

}  // namespace

// Nothing when all of them find room now.
std::optional<Queue::Shortage> Queue::shortage(std::span<const NewMessage> messages,
                                               const QueueLimits& limits, std::uint64_t before) const {
    const Need need = need_of(messages);
    if (number(statements_, "SELECT waiting FROM queue_totals") + need.messages > limits.messages) {
        return Shortage{"Too many messages wait in the queue; see 'show callhome queue'"};
    }
    if (number(statements_, "SELECT bytes FROM queue_totals") + need.bytes > limits.bytes) {
        return Shortage{
            "The messages that wait in the queue are too long in all; see 'show callhome queue'"};
    }
    // What came before in the same transaction is not on the disk yet.
    const auto on_disk = limits.free_bytes(folder_);
    if (on_disk && *on_disk < limits.free_disk + before + need.bytes &&
        free_in_database(statements_) < need.bytes) {
        return Shortage{
            fmt::format("The disk of the service is too full: {} MiB are free, {} MiB have to stay free",
                        *on_disk >> bits_of_mebibyte, limits.free_disk >> bits_of_mebibyte),
            true};
    }
    return std::nullopt;
}

// The oldest message that nobody waits for any more; false when there is none.
bool Queue::forget_one() {
    return statements_
               .use(
                   "DELETE FROM messages WHERE id = (SELECT message_id FROM queued_messages"
                   " WHERE waiting = 0 ORDER BY message_id LIMIT 1)")
               ->exec() > 0;
}

// What made room in vain is put back.
std::optional<Queue::Shortage> Queue::make_room(const Coming& coming, std::vector<std::int64_t>& dropped) {
    if (!shortage(coming.messages, coming.terms.limits, coming.before)) {
        return std::nullopt;
    }
    run(*statements_.use("SAVEPOINT room"));
    auto lacking = drop_until_there_is_room(coming, dropped);
    if (lacking) {
        run(*statements_.use("ROLLBACK TO room"));
        dropped.clear();
    }
    run(*statements_.use("RELEASE room"));
    return lacking;
}

std::optional<Queue::Shortage> Queue::drop_until_there_is_room(const Coming& coming,
                                                               std::vector<std::int64_t>& dropped) {
    const QueueLimits& limits = coming.terms.limits;
    const Need need = need_of(coming.messages);
    const bool fits_at_all = need.messages <= limits.messages && need.bytes <= limits.bytes;
    const int severity = severity_of(coming.messages);
    while (auto lacking = shortage(coming.messages, limits, coming.before)) {
        const bool found_some = fits_at_all && ((lacking->is_of_disk && forget_one()) ||
                                                drop_one(severity, coming.terms, dropped));
        if (!found_some) {
            return lacking;
        }
    }
    return std::nullopt;
}

std::optional<std::int64_t> Queue::first_to_drop(int most_severity,
                                                 const std::set<std::int64_t>& under_way) const {
    const auto candidates = statements_.use(
        "SELECT message_id FROM queued_messages WHERE waiting > 0 AND severity <= ?"
        " ORDER BY severity, message_id");
    candidates->bind(1, most_severity);
    while (candidates->executeStep()) {
        const std::int64_t id = candidates->getColumn(0).getInt64();
        if (!under_way.contains(id)) {
            return id;
        }
    }
    return std::nullopt;
}

// The oldest of the least grave ones, if it is not graver than what takes its place. Its text goes, since
// it is the room that is wanted; who was to get it stays known as long as other finished messages do.
bool Queue::drop_one(int most_severity, const RecordingTerms& terms, std::vector<std::int64_t>& dropped) {
    const auto message = first_to_drop(most_severity, terms.under_way);
    if (!message) {
        return false;
    }
    const std::size_t before = dropped.size();
    {
        const auto waiting_ones =
            statements_.use("SELECT id FROM deliveries WHERE message_id = ? AND state = ?");
        SQLite::bind(*waiting_ones, *message, waiting);
        while (waiting_ones->executeStep()) {
            dropped.push_back(waiting_ones->getColumn(0).getInt64());
        }
    }
    run(*statements_.use("UPDATE deliveries SET state = ?1, next_attempt_at = 0, last_result = ?2,"
                         " last_error = ?2, last_error_at = ?3 WHERE message_id = ?4 AND state = ?5"),
        failed, dropped_result, terms.time.seconds, *message, waiting);
    run(*statements_.use("UPDATE messages SET content = x'' WHERE id = ?"), *message);
    run(*statements_.use("UPDATE queue_totals SET dropped = dropped + ?"),
        static_cast<std::int64_t>(dropped.size() - before));
    return true;
}

bool Queue::has_disk_room(const QueueLimits& limits) const {
    const auto on_disk = limits.free_bytes(folder_);
    return !on_disk || *on_disk >= limits.free_disk;
}

std::uint64_t Queue::dropped() const {
    return number(statements_, "SELECT dropped FROM queue_totals");
}

std::size_t Queue::waiting_messages() const {
    return number(statements_, "SELECT waiting FROM queue_totals");
}

}  // namespace callhome::service
