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
constexpr std::size_t few_lanes = 8;

static_assert(waiting == 1, "indexes of what waits are used where a statement says so in numbers");

constexpr const char* first_in_turn =
    "SELECT id, message_id, receiver, attempts, lane, next_attempt_at"
    " FROM deliveries INDEXED BY waiting_by_turn"
    " WHERE state = 1 AND (attempts > 0) = ? AND next_attempt_at <= ? ORDER BY next_attempt_at, id";

constexpr const char* first_in_lane =
    "SELECT id, message_id, receiver, attempts, lane, next_attempt_at"
    " FROM deliveries INDEXED BY waiting_by_lane"
    " WHERE state = 1 AND lane = ? AND (attempts > 0) = ? AND next_attempt_at <= ?"
    " ORDER BY next_attempt_at, id";

// Each lane by a step in the index, not by a look at each delivery.
constexpr const char* first_lanes =
    "WITH RECURSIVE lanes (lane) AS"
    " (SELECT min(lane) FROM deliveries INDEXED BY waiting_by_lane WHERE state = 1 UNION ALL"
    " SELECT (SELECT min(lane) FROM deliveries INDEXED BY waiting_by_lane"
    " WHERE state = 1 AND lane > lanes.lane)"
    " FROM lanes WHERE lanes.lane IS NOT NULL)"
    " SELECT lane FROM lanes WHERE lane IS NOT NULL LIMIT ?";

// A message has few of them; the others are walked by their id whatever an index offers, since the walk
// meets each once.
constexpr const char* next_delivery =
    "SELECT id, message_id, state, attempts, next_attempt_at, last_attempt_at, receiver, last_result,"
    " (SELECT profile FROM messages WHERE id = message_id)"
    " FROM deliveries WHERE id > ?1 AND ?2 = 0 AND (?3 = 0 OR +state = ?3) ORDER BY id LIMIT 1";
constexpr const char* next_delivery_of_message =
    "SELECT id, message_id, state, attempts, next_attempt_at, last_attempt_at, receiver, last_result,"
    " (SELECT profile FROM messages WHERE id = message_id)"
    " FROM deliveries INDEXED BY deliveries_by_message"
    " WHERE message_id = ?2 AND +id > ?1 AND (?3 = 0 OR +state = ?3) ORDER BY +id LIMIT 1";

WaitingDelivery waiting_delivery(SQLite::Statement& row) {
    return {row.getColumn(0).getInt64(), row.getColumn(1).getInt64(),  row.getColumn(2).getString(),
            row.getColumn(3).getUInt(),  row.getColumn(4).getString(), row.getColumn(5).getInt64()};
}

}  // namespace

Queue::Queue(Database& database)
    : connection_(database.connection()),
      statements_(database.statements()),
      transactions_(connection_),
      folder_(std::filesystem::path(connection_.getFilename()).parent_path()) {
    create_queue_tables(connection_);
}

std::vector<std::int64_t> Queue::record_one(const NewMessage& message, const RecordingTime& time) {
    const auto insert = statements_.use(
        "INSERT INTO messages (recorded_at, type, profile, subject, sender, format, carrier,"
        " size, content) VALUES (?, ?, ?, ?, ?, ?, ?, ?, ?)");
    int column = 0;
    insert->bind(++column, time.seconds);
    for (const std::string& text : columns_of(message)) {
        insert->bind(++column, text);
    }
    insert->bind(++column, static_cast<std::uint32_t>(message.format));
    insert->bind(++column, static_cast<int>(message.carrier));
    insert->bind(++column, static_cast<std::int64_t>(message.size));
    insert->bindNoCopy(++column, message.content.data(), static_cast<int>(message.content.size()));
    insert->exec();
    const std::int64_t message_id = connection_.getLastInsertRowid();
    run(*statements_.use("INSERT INTO queued_messages (message_id, key, severity, bytes, recorded_ms) "
                         "VALUES (?, ?, ?, ?, ?)"),
        message_id, message.key, message.severity, static_cast<std::int64_t>(message.content.size()),
        time.milliseconds);
    return record_deliveries(message_id, message, time.seconds);
}

std::vector<std::int64_t> Queue::record_deliveries(std::int64_t message_id, const NewMessage& message,
                                                   std::int64_t now) {
    std::vector<std::int64_t> deliveries;
    const auto add = statements_.use(
        "INSERT INTO deliveries (message_id, receiver, state, next_attempt_at, lane)"
        " VALUES (?, ?, ?, ?, ?)");
    for (const std::string& receiver : message.receivers) {
        run(*add, message_id, receiver, waiting, now, lane_of(message.carrier, receiver));
        deliveries.push_back(connection_.getLastInsertRowid());
    }
    return deliveries;
}

