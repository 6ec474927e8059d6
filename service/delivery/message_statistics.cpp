#include "delivery/message_statistics.h"

#include <SQLiteCpp/VariadicBind.h>

#include "delivery/queue.h"

namespace callhome::service {
namespace {

using protocol::DeliveryState;

constexpr const char* tables = R"sql(
CREATE TABLE IF NOT EXISTS message_statistics (
    state INTEGER PRIMARY KEY,
    count INTEGER NOT NULL,
    since INTEGER NOT NULL
);
CREATE TRIGGER IF NOT EXISTS count_finished_deliveries AFTER UPDATE OF state ON deliveries
WHEN NEW.state != OLD.state
BEGIN
    UPDATE message_statistics SET count = count + 1 WHERE state = NEW.state;
END;
)sql";

// The states are those of DeliveryState: 2 delivered, 3 failed. A row is made by the first thing that is
// counted.
// What was lost and is sent again waits once more; where that arrives, it was not with its first try. An
// earlier trigger knew of no sending again.
constexpr const char* profile_tables = R"sql(
CREATE TABLE IF NOT EXISTS profile_statistics (
    profile TEXT PRIMARY KEY,
    sent INTEGER NOT NULL DEFAULT 0,
    recovered INTEGER NOT NULL DEFAULT 0,
    lost INTEGER NOT NULL DEFAULT 0,
    last_error TEXT NOT NULL DEFAULT '',
    last_error_at INTEGER NOT NULL DEFAULT 0,
    last_success_at INTEGER NOT NULL DEFAULT 0,
    last_latency_ms INTEGER NOT NULL DEFAULT 0,
    most_latency_ms INTEGER NOT NULL DEFAULT 0,
    sum_latency_ms INTEGER NOT NULL DEFAULT 0,
    since INTEGER NOT NULL
) WITHOUT ROWID;
DROP TRIGGER IF EXISTS count_of_profiles;
CREATE TRIGGER IF NOT EXISTS profile_figures AFTER UPDATE OF state, attempts ON deliveries
WHEN NEW.state != OLD.state OR NEW.attempts > OLD.attempts
BEGIN
    INSERT OR IGNORE INTO profile_statistics (profile, since)
        SELECT profile, max(NEW.last_attempt_at, NEW.last_error_at) FROM messages WHERE id = NEW.message_id;
    UPDATE profile_statistics SET
        sent = sent + (NEW.state = 2 AND OLD.state != 2),
        recovered = recovered
            + (NEW.state = 2 AND OLD.state != 2 AND (OLD.attempts > 0 OR OLD.last_error_at > 0)),
        lost = max(0, lost + (NEW.state = 3 AND OLD.state != 3) - (NEW.state != 3 AND OLD.state = 3)),
        last_error = iif(NEW.last_error_at != OLD.last_error_at OR NEW.last_error != OLD.last_error,
                         NEW.last_error, last_error),
        last_error_at = iif(NEW.last_error_at != OLD.last_error_at OR NEW.last_error != OLD.last_error,
                            NEW.last_error_at, last_error_at),
        last_success_at = iif(NEW.state = 2, NEW.last_attempt_at, last_success_at),
        last_latency_ms = iif(NEW.state = 2, NEW.latency_ms, last_latency_ms),
        most_latency_ms = iif(NEW.state = 2, max(most_latency_ms, NEW.latency_ms), most_latency_ms),
        sum_latency_ms = sum_latency_ms + iif(NEW.state = 2, NEW.latency_ms, 0)
    WHERE profile = (SELECT profile FROM messages WHERE id = NEW.message_id);
END;
)sql";

constexpr std::string_view select_profiles =
    "SELECT profile, sent, recovered, lost, last_error, last_error_at, last_success_at, last_latency_ms,"
    " most_latency_ms, iif(sent > 0, sum_latency_ms / sent, 0), since FROM profile_statistics";

MessageStatistics::OfProfile profile_of(SQLite::Statement& row) {
    return {.profile = row.getColumn(0).getString(),
            .sent = row.getColumn(1).getUInt(),
            .recovered = row.getColumn(2).getUInt(),
            .lost = row.getColumn(3).getUInt(),
            .last_error = row.getColumn(4).getString(),
            .last_error_at = row.getColumn(5).getInt64(),
            .last_success_at = row.getColumn(6).getInt64(),
            .last_latency_ms = row.getColumn(7).getInt64(),
            .most_latency_ms = row.getColumn(8).getInt64(),
            .mean_latency_ms = row.getColumn(9).getInt64(),
            .since = row.getColumn(10).getInt64()};
}

}  // namespace

