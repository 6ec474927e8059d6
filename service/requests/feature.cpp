#include "requests/functions.h"
#include "store/requirements.h"

namespace callhome::service {
namespace {

using protocol::Status;

bool has_contact(const Configuration& configuration, const char* name) {
    return configuration.contact.contains(name);
}

// What must be there before the feature goes on, in the order in which an operator hears of it.
Status why_not_ready(const Configuration& configuration) {
    if (!has_contact(configuration, "sysContact")) {
        return Status::no_system_contact;
    }
    if (!has_contact(configuration, "sysContactEmail")) {
        return Status::no_contact_email;
    }
    return why_nothing_can_be_sent(configuration);
}

constexpr std::uint32_t off = 0;
constexpr std::uint32_t on = 1;

Outcome answer_switch(Call& call, bool enabled) {
    call.reply.set_record(protocol::SwitchRecord{.enabled = enabled ? on : off, .trailing_flag = 0});
    return Status::ok;
}

}  // namespace

Outcome get_feature(Call& call, const protocol::SwitchRecord& /*record*/) {
    return answer_switch(call, call.configuration().enabled);
}

Outcome set_feature(Call& call, const protocol::SwitchRecord& record) {
    if (record.enabled > on) {
        return Status::malformed_request;
    }
    if (record.enabled == on) {
        if (const Status missing = why_not_ready(call.configuration()); missing != Status::ok) {
            return missing;
        }
    }
    call.store.set_enabled(record.enabled == on);
    return Status::ok;
}

Outcome get_traps(Call& call, const protocol::SwitchRecord& /*record*/) {
    return answer_switch(call, call.configuration().traps_enabled);
}

Outcome set_traps(Call& call, const protocol::SwitchRecord& record) {
    if (record.enabled > on) {
        return Status::malformed_request;
    }
    call.store.set_traps_enabled(record.enabled == on);
    return Status::ok;
}

Outcome get_duplicate_throttle(Call& call, const protocol::SwitchRecord& /*record*/) {
    return answer_switch(call, call.configuration().duplicate_throttle);
}

Outcome set_duplicate_throttle(Call& call, const protocol::SwitchRecord& record) {
    if (record.enabled > on) {
        return Status::malformed_request;
    }
    call.store.set_duplicate_throttle(record.enabled == on);
    return Status::ok;
}

}  // namespace callhome::service
