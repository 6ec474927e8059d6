#include "delivery/queue.h"

#include <algorithm>
#include <cstring>

#include "messages/text.h"

namespace callhome::service {
namespace {

// `content` comes last, so that walks do not read through it. Numbers are those of protocol and Carrier.
// The order of turns has an index of its own: it is asked for after each try, however long the queue is.
constexpr const char* tables = R"(
    CREATE TABLE IF NOT EXISTS messages (
        id INTEGER PRIMARY KEY AUTOINCREMENT,
        recorded_at INTEGER NOT NULL,
        type TEXT NOT NULL,
        profile TEXT NOT NULL,
        subject TEXT NOT NULL,
        format INTEGER NOT NULL,
        carrier INTEGER NOT NULL,
        size INTEGER NOT NULL,
        sender TEXT NOT NULL,
        content BLOB NOT NULL
    );
    CREATE TABLE IF NOT EXISTS deliveries (
        id INTEGER PRIMARY KEY AUTOINCREMENT,
        message_id INTEGER NOT NULL REFERENCES messages (id) ON DELETE CASCADE,
        receiver TEXT NOT NULL,
        state INTEGER NOT NULL,
        attempts INTEGER NOT NULL DEFAULT 0,
        next_attempt_at INTEGER NOT NULL,
        last_attempt_at INTEGER NOT NULL DEFAULT 0,
        last_result TEXT NOT NULL DEFAULT ''
    );
    CREATE INDEX IF NOT EXISTS deliveries_by_message ON deliveries (message_id, state);
    CREATE INDEX IF NOT EXISTS deliveries_by_state ON deliveries (state, next_attempt_at);
    CREATE INDEX IF NOT EXISTS deliveries_by_turn ON deliveries (state, attempts > 0, next_attempt_at, id);
)";

constexpr auto waiting = static_cast<std::uint32_t>(protocol::DeliveryState::waiting);
constexpr auto delivered = static_cast<std::uint32_t>(protocol::DeliveryState::delivered);
constexpr auto failed = static_cast<std::uint32_t>(protocol::DeliveryState::failed);

// As much of the text as the field of a record takes, terminator included.
template <std::size_t size>
void fill(char (&field)[size], const std::string& text) {
    const std::string_view part = cut_to(text, size - 1);
    std::memcpy(field, part.data(), part.size());
}

std::vector<std::string> columns_of(const NewMessage& message) {
    return {message.type, message.profile, message.subject, message.sender};
}

}  // namespace

Queue::Queue(Database& database) : connection_(database.connection()) {
    connection_.exec(tables);
}

std::vector<std::int64_t> Queue::record_one(const NewMessage& message, std::int64_t now) {
    SQLite::Statement insert(
        connection_,
        "INSERT INTO messages (recorded_at, type, profile, subject, sender, format, carrier,"
        " size, content) VALUES (?, ?, ?, ?, ?, ?, ?, ?, ?)");
    int column = 0;
    insert.bind(++column, now);
    for (const std::string& text : columns_of(message)) {
        insert.bind(++column, text);
    }
    insert.bind(++column, static_cast<std::uint32_t>(message.format));
    insert.bind(++column, static_cast<int>(message.carrier));
    insert.bind(++column, static_cast<std::int64_t>(message.size));
    insert.bindNoCopy(++column, message.content.data(), static_cast<int>(message.content.size()));
    insert.exec();
    const std::int64_t message_id = connection_.getLastInsertRowid();

    std::vector<std::int64_t> deliveries;
    SQLite::Statement add(
        connection_,
        "INSERT INTO deliveries (message_id, receiver, state, next_attempt_at) VALUES (?, ?, ?, ?)");
    for (const std::string& receiver : message.receivers) {
        add.reset();
        add.bind(1, message_id);
        add.bind(2, receiver);
        add.bind(3, waiting);
        add.bind(4, now);
        add.exec();
        deliveries.push_back(connection_.getLastInsertRowid());
    }
    return deliveries;
}

std::vector<std::vector<std::int64_t>> Queue::record(std::span<const NewMessage> messages, std::int64_t now,
                                                     std::size_t finished_kept) {
    SQLite::Transaction transaction(connection_);
    std::vector<std::vector<std::int64_t>> ids;
    for (const NewMessage& message : messages) {
        ids.push_back(record_one(message, now));
    }
    SQLite::Statement prune(
        connection_,
        "DELETE FROM messages WHERE id IN (SELECT id FROM messages AS m WHERE NOT EXISTS"
        " (SELECT 1 FROM deliveries WHERE message_id = m.id AND state = ?)"
        " ORDER BY id DESC LIMIT -1 OFFSET ?)");
    prune.bind(1, waiting);
    prune.bind(2, static_cast<std::int64_t>(finished_kept));
    prune.exec();
    transaction.commit();
    return ids;
}

std::size_t Queue::waiting_messages() const {
    SQLite::Statement count(connection_,
                            "SELECT count(DISTINCT message_id) FROM deliveries WHERE state = ?");
    count.bind(1, waiting);
    count.executeStep();
    return static_cast<std::size_t>(count.getColumn(0).getInt64());
}

std::optional<WaitingDelivery> Queue::next_due(std::int64_t now,
                                               const std::set<std::int64_t>& under_way) const {
    const auto first_try = next_in_turn(now, false, under_way);
    return first_try ? first_try : next_in_turn(now, true, under_way);
}

