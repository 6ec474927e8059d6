#include "description.h"

#include <fmt/format.h>

namespace callhome::service {
namespace {

std::string description_of(const std::vector<ProfileAddress>& addresses) {
    std::string text;
    for (const ProfileAddress& entry : addresses) {
        text += fmt::format(" {}:{}", entry.index, entry.address);
    }
    return text;
}

std::string description_of(const Profile& profile) {
    std::string groups;
    for (const AlertGroup& group : profile.alert_groups) {
        groups += fmt::format(" {}:{}", group.index, group.name);
    }
    return fmt::format(
        "profile {}{} methods {} format {} size {} level {}\n e-mail{}\n urls{}\n groups{}\n", profile.name,
        profile.built_in ? " (built in)" : "", profile.transport_methods, static_cast<int>(profile.format),
        profile.message_size, profile.message_level, description_of(profile.email_addresses),
        description_of(profile.urls), groups);
}

}  // namespace

std::string description_of(const SharedConfiguration& configuration) {
    std::string text;
    for (const Profile& profile : configuration.profiles) {
        text += description_of(profile);
    }
    const MailSettings& mail = configuration.mail;
    text += fmt::format("mail from {} reply to {} receipt {} server {} type {} port {} vrf {} id {}\n",
                        mail.from, mail.reply_to, mail.return_receipt, mail.smtp_server,
                        static_cast<int>(mail.address_type), mail.port, mail.vrf_name, mail.vrf_id);
    for (const MailServer& server : configuration.mail_servers) {
        text += fmt::format("server {} type {} port {} priority {} vrf {} id {}\n", server.host,
                            static_cast<int>(server.address_type), server.port, server.priority,
                            server.vrf_name, server.vrf_id);
    }
    const HttpProxy& proxy = configuration.http.proxy;
    text += fmt::format("proxy {} type {} port {} enabled {} http vrf {}\n", proxy.server,
                        static_cast<int>(proxy.address_type), proxy.port, proxy.enabled,
                        configuration.http.vrf_name);
    const PeriodicInventory& inventory = configuration.periodic_inventory;
    text += fmt::format("inventory {} every {} days at {}\n", inventory.notification, inventory.time_period,
                        inventory.time_of_day);
    for (const UserCommand& entry : configuration.user_commands) {
        text += fmt::format("command {} of {}: {}\n", entry.index, entry.group, entry.command);
    }
    return text;
}

std::string description_of(const Configuration& configuration) {
    std::string text = fmt::format(
        "enabled {} traps {} throttle {} distribution {} privacy {} host name {}\n", configuration.enabled,
        configuration.traps_enabled, configuration.duplicate_throttle, configuration.distribution,
        configuration.privacy.high, configuration.privacy.host_name);
    for (const auto& [name, value] : configuration.contact) {
        text += fmt::format("{} = {}\n", name, value);
    }
    return text + description_of(static_cast<const SharedConfiguration&>(configuration));
}

}  // namespace callhome::service
