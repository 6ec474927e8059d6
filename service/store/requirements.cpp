#include "store/requirements.h"

#include <algorithm>

namespace callhome::service {
namespace {

using protocol::Status;

bool has_destination(const Profile& profile) {
    return !profile.email_addresses.empty() || !profile.urls.empty();
}

bool sends_email(const Profile& profile) {
    return (profile.transport_methods & protocol::transport_email) != 0 && !profile.email_addresses.empty();
}

bool can_send_email(const SharedConfiguration& configuration) {
    return !configuration.mail_servers.empty() || !configuration.mail.smtp_server.empty();
}

}  // namespace

Status why_nothing_can_be_sent(const SharedConfiguration& configuration) {
    if (std::ranges::none_of(configuration.profiles, has_destination)) {
        return Status::no_destination;
    }
    if (std::ranges::any_of(configuration.profiles, sends_email) && !can_send_email(configuration)) {
        return Status::no_mail_server;
    }
    return Status::ok;
}

}  // namespace callhome::service