std::optional<WaitingDelivery> Queue::next_in_turn(std::int64_t now, bool tried_before,
                                                   const std::set<std::int64_t>& under_way) const {
    SQLite::Statement select(connection_,
                             "SELECT id, message_id, receiver, attempts FROM deliveries"
                             " WHERE state = ? AND (attempts > 0) = ? AND next_attempt_at <= ?"
                             " ORDER BY next_attempt_at, id");
    select.bind(1, waiting);
    select.bind(2, static_cast<int>(tried_before));
    select.bind(3, now);
    while (select.executeStep()) {
        const std::int64_t id = select.getColumn(0).getInt64();
        if (!under_way.contains(id)) {
            return WaitingDelivery{id, select.getColumn(1).getInt64(), select.getColumn(2).getString(),
                                   select.getColumn(3).getUInt()};
        }
    }
    return std::nullopt;
}

std::optional<std::int64_t> Queue::earliest(const std::set<std::int64_t>& under_way) const {
    SQLite::Statement select(
        connection_, "SELECT id, next_attempt_at FROM deliveries WHERE state = ? ORDER BY next_attempt_at");
    select.bind(1, waiting);
    while (select.executeStep()) {
        if (!under_way.contains(select.getColumn(0).getInt64())) {
            return select.getColumn(1).getInt64();
        }
    }
    return std::nullopt;
}

void Queue::bring_forward(std::int64_t now, std::int64_t longest_pause) {
    SQLite::Statement change(
        connection_,
        "UPDATE deliveries SET next_attempt_at = ?1 WHERE state = ?2 AND next_attempt_at > ?1");
    change.bind(1, now + longest_pause);
    change.bind(2, waiting);
    change.exec();
}

std::optional<MessageToSend> Queue::message_to_send(std::int64_t message_id) const {
    SQLite::Statement select(connection_,
                             "SELECT carrier, format, sender, content FROM messages WHERE id = ?");
    select.bind(1, message_id);
    if (!select.executeStep()) {
        return std::nullopt;
    }
    return MessageToSend{static_cast<Carrier>(select.getColumn(0).getInt()),
                         static_cast<protocol::MessageFormat>(select.getColumn(1).getUInt()),
                         select.getColumn(2).getString(), select.getColumn(3).getString()};
}

void Queue::update(const DeliveryUpdate& update) {
    SQLite::Statement change(connection_,
                             "UPDATE deliveries SET state = ?, attempts = ?, next_attempt_at = ?,"
                             " last_attempt_at = ?, last_result = ? WHERE id = ?");
    change.bind(1, static_cast<std::uint32_t>(update.state));
    change.bind(2, update.attempts);
    change.bind(3, update.next_attempt_at);
    change.bind(4, update.last_attempt_at);
    change.bind(5, update.last_result);
    change.bind(6, update.id);
    change.exec();
}

std::optional<protocol::MessageLogRecord> Queue::message_after(std::uint32_t id) const {
    SQLite::Statement select(connection_,
                             "SELECT id, recorded_at, size, format, type, profile, subject,"
                             " (SELECT count(*) FROM deliveries WHERE message_id = m.id AND state = ?),"
                             " (SELECT count(*) FROM deliveries WHERE message_id = m.id AND state = ?),"
                             " (SELECT count(*) FROM deliveries WHERE message_id = m.id AND state = ?)"
                             " FROM messages AS m WHERE id > ? ORDER BY id LIMIT 1");
    select.bind(1, waiting);
    select.bind(2, delivered);
    select.bind(3, failed);
    select.bind(4, id);
    if (!select.executeStep()) {
        return std::nullopt;
    }
    protocol::MessageLogRecord record{};
    record.id = select.getColumn(0).getUInt();
    record.recorded_at = static_cast<std::uint32_t>(select.getColumn(1).getInt64());
    record.size = select.getColumn(2).getUInt();
    record.format = select.getColumn(3).getUInt();
    fill(record.type, select.getColumn(4).getString());
    fill(record.profile, select.getColumn(5).getString());
    fill(record.subject, select.getColumn(6).getString());
    record.waiting = select.getColumn(7).getUInt();
    record.delivered = select.getColumn(8).getUInt();
    record.failed = select.getColumn(9).getUInt();
    return record;
}

std::optional<protocol::DeliveryLogRecord> Queue::delivery_after(std::uint32_t id, std::uint32_t message_id,
                                                                 std::uint32_t state) const {
    SQLite::Statement select(connection_,
                             "SELECT id, message_id, state, attempts, next_attempt_at, last_attempt_at,"
                             " receiver, last_result FROM deliveries"
                             " WHERE id > ?1 AND (?2 = 0 OR message_id = ?2)"
                             " AND (?3 = 0 OR state = ?3) ORDER BY id LIMIT 1");
    select.bind(1, id);
    select.bind(2, message_id);
    select.bind(3, state);
    if (!select.executeStep()) {
        return std::nullopt;
    }
    protocol::DeliveryLogRecord record{};
    record.id = select.getColumn(0).getUInt();
    record.message_id = select.getColumn(1).getUInt();
    record.state = select.getColumn(2).getUInt();
    record.attempts = select.getColumn(3).getUInt();
    record.next_attempt_at = static_cast<std::uint32_t>(select.getColumn(4).getInt64());
    record.last_attempt_at = static_cast<std::uint32_t>(select.getColumn(5).getInt64());
    fill(record.receiver, select.getColumn(6).getString());
    fill(record.last_result, select.getColumn(7).getString());
    return record;
}

}  // namespace callhome::service
