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

}  // namespace

MessageStatistics::MessageStatistics(Database& database, std::function<std::int64_t()> now)
    : connection_(database.connection()), now_(std::move(now)) {
    const Queue queue(database);  // whose table the trigger watches
    SQLite::Transaction transaction(connection_);
    connection_.exec(tables);
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
    SQLite::Statement row(connection_, "SELECT count, since FROM message_statistics WHERE state = ?");
    row.bind(1, static_cast<int>(state));
    Counter counter;
    if (row.executeStep()) {
        counter = {row.getColumn(0).getUInt(), row.getColumn(1).getInt64()};
    }
    return counter;
}

void MessageStatistics::clear(DeliveryState state) {
    SQLite::Statement row(connection_,
                          "UPDATE message_statistics SET count = 0, since = ? WHERE state = ?");
    SQLite::bind(row, now_(), static_cast<int>(state));
    row.exec();
}

std::uint32_t MessageStatistics::messages() const {
    return connection_.execAndGet("SELECT count(*) FROM messages").getUInt();
}

std::uint32_t MessageStatistics::deliveries(DeliveryState state) const {
    SQLite::Statement row(connection_, "SELECT count(*) FROM deliveries WHERE state = ?");
    row.bind(1, static_cast<int>(state));
    row.executeStep();
    return row.getColumn(0).getUInt();
}

std::int64_t MessageStatistics::next_attempt_at() const {
    SQLite::Statement row(connection_,
                          "SELECT ifnull(min(next_attempt_at), 0) FROM deliveries WHERE state = ?");
    row.bind(1, static_cast<int>(DeliveryState::waiting));
    row.executeStep();
    return row.getColumn(0).getInt64();
}

}  // namespace callhome::service
