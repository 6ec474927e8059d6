#include "distribution/session.h"

#include <spdlog/spdlog.h>

#include <chrono>
#include <utility>

#include "store/requirements.h"

namespace callhome::service {

using protocol::ActionResult;
using protocol::SessionAction;
using protocol::Status;

std::int64_t DistributionSession::system_time() {
    const auto now = std::chrono::system_clock::now().time_since_epoch();
    return std::chrono::duration_cast<std::chrono::seconds>(now).count();
}

DistributionSession::DistributionSession(Database& database, Store& store, CommitEngine& engine,
                                         Clock clock)
    : store_(store),
      health_(database.health()),
      engine_(engine),
      clock_(std::move(clock)),
      table_(database.connection()),
      open_(table_.read_session()),
      last_action_(table_.read_last_action()) {
    if (is_committing()) {
        LastAction interrupted = last_action_;
        interrupted.result = ActionResult::fail;
        interrupted.cause = Status::commit_interrupted;
        put_last_action(interrupted);
    }
}

bool DistributionSession::is_committing() const {
    return last_action_.result == ActionResult::in_progress;
}

Status DistributionSession::why_no_pending_copy() const {
    if (!store_.configuration().distribution) {
        return Status::distribution_off;
    }
    return open_ ? Status::ok : Status::no_distribution_session;
}

// An operator whose terminal has gone must be able to go on where the connection broke.
bool DistributionSession::belongs_to(const Identity& identity) const {
    return open_->owner == identity ||
           (open_->owner.user == identity.user && has_ended(open_->owner.session));
}

// ok when a session is open and the requester may change or end it now.
Status DistributionSession::why_not_to_be_changed(const Requester& requester, bool whoever_owns_it) const {
    if (const Status missing = why_no_pending_copy(); missing != Status::ok) {
        return missing;
    }
    if (!whoever_owns_it && !belongs_to(requester.identity())) {
        return Status::session_locked;
    }
    return is_committing() ? Status::commit_in_progress : Status::ok;
}

Status DistributionSession::change(const Requester& requester, const Change& make) {
    switch (const Status why_not = why_not_to_be_changed(requester)) {
        case Status::distribution_off:
            return make(store_.effective());
        case Status::no_distribution_session:
            return open_with(requester, make);
        case Status::ok:
            take_over(requester);
            return make(store_.pending());
        default:
            return why_not;
    }
}

// The session and its first change are one transaction: neither is there without the other.
Status DistributionSession::open_with(const Requester& requester, const Change& make) {
    OpenSession session{
        .owner = requester.identity(), .owner_name = requester.login_name(), .opened_at = clock_()};
    struct PendingMemory {
        ConfigurationCopy& copy;
        bool keep = false;
        ~PendingMemory() {
            if (!keep) {
                copy.empty_memory();
            }
        }
    } memory{store_.pending()};
    Transaction transaction(store_.transactions());
    store_.pending().replace_tables(store_.effective());
    store_.pending().replace_memory(store_.effective());
    table_.put_session(session);
    const Status status = make(store_.pending());
    if (status != Status::ok) {
        return status;
    }
    transaction.commit();
    memory.keep = true;
    spdlog::info("{} has opened a distribution session", session.owner_name);
    open_ = std::move(session);
    return status;
}

void DistributionSession::take_over(const Requester& requester) {
    if (open_->owner == requester.identity()) {
        return;
    }
    OpenSession taken = *open_;
    taken.owner = requester.identity();
    table_.put_session(taken);
    open_ = std::move(taken);
}

Status DistributionSession::commit(const Requester& requester) {
    if (const Status why_not = why_not_to_be_changed(requester); why_not != Status::ok) {
        return why_not;
    }
    take_over(requester);
    put_last_action(action_now(SessionAction::commit, ActionResult::in_progress, requester));
    engine_.start(store_.pending().configuration(), [this](Status verdict) { return decide(verdict); });
    return Status::ok;
}

Status DistributionSession::discard(const Requester& requester) {
    const Status why_not = why_not_to_be_changed(requester);
    return why_not == Status::ok ? drop(requester, SessionAction::discard) : why_not;
}

Status DistributionSession::clear(const Requester& requester, bool whoever_owns_it) {
    const Status why_not = why_not_to_be_changed(requester, whoever_owns_it);
    return why_not == Status::ok ? drop(requester, SessionAction::clear) : why_not;
}

// Readers may have seen the indexes of the pending copy: they are not given to other entries.
Status DistributionSession::drop(const Requester& requester, SessionAction action) {
    LastAction done = action_now(action, ActionResult::success, requester);
    Transaction transaction(store_.transactions());
    store_.effective().raise_next_entries_in_tables(store_.pending());
    store_.pending().empty_tables();
    table_.remove_session();
    table_.put_last_action(done);
    transaction.commit();
    store_.effective().raise_next_entries_in_memory(store_.pending());
    store_.pending().empty_memory();
    spdlog::info("{} has dropped the distribution session of {}", done.user_name, open_->owner_name);
    open_.reset();
    last_action_ = std::move(done);
    return Status::ok;
}

LastAction DistributionSession::action_now(SessionAction action, ActionResult result,
                                           const Requester& requester) const {
    return {.action = action,
            .result = result,
            .cause = Status::ok,
            .at = clock_(),
            .user_name = requester.login_name()};
}

void DistributionSession::put_last_action(const LastAction& action) {
    table_.put_last_action(action);
    last_action_ = action;
}

Status DistributionSession::decide(Status verdict) {
    const Status cause = verdict == Status::ok ? make_effective() : verdict;
    if (cause == Status::ok) {
        committed_();
    } else {
        fail(cause);
    }
    return cause;
}

Status DistributionSession::make_effective() {
    // A feature that is on must not lose what enabling it asked for.
    if (store_.configuration().enabled) {
        const Status missing = why_nothing_can_be_sent(store_.pending().configuration());
        if (missing != Status::ok) {
            return missing;
        }
    }
    LastAction done = last_action_;
    done.result = ActionResult::success;
    done.at = clock_();
    try {
        Transaction transaction(store_.transactions());
        store_.effective().replace_tables(store_.pending());
        store_.pending().empty_tables();
        table_.remove_session();
        table_.put_last_action(done);
        transaction.commit();
    } catch (const SQLite::Exception& error) {
        health_.failed(error);
        spdlog::error("a commit was not made because it could not be stored: {} (SQLite error {})",
                      error.what(), error.getExtendedErrorCode());
        return Status::storage_failed;
    }
    store_.effective().replace_memory(store_.pending());
    store_.pending().empty_memory();
    spdlog::info("{} has committed the distribution session", done.user_name);
    open_.reset();
    last_action_ = std::move(done);
    return Status::ok;
}

// Where not even the failure can be stored, a restart finds the commit interrupted, which is a failure,
// too.
void DistributionSession::fail(Status cause) {
    last_action_.result = ActionResult::fail;
    last_action_.cause = cause;
    last_action_.at = clock_();
    try {
        table_.put_last_action(last_action_);
    } catch (const SQLite::Exception& error) {
        health_.failed(error);
        spdlog::error("the failure of a commit could not be stored: {}", error.what());
    }
}

}  // namespace callhome::service
