// What of the distribution session survives a restart, but for the pending copy itself.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include <SQLiteCpp/SQLiteCpp.h>

#include "distribution/requester.h"
#include "protocol/records/distribution.h"
#include "protocol/status.h"

namespace callhome::service {

struct OpenSession {
    Identity owner;
    std::string owner_name;      // login name
    std::int64_t opened_at = 0;  // seconds since 1970, UTC
};

// The last thing that was asked of a session, and what came of it.
struct LastAction {
    protocol::SessionAction action = protocol::SessionAction::none;
    protocol::ActionResult result = protocol::ActionResult::none;
    protocol::Status cause = protocol::Status::ok;  // of a failure
    std::int64_t at = 0;                            // seconds since 1970, UTC
    std::string user_name;
};

// A change is part of the transaction that is under way, or one of its own.
class SessionTable {
 public:
    explicit SessionTable(SQLite::Database& connection);

    std::optional<OpenSession> read_session();
    void put_session(const OpenSession& session);
    void remove_session();

    LastAction read_last_action();
    void put_last_action(const LastAction& action);

 private:
    SQLite::Database& connection_;
};

}  // namespace callhome::service
