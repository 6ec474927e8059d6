// The distribution session: while distribution is on, changes of the shared configuration collect in the
// pending copy, and take effect together when they are committed. The first change opens the session; it
// belongs to the login session that made it until it is committed, discarded or cleared.
//
// Used from the io_context's thread only. What cannot be stored leaves as SQLite::Exception, and nothing is
// changed.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <utility>

#include "distribution/commit_engine.h"
#include "distribution/requester.h"
#include "distribution/session_table.h"
#include "protocol/status.h"
#include "store/store.h"

namespace callhome::service {

class DistributionSession {
 public:
    using Clock = std::function<std::int64_t()>;  // seconds since 1970, UTC
    using Change = std::function<protocol::Status(ConfigurationCopy& copy)>;

    static std::int64_t system_time();

    // Takes up a session that a restart has interrupted; a commit that was under way has failed.
    DistributionSession(Database& database, Store& store, CommitEngine& engine, Clock clock = system_time);

    const std::optional<OpenSession>& open() const { return open_; }
    const LastAction& last_action() const { return last_action_; }
    bool is_committing() const;

    // ok while there is a pending copy; else distribution_off or no_distribution_session.
    protocol::Status why_no_pending_copy() const;

    // Makes the change in the copy that it belongs to: the effective one while distribution is off, else
    // the pending one. A change that is refused opens no session.
    protocol::Status change(const Requester& requester, const Change& make);

    // The answer says whether the commit has begun; what came of it is last_action().
    protocol::Status commit(const Requester& requester);
    protocol::Status discard(const Requester& requester);
    // `committed` is called whenever a pending copy has become the effective one.
    void when_committed(std::function<void()> committed) { committed_ = std::move(committed); }
    // Drops the session, also that of another when `whoever_owns_it`.
    protocol::Status clear(const Requester& requester, bool whoever_owns_it);

 private:
    bool belongs_to(const Identity& identity) const;
    protocol::Status why_not_to_be_changed(const Requester& requester, bool whoever_owns_it = false) const;
    protocol::Status open_with(const Requester& requester, const Change& make);
    void take_over(const Requester& requester);
    protocol::Status drop(const Requester& requester, protocol::SessionAction action);
    LastAction action_now(protocol::SessionAction action, protocol::ActionResult result,
                          const Requester& requester) const;
    void put_last_action(const LastAction& action);
    protocol::Status decide(protocol::Status verdict);
    protocol::Status make_effective();
    void fail(protocol::Status cause);

    Store& store_;
    StorageHealth& health_;
    CommitEngine& engine_;
    const Clock clock_;
    SessionTable table_;
    std::optional<OpenSession> open_;
    LastAction last_action_;
    std::function<void()> committed_ = [] {};
};

}  // namespace callhome::service
