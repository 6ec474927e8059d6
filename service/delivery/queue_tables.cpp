#include "delivery/queue_tables.h"

#include <fmt/format.h>

#include <array>
#include <string>

namespace callhome::service {
namespace {

// `content` comes last, so that walks do not read through it. Numbers are those of protocol and Carrier.
constexpr const char* first_tables = R"(
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
)";

struct Column {
    const char* name;
    const char* declaration;
};

// What deliveries have had since: whose turn they wait for ("" is that of all mail), and how they fared.
constexpr std::array later_columns{
    Column{"lane", "TEXT NOT NULL DEFAULT ''"},
    Column{"last_error", "TEXT NOT NULL DEFAULT ''"},
    Column{"last_error_at", "INTEGER NOT NULL DEFAULT 0"},
    Column{"latency_ms", "INTEGER NOT NULL DEFAULT 0"},
};

// The order of turns has indexes of its own: it is asked for after each try, however long the queue is.
// They hold what waits (state 1) only, so that what is finished costs nothing more; earlier ones held all.
// Beside the messages, not in them: a column behind `content` would be read through it. `waiting` counts
// the receivers that are still to be tried.
constexpr const char* later_tables = R"(
    DROP INDEX IF EXISTS deliveries_by_turn;
    DROP INDEX IF EXISTS deliveries_by_lane;
    CREATE INDEX IF NOT EXISTS waiting_by_turn
        ON deliveries (attempts > 0, next_attempt_at, id) WHERE state = 1;
    CREATE INDEX IF NOT EXISTS waiting_by_lane
        ON deliveries (lane, attempts > 0, next_attempt_at, id) WHERE state = 1;
    CREATE TABLE IF NOT EXISTS queued_messages (
        message_id INTEGER PRIMARY KEY REFERENCES messages (id) ON DELETE CASCADE,
        key TEXT NOT NULL,
        severity INTEGER NOT NULL,
        bytes INTEGER NOT NULL,
        recorded_ms INTEGER NOT NULL,
        waiting INTEGER NOT NULL DEFAULT 0
    );
    CREATE INDEX IF NOT EXISTS queued_messages_by_severity
        ON queued_messages (severity, message_id) WHERE waiting > 0;
    CREATE INDEX IF NOT EXISTS finished_messages ON queued_messages (message_id) WHERE waiting = 0;
    CREATE TABLE IF NOT EXISTS queue_totals (
        only_row INTEGER PRIMARY KEY CHECK (only_row = 1),
        waiting INTEGER NOT NULL,
        bytes INTEGER NOT NULL,
        finished INTEGER NOT NULL,
        dropped INTEGER NOT NULL
    );
    CREATE TABLE IF NOT EXISTS encrypting_mail_servers (
        server TEXT PRIMARY KEY
    ) WITHOUT ROWID;
    CREATE TRIGGER IF NOT EXISTS total_of_new_messages AFTER INSERT ON queued_messages
    BEGIN
        UPDATE queue_totals SET finished = finished + (NEW.waiting = 0),
            waiting = waiting + (NEW.waiting > 0), bytes = bytes + (NEW.waiting > 0) * NEW.bytes;
    END;
    CREATE TRIGGER IF NOT EXISTS total_of_removed_messages AFTER DELETE ON queued_messages
    BEGIN
        UPDATE queue_totals SET finished = finished - (OLD.waiting = 0),
            waiting = waiting - (OLD.waiting > 0), bytes = bytes - (OLD.waiting > 0) * OLD.bytes;
    END;
    CREATE TRIGGER IF NOT EXISTS total_of_changed_messages AFTER UPDATE OF waiting ON queued_messages
    WHEN (NEW.waiting > 0) != (OLD.waiting > 0)
    BEGIN
        UPDATE queue_totals SET finished = finished + (NEW.waiting = 0) - (OLD.waiting = 0),
            waiting = waiting + (NEW.waiting > 0) - (OLD.waiting > 0),
            bytes = bytes + ((NEW.waiting > 0) - (OLD.waiting > 0)) * NEW.bytes;
    END;
    CREATE TRIGGER IF NOT EXISTS new_deliveries_wait AFTER INSERT ON deliveries WHEN NEW.state = 1
    BEGIN
        UPDATE queued_messages SET waiting = waiting + 1 WHERE message_id = NEW.message_id;
    END;
    CREATE TRIGGER IF NOT EXISTS changed_deliveries_wait AFTER UPDATE OF state ON deliveries
    WHEN (NEW.state = 1) != (OLD.state = 1)
    BEGIN
        UPDATE queued_messages SET waiting = waiting + (NEW.state = 1) - (OLD.state = 1)
        WHERE message_id = NEW.message_id;
    END;
)";

// What an older version has recorded gets its row, with the severity of an ordinary message. Looking for
// that reads through the texts of all messages, which takes minutes with a long queue on a slow disk: where
// there were such rows already, the receivers tell.
constexpr const char* take_up_all = R"(
    INSERT INTO queued_messages (message_id, key, severity, bytes, recorded_ms, waiting)
        SELECT id, '', 2, length(content), recorded_at * 1000,
               (SELECT count(*) FROM deliveries WHERE message_id = messages.id AND state = 1)
        FROM messages;
)";
constexpr const char* take_up_others = R"(
    INSERT INTO queued_messages (message_id, key, severity, bytes, recorded_ms, waiting)
        SELECT id, '', 2, length(content), recorded_at * 1000,
               (SELECT count(*) FROM deliveries WHERE message_id = messages.id AND state = 1)
        FROM messages WHERE id IN (SELECT message_id FROM deliveries INDEXED BY deliveries_by_message
                                   WHERE message_id NOT IN (SELECT message_id FROM queued_messages));
)";

// What another version has counted is counted anew.
constexpr const char* count_all = R"(
    UPDATE queue_totals SET
        waiting = (SELECT count(*) FROM queued_messages WHERE waiting > 0),
        bytes = (SELECT ifnull(sum(bytes), 0) FROM queued_messages WHERE waiting > 0),
        finished = (SELECT count(*) FROM queued_messages WHERE waiting = 0);
)";

void add_column(SQLite::Database& connection, const Column& column) {
    SQLite::Statement known(connection, "SELECT 1 FROM pragma_table_info('deliveries') WHERE name = ?");
    known.bind(1, column.name);
    if (!known.executeStep()) {
        connection.exec(
            fmt::format("ALTER TABLE deliveries ADD COLUMN {} {}", column.name, column.declaration));
    }
}

}  // namespace

void create_queue_tables(SQLite::Database& connection) {
    SQLite::Transaction transaction(connection);
    connection.exec(first_tables);
    for (const Column& column : later_columns) {
        add_column(connection, column);
    }
    const bool are_all_older = !connection.tableExists("queued_messages");
    connection.exec(later_tables);
    connection.exec(
        "INSERT INTO queue_totals (only_row, waiting, bytes, finished, dropped) VALUES (1, 0, 0, 0, 0)"
        " ON CONFLICT DO NOTHING");
    connection.exec(are_all_older ? take_up_all : take_up_others);
    connection.exec(count_all);
    transaction.commit();
}

}  // namespace callhome::service
