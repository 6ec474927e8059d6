#include "distribution/session_table.h"

#include "store/transaction.h"

namespace callhome::service {
namespace {

constexpr const char* tables = R"sql(
CREATE TABLE IF NOT EXISTS distribution_session (
    only_row INTEGER PRIMARY KEY CHECK (only_row = 1),
    user INTEGER NOT NULL,
    session_leader INTEGER NOT NULL,
    leader_started INTEGER NOT NULL,
    user_name TEXT NOT NULL,
    opened_at INTEGER NOT NULL
);

CREATE TABLE IF NOT EXISTS distribution_last_action (
    only_row INTEGER PRIMARY KEY CHECK (only_row = 1),
    action INTEGER NOT NULL,
    result INTEGER NOT NULL,
    cause INTEGER NOT NULL,
    at INTEGER NOT NULL,
    user_name TEXT NOT NULL
);
)sql";

}  // namespace

SessionTable::SessionTable(SQLite::Database& connection) : connection_(connection) {
    connection_.exec(tables);
}

std::optional<OpenSession> SessionTable::read_session() {
    SQLite::Statement row(connection_,
                          "SELECT user, session_leader, leader_started, user_name, opened_at "
                          "FROM distribution_session");
    if (!row.executeStep()) {
        return std::nullopt;
    }
    const LoginSession session{.leader = row.getColumn(1).getInt(),
                               .started = static_cast<std::uint64_t>(row.getColumn(2).getInt64())};
    return OpenSession{.owner = {.user = row.getColumn(0).getUInt(), .session = session},
                       .owner_name = row.getColumn(3).getString(),
                       .opened_at = row.getColumn(4).getInt64()};
}

void SessionTable::put_session(const OpenSession& session) {
    const LoginSession& login = session.owner.session;
    SQLite::Statement row(connection_,
                          "REPLACE INTO distribution_session (only_row, user, session_leader, "
                          "leader_started, user_name, opened_at) VALUES (1, ?, ?, ?, ?, ?)");
    run(row, session.owner.user, login.leader, static_cast<std::int64_t>(login.started), session.owner_name,
        session.opened_at);
}

void SessionTable::remove_session() {
    connection_.exec("DELETE FROM distribution_session");
}

LastAction SessionTable::read_last_action() {
    SQLite::Statement row(connection_,
                          "SELECT action, result, cause, at, user_name FROM distribution_last_action");
    if (!row.executeStep()) {
        return {};
    }
    return {.action = static_cast<protocol::SessionAction>(row.getColumn(0).getInt()),
            .result = static_cast<protocol::ActionResult>(row.getColumn(1).getInt()),
            .cause = static_cast<protocol::Status>(row.getColumn(2).getInt()),
            .at = row.getColumn(3).getInt64(),
            .user_name = row.getColumn(4).getString()};
}

void SessionTable::put_last_action(const LastAction& action) {
    SQLite::Statement row(connection_,
                          "REPLACE INTO distribution_last_action (only_row, action, result, cause, at, "
                          "user_name) VALUES (1, ?, ?, ?, ?, ?)");
    run(row, static_cast<int>(action.action), static_cast<int>(action.result),
        static_cast<int>(action.cause), action.at, action.user_name);
}

}  // namespace callhome::service
