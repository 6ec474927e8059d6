#include "delivery/queue.h"

#include <SQLiteCpp/VariadicBind.h>

#include <algorithm>
#include <cstring>
#include <limits>
#include <tuple>

#include "delivery/lane.h"
#include "delivery/queue_tables.h"
#include "messages/text.h"

namespace callhome::service {
namespace {

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

constexpr std::size_t most_passed = 64;

constexpr std::string_view select_waiting =
    "SELECT id, message_id, receiver, attempts, lane, next_attempt_at FROM deliveries";

// Each lane by a step in the index, not by a look at each delivery.
constexpr const char* all_lanes =
    "WITH RECURSIVE lanes (lane) AS (SELECT min(lane) FROM deliveries WHERE state = 1 UNION ALL"
    " SELECT (SELECT min(lane) FROM deliveries WHERE state = 1 AND lane > lanes.lane)"
    " FROM lanes WHERE lanes.lane IS NOT NULL)"
    " SELECT lane FROM lanes WHERE lane IS NOT NULL";

WaitingDelivery waiting_delivery(SQLite::Statement& row) {
    return {row.getColumn(0).getInt64(), row.getColumn(1).getInt64(),  row.getColumn(2).getString(),
            row.getColumn(3).getUInt(),  row.getColumn(4).getString(), row.getColumn(5).getInt64()};
}

}  // namespace

Queue::Queue(Database& database)
    : connection_(database.connection()),
      folder_(std::filesystem::path(connection_.getFilename()).parent_path()) {
    create_queue_tables(connection_);
}

std::vector<std::int64_t> Queue::record_one(const NewMessage& message, const RecordingTime& time) {
    SQLite::Statement insert(
        connection_,
        "INSERT INTO messages (recorded_at, type, profile, subject, sender, format, carrier,"
        " size, content) VALUES (?, ?, ?, ?, ?, ?, ?, ?, ?)");
    int column = 0;
    insert.bind(++column, time.seconds);
    for (const std::string& text : columns_of(message)) {
        insert.bind(++column, text);
    }
    insert.bind(++column, static_cast<std::uint32_t>(message.format));
    insert.bind(++column, static_cast<int>(message.carrier));
    insert.bind(++column, static_cast<std::int64_t>(message.size));
    insert.bindNoCopy(++column, message.content.data(), static_cast<int>(message.content.size()));
    insert.exec();
    const std::int64_t message_id = connection_.getLastInsertRowid();
    SQLite::Statement queued(connection_,
                             "INSERT INTO queued_messages (message_id, key, severity, bytes, recorded_ms) "
                             "VALUES (?, ?, ?, ?, ?)");
    SQLite::bind(queued, message_id, message.key, message.severity,
                 static_cast<std::int64_t>(message.content.size()), time.milliseconds);
    queued.exec();
    return record_deliveries(message_id, message, time.seconds);
}

std::vector<std::int64_t> Queue::record_deliveries(std::int64_t message_id, const NewMessage& message,
                                                   std::int64_t now) {
    std::vector<std::int64_t> deliveries;
    SQLite::Statement add(connection_,
                          "INSERT INTO deliveries (message_id, receiver, state, next_attempt_at, lane)"
                          " VALUES (?, ?, ?, ?, ?)");
    for (const std::string& receiver : message.receivers) {
        add.reset();
        SQLite::bind(add, message_id, receiver, waiting, now, lane_of(message.carrier, receiver));
        add.exec();
        deliveries.push_back(connection_.getLastInsertRowid());
    }
    return deliveries;
}

void Queue::prune(std::size_t finished_kept) {
    SQLite::Statement oldest(connection_,
                             "DELETE FROM messages WHERE id IN (SELECT message_id FROM queued_messages"
                             " WHERE waiting = 0 ORDER BY message_id"
                             " LIMIT max(0, (SELECT finished FROM queue_totals) - ?))");
    oldest.bind(1, static_cast<std::int64_t>(finished_kept));
    oldest.exec();
}

RecordedMessages Queue::record(std::span<const NewMessage> messages, const RecordingTime& time,
                               std::size_t finished_kept, const QueueLimits& limits,
                               const std::set<std::int64_t>& under_way) {
    SQLite::Transaction transaction(connection_);
    RecordedMessages recorded;
    if (const auto lacking = make_room(messages, limits, under_way, time.seconds, recorded.dropped)) {
        // Nothing was dropped either: the transaction ends here.
        return {.deliveries = {},
                .dropped = {},
                .why_no_room = lacking->why,
                .is_disk_full = lacking->is_of_disk};
    }
    for (const NewMessage& message : messages) {
        recorded.deliveries.push_back(record_one(message, time));
    }
    prune(finished_kept);
    transaction.commit();
    return recorded;
}

// Which delivery comes next.
struct Queue::Turn {
    std::int64_t now;
    bool is_repeated;
    const std::set<std::int64_t>& under_way;
    const std::set<std::string>& full_lanes;

