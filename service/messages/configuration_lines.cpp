#include "messages/configuration_lines.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <string_view>

#include "messages/text.h"

namespace callhome::service {
namespace {

constexpr std::uint32_t standard_smtp_port = 25;
constexpr std::uint32_t default_message_size = 2'500'000;
constexpr std::uint32_t default_short_size = 4'000;

struct ContactCommand {
    const char* item;  // MIB name
    const char* command;
};

constexpr std::array contact_commands{
    ContactCommand{"sysContact", "snmp-server contact"},
    ContactCommand{"sysContactEmail", "email-contact"},
    ContactCommand{"sysContactPhoneNumber", "phone-contact"},
    ContactCommand{"sysStreetAddress", "streetaddress"},
    ContactCommand{"siteId", "site-id"},
    ContactCommand{"custId", "customer-id"},
    ContactCommand{"contractId", "contract-id"},
    ContactCommand{"priority", "switch-priority"},
};

struct CommandName {
    std::string_view stored;
    std::string_view typed;
};

constexpr std::array built_in_names{
    CommandName{"full_txt", "full-txt-destination"},
    CommandName{"short_txt", "short-txt-destination"},
};

std::string_view typed_name(const Profile& profile) {
    const auto* found = std::find_if(built_in_names.begin(), built_in_names.end(),
                                     [&](const CommandName& name) { return name.stored == profile.name; });
    return found == built_in_names.end() ? std::string_view(profile.name) : found->typed;
}

const char* format_name(protocol::MessageFormat format) {
    switch (format) {
        case protocol::MessageFormat::full_text:
            return "full-txt";
        case protocol::MessageFormat::short_text:
            return "short-txt";
        default:
            return "XML";
    }
}

// The size that choosing the format sets.
std::uint32_t size_of(protocol::MessageFormat format) {
    return format == protocol::MessageFormat::short_text ? default_short_size : default_message_size;
}

void add_profile(std::vector<std::string>& lines, const Profile& profile) {
    const std::string beginning = fmt::format("destination-profile {}", typed_name(profile));
    if (!profile.built_in) {
        lines.push_back(fmt::format("{} format {}", beginning, format_name(profile.format)));
    }
    if (profile.message_size != size_of(profile.format)) {
        lines.push_back(fmt::format("{} message-size {}", beginning, profile.message_size));
    }
    if (profile.message_level != 0) {
        lines.push_back(
            fmt::format("{} message-level {}", beginning, static_cast<int>(profile.message_level)));
    }
    if ((profile.transport_methods & protocol::transport_http) != 0U) {
        lines.push_back(fmt::format("{} transport-method http", beginning));
    }
    if ((profile.transport_methods & protocol::transport_email) == 0U) {
        lines.push_back(fmt::format("no {} transport-method email", beginning));
    }
    for (const ProfileAddress& address : profile.email_addresses) {
        lines.push_back(fmt::format("{} email-addr {}", beginning, address.address));
    }
    for (const ProfileAddress& url : profile.urls) {
        lines.push_back(fmt::format("{} http {}", beginning, url.address));
    }
    for (const AlertGroup& group : profile.alert_groups) {
        lines.push_back(fmt::format("{} alert-group {}", beginning, group.name));
    }
}

std::string vrf_suffix(const std::string& vrf_name) {
    return vrf_name.empty() ? "" : fmt::format(" use-vrf {}", vrf_name);
}

void add_mail(std::vector<std::string>& lines, const Configuration& configuration) {
    const MailSettings& mail = configuration.mail;
    const std::array settings{std::pair{"from", &mail.from}, std::pair{"reply-to", &mail.reply_to},
                              std::pair{"return-receipt", &mail.return_receipt}};
    for (const auto& [keyword, value] : settings) {
        if (!value->empty()) {
            lines.push_back(fmt::format("transport email {} {}", keyword, *value));
        }
    }
    if (!mail.smtp_server.empty()) {
        const bool standard = mail.port == 0 || mail.port == standard_smtp_port;
        lines.push_back(fmt::format("transport email smtp-server {}{}{}", mail.smtp_server,
                                    standard ? "" : fmt::format(" port {}", mail.port),
                                    vrf_suffix(mail.vrf_name)));
    }
    for (const MailServer& server : configuration.mail_servers) {
        lines.push_back(fmt::format("transport email mail-server {} port {} priority {}{}", server.host,
                                    server.port, server.priority, vrf_suffix(server.vrf_name)));
    }
}

void add_http(std::vector<std::string>& lines, const HttpSettings& http) {
    if (!http.vrf_name.empty()) {
        lines.push_back(fmt::format("transport http use-vrf {}", http.vrf_name));
    }
    if (!http.proxy.server.empty()) {
        lines.push_back(
            fmt::format("transport http proxy server {} port {}", http.proxy.server, http.proxy.port));
    }
    if (http.proxy.enabled) {
        lines.emplace_back("transport http proxy enable");
    }
}

void add_periodic_inventory(std::vector<std::string>& lines, const PeriodicInventory& settings) {
    constexpr std::uint32_t minutes_an_hour = 60;
    const PeriodicInventory defaults;
    constexpr std::string_view command = "periodic-inventory notification";
    if (settings.notification) {
        lines.emplace_back(command);
    }
    if (settings.time_period != defaults.time_period) {
        lines.push_back(fmt::format("{} interval {}", command, settings.time_period));
    }
    if (settings.time_of_day != defaults.time_of_day) {
        lines.push_back(fmt::format("{} timeofday {:02}:{:02}", command,
                                    settings.time_of_day / minutes_an_hour,
                                    settings.time_of_day % minutes_an_hour));
    }
}

void add_privacy(std::vector<std::string>& lines, const Privacy& privacy) {
    if (privacy.high) {
        lines.emplace_back("data-privacy level high");
    }
    if (privacy.host_name) {
        lines.emplace_back("data-privacy hostname");
    }
}

}  // namespace

std::vector<std::string> configuration_lines(const Configuration& configuration) {
    std::vector<std::string> lines;
    for (const ContactCommand& row : contact_commands) {
        const auto found = configuration.contact.find(row.item);
        if (found != configuration.contact.end()) {
            lines.push_back(fmt::format("{} {}", row.command, found->second));
        }
    }
    for (const Profile& profile : configuration.profiles) {
        add_profile(lines, profile);
    }
    for (const UserCommand& entry : configuration.user_commands) {
        lines.push_back(fmt::format("alert-group {} user-def-cmd {}", entry.group, entry.command));
    }
    add_mail(lines, configuration);
    add_http(lines, configuration.http);
    if (!configuration.duplicate_throttle) {
        lines.emplace_back("no duplicate-message throttle");
    }
    add_periodic_inventory(lines, configuration.periodic_inventory);
    add_privacy(lines, configuration.privacy);
    lines.emplace_back(configuration.enabled ? "enable" : "disable");
    return lines;
}

const std::vector<std::string>& ConfigurationLines::of(const Configuration& configuration) {
    if (!made_of_ || *made_of_ != configuration) {
        made_of_.reset();
        lines_ = configuration_lines(configuration);
        std::ranges::transform(lines_, lines_.begin(), clean_line);
        made_of_ = configuration;
    }
    return lines_;
}

}  // namespace callhome::service