MessageStatistics::MessageStatistics(Database& database, std::function<std::int64_t()> now)
    : connection_(database.connection()), statements_(database.statements()), now_(std::move(now)) {
    const Queue queue(database);  // whose table the trigger watches
    SQLite::Transaction transaction(connection_);
    connection_.exec(tables);
    connection_.exec(profile_tables);
    for (const DeliveryState state : {DeliveryState::delivered, DeliveryState::failed}) {
        SQLite::Statement row(connection_,
                              "INSERT INTO message_statistics (state, count, since) VALUES (?, 0, ?)"
                              " ON CONFLICT DO NOTHING");
        SQLite::bind(row, static_cast<int>(state), now_());
        row.exec();
    }
    transaction.commit();
}

MessageStatistics::Counter MessageStatistics::of(DeliveryState state) const {
    const auto row = statements_.use("SELECT count, since FROM message_statistics WHERE state = ?");
    row->bind(1, static_cast<int>(state));
    Counter counter;
    if (row->executeStep()) {
        counter = {row->getColumn(0).getUInt(), row->getColumn(1).getInt64()};
    }
    return counter;
}

void MessageStatistics::clear(DeliveryState state) {
    const auto row = statements_.use("UPDATE message_statistics SET count = 0, since = ? WHERE state = ?");
    SQLite::bind(*row, now_(), static_cast<int>(state));
    row->exec();
}

std::uint64_t MessageStatistics::dropped() const {
    return static_cast<std::uint64_t>(
        connection_.execAndGet("SELECT dropped FROM queue_totals").getInt64());
}

MessageStatistics::OfProfile MessageStatistics::of_profile(const std::string& profile) const {
    const auto row = statements_.use(std::string(select_profiles) + " WHERE profile = ?");
    row->bind(1, profile);
    return row->executeStep() ? profile_of(*row) : OfProfile{.profile = profile};
}

std::vector<MessageStatistics::OfProfile> MessageStatistics::of_profiles() const {
    std::vector<OfProfile> all;
    for (const auto row = statements_.use(std::string(select_profiles) + " ORDER BY profile");
         row->executeStep();) {
        all.push_back(profile_of(*row));
    }
    return all;
}

void MessageStatistics::clear_profile(const std::string& profile) {
    const auto row = statements_.use("REPLACE INTO profile_statistics (profile, since) VALUES (?, ?)");
    SQLite::bind(*row, profile, now_());
    row->exec();
}

std::optional<MessageStatistics::OfDelivery> MessageStatistics::of_delivery(std::int64_t id) const {
    const auto row = statements_.use(
        "SELECT last_error, last_error_at, iif(state = ?, last_attempt_at, 0), latency_ms"
        " FROM deliveries WHERE id = ?");
    SQLite::bind(*row, static_cast<int>(DeliveryState::delivered), id);
    if (!row->executeStep()) {
        return std::nullopt;
    }
    return OfDelivery{row->getColumn(0).getString(), row->getColumn(1).getInt64(),
                      row->getColumn(2).getInt64(), row->getColumn(3).getInt64()};
}

// Counting them would read through their texts.
std::uint32_t MessageStatistics::messages() const {
    const auto row = statements_.use("SELECT waiting + finished FROM queue_totals");
    row->executeStep();
    return row->getColumn(0).getUInt();
}

std::uint32_t MessageStatistics::deliveries(DeliveryState state) const {
    const auto row = statements_.use("SELECT count(*) FROM deliveries WHERE state = ?");
    row->bind(1, static_cast<int>(state));
    row->executeStep();
    return row->getColumn(0).getUInt();
}

std::uint32_t MessageStatistics::waiting_of(const std::string& profile) const {
    const auto row = statements_.use(
        "SELECT count(*) FROM deliveries JOIN messages ON messages.id = message_id"
        " WHERE state = ? AND profile = ?");
    SQLite::bind(*row, static_cast<int>(DeliveryState::waiting), profile);
    row->executeStep();
    return row->getColumn(0).getUInt();
}

std::int64_t MessageStatistics::next_attempt_at() const {
    const auto row =
        statements_.use("SELECT ifnull(min(next_attempt_at), 0) FROM deliveries WHERE state = ?");
    row->bind(1, static_cast<int>(DeliveryState::waiting));
    row->executeStep();
    return row->getColumn(0).getInt64();
}

}  // namespace callhome::service
