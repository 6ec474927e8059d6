// What an operator does to the queue.
#include <SQLiteCpp/VariadicBind.h>
#include <fmt/format.h>

#include "delivery/queue.h"

namespace callhome::service {
namespace {

constexpr auto waiting = static_cast<std::uint32_t>(protocol::DeliveryState::waiting);
constexpr auto delivered = static_cast<std::uint32_t>(protocol::DeliveryState::delivered);
constexpr auto failed = static_cast<std::uint32_t>(protocol::DeliveryState::failed);

// For json_each: the database is given a list as one value.
std::string list_of(const std::set<std::int64_t>& ids) {
    return fmt::format("[{}]", fmt::join(ids, ","));
}

std::vector<std::string> receivers_in(Statements& statements, std::int64_t message_id,
                                      std::uint32_t state) {
    std::vector<std::string> receivers;
    const auto row =
        statements.use("SELECT receiver FROM deliveries WHERE message_id = ? AND state = ? ORDER BY id");
    SQLite::bind(*row, message_id, state);
    while (row->executeStep()) {
        receivers.push_back(row->getColumn(0).getString());
    }
    return receivers;
}

}  // namespace

QueueTotals Queue::totals() const {
    const auto row = statements_.use(
        "SELECT waiting, bytes, dropped,"
        " (SELECT count(*) FROM deliveries WHERE state = ?) FROM queue_totals");
    row->bind(1, waiting);
    row->executeStep();
    return {.messages = static_cast<std::uint64_t>(row->getColumn(0).getInt64()),
            .bytes = static_cast<std::uint64_t>(row->getColumn(1).getInt64()),
            .dropped = static_cast<std::uint64_t>(row->getColumn(2).getInt64()),
            .deliveries = static_cast<std::uint64_t>(row->getColumn(3).getInt64())};
}

std::vector<std::int64_t> Queue::give_up_all(const std::set<std::int64_t>& under_way, std::int64_t now,
                                             const std::string& why) {
    std::vector<std::int64_t> given_up;
    const std::string kept = list_of(under_way);
    Transaction transaction(transactions_);
    const auto select = statements_.use(
        "SELECT id FROM deliveries WHERE state = ?"
        " AND id NOT IN (SELECT value FROM json_each(?))");
    SQLite::bind(*select, waiting, kept);
    while (select->executeStep()) {
        given_up.push_back(select->getColumn(0).getInt64());
    }
    select->reset();
    const auto change = statements_.use(
        "UPDATE deliveries SET state = ?1, next_attempt_at = 0, last_result = ?2,"
        " last_error = ?2, last_error_at = ?3 WHERE state = ?4"
        " AND id NOT IN (SELECT value FROM json_each(?5))");
    SQLite::bind(*change, failed, why, now, waiting, kept);
    change->exec();
    transaction.commit();
    return given_up;
}

std::optional<RecordedMessage> Queue::recorded_message(std::int64_t id) const {
    const auto row = statements_.use(
        "SELECT type, profile, subject, format, carrier, sender, size, content, key, severity"
        " FROM messages JOIN queued_messages ON message_id = id WHERE id = ?");
    row->bind(1, id);
    if (!row->executeStep()) {
        return std::nullopt;
    }
    RecordedMessage recorded;
    recorded.message.type = row->getColumn(0).getString();
    recorded.message.profile = row->getColumn(1).getString();
    recorded.message.subject = row->getColumn(2).getString();
    recorded.message.format = static_cast<protocol::MessageFormat>(row->getColumn(3).getUInt());
    recorded.message.carrier = static_cast<Carrier>(row->getColumn(4).getInt());
    recorded.message.sender = row->getColumn(5).getString();
    recorded.message.size = static_cast<std::size_t>(row->getColumn(6).getInt64());
    recorded.message.content = row->getColumn(7).getString();
    recorded.message.key = row->getColumn(8).getString();
    recorded.message.severity = row->getColumn(9).getInt();
    recorded.message.receivers = receivers_in(statements_, id, delivered);
    recorded.failed = receivers_in(statements_, id, failed).size();
    recorded.waiting = receivers_in(statements_, id, waiting).size();
    return recorded;
}

std::string Queue::why_no_room_for(const NewMessage& message, const QueueLimits& limits) const {
    const auto lacking = shortage(std::span(&message, 1), limits);
    return lacking ? lacking->why : "";
}

// What was given up has all its tries again; what waits keeps the count of those it had.
std::size_t Queue::make_due(std::int64_t message_id, const std::set<std::int64_t>& under_way,
                            std::int64_t now) {
    const auto change = statements_.use(
        "UPDATE deliveries SET state = ?1, next_attempt_at = ?2,"
        " attempts = iif(state = ?3, 0, attempts)"
        " WHERE message_id = ?4 AND state IN (?1, ?3)"
        " AND id NOT IN (SELECT value FROM json_each(?5))");
    SQLite::bind(*change, waiting, now, failed, message_id, list_of(under_way));
    return static_cast<std::size_t>(change->exec());
}

std::uint32_t Queue::id_before_last(std::uint32_t count) const {
    const auto row = statements_.use("SELECT id FROM messages ORDER BY id DESC LIMIT 1 OFFSET ?");
    row->bind(1, count);
    return row->executeStep() ? row->getColumn(0).getUInt() : 0;
}

}  // namespace callhome::service