void Queue::prune(std::size_t finished_kept) {
    run(*statements_.use("DELETE FROM messages WHERE id IN (SELECT message_id FROM queued_messages"
                         " WHERE waiting = 0 ORDER BY message_id"
                         " LIMIT max(0, (SELECT finished FROM queue_totals) - ?))"),
        static_cast<std::int64_t>(finished_kept));
}

RecordedMessages Queue::record_request(const Coming& coming) {
    RecordedMessages recorded;
    if (const auto lacking = make_room(coming, recorded.dropped)) {
        recorded.why_no_room = lacking->why;
        recorded.is_disk_full = lacking->is_of_disk;
        return recorded;
    }
    for (const NewMessage& message : coming.messages) {
        recorded.deliveries.push_back(record_one(message, coming.terms.time));
    }
    return recorded;
}

RecordedMessages Queue::record(std::span<const NewMessage> messages, const RecordingTime& time,
                               std::size_t finished_kept, const QueueLimits& limits,
                               const std::set<std::int64_t>& under_way) {
    const RecordingTerms terms{time, finished_kept, limits, under_way};
    Transaction transaction(transactions_);
    RecordedMessages recorded = record_request({messages, 0, terms});
    prune(finished_kept);
    transaction.commit();
    return recorded;
}

std::vector<RecordedMessages> Queue::record_together(std::span<const DeliveryUpdate> updates,
                                                     std::span<const RequestedMessages> requests,
                                                     const RecordingTerms& terms) {
    std::vector<RecordedMessages> recorded;
    std::uint64_t bytes = 0;
    Transaction transaction(transactions_);
    change_waiting(updates);
    for (const RequestedMessages& messages : requests) {
        recorded.push_back(record_request({messages, bytes, terms}));
        for (const NewMessage& message : messages) {
            bytes += recorded.back().why_no_room.empty() ? message.content.size() : 0;
        }
    }
    if (!requests.empty()) {
        prune(terms.finished_kept);
    }
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

// With all couriers of a host busy, what waits for it stands in front of what could go: where there are few
// hosts, each is asked for its first one instead.
std::optional<WaitingDelivery> Queue::next_due(std::int64_t now, const std::set<std::int64_t>& under_way,
                                               const std::set<std::string>& full_lanes) const {
    std::vector<std::string> known;
    if (!full_lanes.empty()) {
        known = lanes(few_lanes + 1);
    }
    const bool are_few = !full_lanes.empty() && known.size() <= few_lanes;
    for (const bool is_repeated : {false, true}) {
        const Turn turn{now, is_repeated, under_way, full_lanes};
        if (auto next = are_few ? next_in_lanes(turn, known) : next_in_turn(turn)) {
            return next;
        }
    }
    return std::nullopt;
}

std::vector<std::string> Queue::lanes(std::size_t most) const {
    std::vector<std::string> lanes;
    const auto row = statements_.use(first_lanes);
    row->bind(1, static_cast<std::int64_t>(most));
    while (row->executeStep()) {
        lanes.push_back(row->getColumn(0).getString());
    }
    return lanes;
}

// Those in front may all belong to hosts that are slow: after some of them, one host after the other is
// asked for what it has.
std::optional<WaitingDelivery> Queue::next_in_turn(const Turn& turn) const {
    const auto select = statements_.use(first_in_turn);
    SQLite::bind(*select, static_cast<int>(turn.is_repeated), turn.now);
    std::size_t passed = 0;
    while (passed <= most_passed && select->executeStep()) {
        const std::int64_t id = select->getColumn(0).getInt64();
        if (turn.under_way.contains(id)) {
            continue;
        }
        if (!turn.full_lanes.contains(select->getColumn(4).getString())) {
            return waiting_delivery(*select);
        }
        ++passed;
    }
    if (passed <= most_passed) {
        return std::nullopt;
    }
    return next_in_lanes(turn, lanes(std::numeric_limits<std::int32_t>::max()));
}

std::optional<WaitingDelivery> Queue::next_in_lanes(const Turn& turn,
                                                    std::span<const std::string> lanes) const {
    std::optional<WaitingDelivery> next;
    for (const std::string& lane : lanes) {
        if (turn.full_lanes.contains(lane)) {
            continue;
        }
        const auto select = statements_.use(first_in_lane);
        SQLite::bind(*select, lane, static_cast<int>(turn.is_repeated), turn.now);
        while (select->executeStep()) {
            WaitingDelivery delivery = waiting_delivery(*select);
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
    const auto select = statements_.use(
        "SELECT next_attempt_at FROM deliveries INDEXED BY deliveries_by_state"
        " WHERE state = ? AND next_attempt_at > ? ORDER BY next_attempt_at LIMIT 1");
    SQLite::bind(*select, waiting, now);
    return select->executeStep() ? std::optional(select->getColumn(0).getInt64()) : std::nullopt;
}

// It is asked first: a change takes the lock of the database, also one that changes nothing.
void Queue::bring_forward(std::int64_t now, std::int64_t longest_pause) {
    const std::int64_t latest = now + longest_pause;
    if (earliest_after(latest)) {
        run(*statements_.use("UPDATE deliveries SET next_attempt_at = ?1"
                             " WHERE state = ?2 AND next_attempt_at > ?1"),
            latest, waiting);
    }
}

std::optional<MessageToSend> Queue::message_to_send(std::int64_t message_id) const {
    const auto select = statements_.use(
        "SELECT carrier, format, sender, content, key, recorded_ms, profile FROM messages"
        " JOIN queued_messages ON message_id = id WHERE id = ?");
    select->bind(1, message_id);
    if (!select->executeStep()) {
        return std::nullopt;
    }
    return MessageToSend{static_cast<Carrier>(select->getColumn(0).getInt()),
                         static_cast<protocol::MessageFormat>(select->getColumn(1).getUInt()),
                         select->getColumn(2).getString(),
                         select->getColumn(3).getString(),
                         select->getColumn(4).getString(),
                         select->getColumn(5).getInt64(),
                         select->getColumn(6).getString()};
}

// Only what still waits: the outcome of a try does not bring back what was given up meanwhile.
void Queue::change_waiting(std::span<const DeliveryUpdate> updates) {
    const auto change = statements_.use(
        "UPDATE deliveries SET state = ?1, attempts = ?2, next_attempt_at = ?3,"
        " last_attempt_at = ?4, last_result = ?5, latency_ms = ?6,"
        " last_error = iif(?7 = '', last_error, ?7),"
        " last_error_at = iif(?7 = '', last_error_at, ?4)"
        " WHERE id = ?8 AND state = ?9");
    for (const DeliveryUpdate& update : updates) {
        run(*change, static_cast<std::uint32_t>(update.state), update.attempts, update.next_attempt_at,
            update.last_attempt_at, update.last_result, update.latency_ms, update.error, update.id,
            waiting);
    }
}

void Queue::update(std::span<const DeliveryUpdate> updates) {
    Transaction transaction(transactions_);
    change_waiting(updates);
    transaction.commit();
}

std::set<std::string> Queue::encrypting_servers() const {
    std::set<std::string> servers;
    const auto row = statements_.use("SELECT server FROM encrypting_mail_servers");
    while (row->executeStep()) {
        servers.insert(row->getColumn(0).getString());
    }
    return servers;
}

void Queue::add_encrypting_server(const std::string& server) {
    run(*statements_.use("INSERT OR IGNORE INTO encrypting_mail_servers (server) VALUES (?)"), server);
}

std::optional<protocol::MessageLogRecord> Queue::message_after(std::uint32_t id) const {
    const auto select = statements_.use(
        "SELECT id, recorded_at, size, format, type, profile, subject,"
        " (SELECT count(*) FROM deliveries WHERE message_id = m.id AND state = ?),"
        " (SELECT count(*) FROM deliveries WHERE message_id = m.id AND state = ?),"
        " (SELECT count(*) FROM deliveries WHERE message_id = m.id AND state = ?)"
        " FROM messages AS m WHERE id > ? ORDER BY id LIMIT 1");
    select->bind(1, waiting);
    select->bind(2, delivered);
    select->bind(3, failed);
    select->bind(4, id);
    if (!select->executeStep()) {
        return std::nullopt;
    }
    protocol::MessageLogRecord record{};
    record.id = select->getColumn(0).getUInt();
    record.recorded_at = static_cast<std::uint32_t>(select->getColumn(1).getInt64());
    record.size = select->getColumn(2).getUInt();
    record.format = select->getColumn(3).getUInt();
    fill(record.type, select->getColumn(4).getString());
    fill(record.profile, select->getColumn(5).getString());
    fill(record.subject, select->getColumn(6).getString());
    record.waiting = select->getColumn(7).getUInt();
    record.delivered = select->getColumn(8).getUInt();
    record.failed = select->getColumn(9).getUInt();
    return record;
}

std::optional<protocol::DeliveryLogRecord> Queue::delivery_after(std::uint32_t id, std::uint32_t message_id,
                                                                 std::uint32_t state) const {
    const auto select = statements_.use(message_id == 0 ? next_delivery : next_delivery_of_message);
    SQLite::bind(*select, id, message_id, state);
    if (!select->executeStep()) {
        return std::nullopt;
    }
    protocol::DeliveryLogRecord record{};
    record.id = select->getColumn(0).getUInt();
    record.message_id = select->getColumn(1).getUInt();
    record.state = select->getColumn(2).getUInt();
    record.attempts = select->getColumn(3).getUInt();
    record.next_attempt_at = static_cast<std::uint32_t>(select->getColumn(4).getInt64());
    record.last_attempt_at = static_cast<std::uint32_t>(select->getColumn(5).getInt64());
    fill(record.receiver, select->getColumn(6).getString());
    fill(record.last_result, select->getColumn(7).getString());
    fill(record.profile, select->getColumn(8).getString());
    return record;
}

}  // namespace callhome::service