    bool takes(const WaitingDelivery& delivery) const {
        return !under_way.contains(delivery.id) && !full_lanes.contains(delivery.lane);
    }
};

std::optional<WaitingDelivery> Queue::next_due(std::int64_t now, const std::set<std::int64_t>& under_way,
                                               const std::set<std::string>& full_lanes) const {
    for (const bool is_repeated : {false, true}) {
        if (auto next = next_in_turn({now, is_repeated, under_way, full_lanes})) {
            return next;
        }
    }
    return std::nullopt;
}

// Those in front may all belong to hosts that are slow: after some of them, one host after the other is
// asked for what it has.
std::optional<WaitingDelivery> Queue::next_in_turn(const Turn& turn) const {
    SQLite::Statement select(connection_,
                             std::string(select_waiting) +
                                 " WHERE state = ? AND (attempts > 0) = ? AND next_attempt_at <= ?"
                                 " ORDER BY next_attempt_at, id");
    SQLite::bind(select, waiting, static_cast<int>(turn.is_repeated), turn.now);
    std::size_t passed = 0;
    while (select.executeStep()) {
        WaitingDelivery delivery = waiting_delivery(select);
        if (turn.takes(delivery)) {
            return delivery;
        }
        passed += turn.under_way.contains(delivery.id) ? 0 : 1;
        if (passed > most_passed) {
            select.reset();
            return next_in_lanes(turn);
        }
    }
    return std::nullopt;
}

std::optional<WaitingDelivery> Queue::next_in_lanes(const Turn& turn) const {
    SQLite::Statement lanes(connection_, all_lanes);
    SQLite::Statement select(connection_, std::string(select_waiting) +
                                              " WHERE state = ? AND lane = ? AND (attempts > 0) = ?"
                                              " AND next_attempt_at <= ? ORDER BY next_attempt_at, id");
    std::optional<WaitingDelivery> next;
    while (lanes.executeStep()) {
        const std::string lane = lanes.getColumn(0).getString();
        select.reset();
        SQLite::bind(select, waiting, lane, static_cast<int>(turn.is_repeated), turn.now);
        while (!turn.full_lanes.contains(lane) && select.executeStep()) {
            WaitingDelivery delivery = waiting_delivery(select);
            if (turn.takes(delivery)) {
                if (!next || std::tie(delivery.due_at, delivery.id) < std::tie(next->due_at, next->id)) {
                    next = std::move(delivery);
                }
                break;
            }
        }
    }
    return next;
}

std::optional<std::int64_t> Queue::earliest() const {
    return earliest_after(std::numeric_limits<std::int64_t>::min());
}

std::optional<std::int64_t> Queue::earliest_after(std::int64_t now) const {
    SQLite::Statement select(
        connection_,
        "SELECT next_attempt_at FROM deliveries WHERE state = ? AND next_attempt_at > ?"
        " ORDER BY next_attempt_at LIMIT 1");
    SQLite::bind(select, waiting, now);
    return select.executeStep() ? std::optional(select.getColumn(0).getInt64()) : std::nullopt;
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
    SQLite::Statement select(
        connection_,
        "SELECT carrier, format, sender, content, key, recorded_ms, profile FROM messages"
        " JOIN queued_messages ON message_id = id WHERE id = ?");
    select.bind(1, message_id);
    if (!select.executeStep()) {
        return std::nullopt;
    }
    return MessageToSend{static_cast<Carrier>(select.getColumn(0).getInt()),
                         static_cast<protocol::MessageFormat>(select.getColumn(1).getUInt()),
                         select.getColumn(2).getString(),
                         select.getColumn(3).getString(),
                         select.getColumn(4).getString(),
                         select.getColumn(5).getInt64(),
                         select.getColumn(6).getString()};
}

// Only what still waits: the outcome of a try does not bring back what was given up meanwhile.
void Queue::update(std::span<const DeliveryUpdate> updates) {
    SQLite::Transaction transaction(connection_);
    SQLite::Statement change(connection_,
                             "UPDATE deliveries SET state = ?1, attempts = ?2, next_attempt_at = ?3,"
                             " last_attempt_at = ?4, last_result = ?5, latency_ms = ?6,"
                             " last_error = iif(?7 = '', last_error, ?7),"
                             " last_error_at = iif(?7 = '', last_error_at, ?4)"
                             " WHERE id = ?8 AND state = ?9");
    for (const DeliveryUpdate& update : updates) {
        change.reset();
        SQLite::bind(change, static_cast<std::uint32_t>(update.state), update.attempts,
                     update.next_attempt_at, update.last_attempt_at, update.last_result, update.latency_ms,
                     update.error, update.id, waiting);
        change.exec();
    }
    transaction.commit();
}

std::set<std::string> Queue::encrypting_servers() const {
    std::set<std::string> servers;
    for (SQLite::Statement row(connection_, "SELECT server FROM encrypting_mail_servers");
         row.executeStep();) {
        servers.insert(row.getColumn(0).getString());
    }
    return servers;
}

void Queue::add_encrypting_server(const std::string& server) {
    SQLite::Statement row(connection_, "INSERT OR IGNORE INTO encrypting_mail_servers (server) VALUES (?)");
    row.bind(1, server);
    row.exec();
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
