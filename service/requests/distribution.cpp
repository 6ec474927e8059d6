#include "protocol/records/distribution.h"

#include "requests/fields.h"
#include "requests/functions.h"

namespace callhome::service {
namespace {

using protocol::SessionAction;
using protocol::Status;

constexpr std::uint32_t no = 0;
constexpr std::uint32_t yes = 1;

}  // namespace

Outcome get_distribution(Call& call, const protocol::DistributionRecord& /*record*/) {
    call.reply.set_record(
        protocol::DistributionRecord{.enabled = call.configuration().distribution ? yes : no});
    return Status::ok;
}

// Other switches tell this one by its contact. What is pending would be lost, or take effect unasked, if
// distribution went off with a session open.
Outcome set_distribution(Call& call, const protocol::DistributionRecord& record) {
    if (record.enabled > yes) {
        return Status::malformed_request;
    }
    if (record.enabled == yes && !call.configuration().contact.contains("sysContact")) {
        return Status::no_system_contact;
    }
    if (record.enabled == no && call.session.open()) {
        return call.session.is_committing() ? Status::commit_in_progress : Status::session_open;
    }
    call.store.set_distribution(record.enabled == yes);
    return Status::ok;
}

Outcome get_commit_result(Call& call, const protocol::CommitRecord& /*record*/) {
    const LastAction& last = call.session.last_action();
    protocol::CommitRecord answer{};
    answer.action = static_cast<std::uint32_t>(last.action);
    answer.result = static_cast<std::uint32_t>(last.result);
    answer.cause = static_cast<std::uint32_t>(last.cause);
    call.reply.set_record(answer);
    return Status::ok;
}

Outcome end_session(Call& call, const protocol::CommitRecord& record) {
    switch (static_cast<SessionAction>(record.action)) {
        case SessionAction::commit:
            return call.session.commit(call.caller);
        case SessionAction::discard:
            return call.session.discard(call.caller);
        default:
            return Status::malformed_request;
    }
}

Outcome clear_session(Call& call, const protocol::ClearSessionRecord& record) {
    if (record.whoever_owns_it > yes) {
        return Status::malformed_request;
    }
    return call.session.clear(call.caller, record.whoever_owns_it == yes);
}

Outcome get_session_state(Call& call, const protocol::SessionRecord& /*record*/) {
    protocol::SessionRecord answer{};
    if (const auto& open = call.session.open()) {
        answer.is_open = yes;
        answer.opened_at = static_cast<std::uint32_t>(open->opened_at);
        write_text(answer.owner, open->owner_name);
    }
    const LastAction& last = call.session.last_action();
    answer.last_action = static_cast<std::uint32_t>(last.action);
    answer.last_result = static_cast<std::uint32_t>(last.result);
    answer.last_cause = static_cast<std::uint32_t>(last.cause);
    answer.last_at = static_cast<std::uint32_t>(last.at);
    write_text(answer.last_user, last.user_name);
    call.reply.set_record(answer);
    return Status::ok;
}

}  // namespace callhome::service
