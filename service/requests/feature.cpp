#include <algorithm>
#include <array>

#include "requests/functions.h"

namespace callhome::service {
namespace {

using protocol::Status;

bool has_contact(const Configuration& configuration, const char* name) {
    return configuration.contact.contains(name);
}

bool has_destination(const Configuration& configuration) {
    return std::ranges::any_of(configuration.profiles, [](const Profile& profile) {
        return !profile.email_addresses.empty() || !profile.urls.empty();
    });
}

bool sends_email(const Profile& profile) {
    return (profile.transport_methods & protocol::transport_email) != 0 && !profile.email_addresses.empty();
}

bool can_send_email(const Configuration& configuration) {
    return !configuration.mail_servers.empty() || !configuration.mail.smtp_server.empty();
}

// What must be there before the feature goes on, in the order in which an operator hears of it.
struct Requirement {
    Status refusal;
    bool (*is_met)(const Configuration& configuration);
};

constexpr std::array requirements{
    Requirement{
        Status::no_system_contact,
        [](const Configuration& configuration) { return has_contact(configuration, "sysContact"); }},
    Requirement{
        Status::no_contact_email,
        [](const Configuration& configuration) { return has_contact(configuration, "sysContactEmail"); }},
    Requirement{Status::no_destination, has_destination},
    Requirement{Status::no_mail_server,
                [](const Configuration& configuration) {
                    return std::ranges::none_of(configuration.profiles, sends_email) ||
                           can_send_email(configuration);
                }},
};

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
        const auto* missing = std::ranges::find_if_not(
            requirements, [&](const Requirement& needed) { return needed.is_met(call.configuration()); });
        if (missing != requirements.end()) {
            return missing->refusal;
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

}  // namespace callhome::service
