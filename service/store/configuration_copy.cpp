#include "store/configuration_copy.h"

#include <algorithm>
#include <utility>

#include "store/configuration_order.h"

namespace callhome::service {
namespace {

ProfileList list_of(AddressKind kind) {
    return kind == AddressKind::email ? ProfileList::email_addresses : ProfileList::urls;
}

std::vector<ProfileAddress>& addresses_of(Profile& profile, AddressKind kind) {
    return kind == AddressKind::email ? profile.email_addresses : profile.urls;
}

// Every column that a changed profile may carry; the lists stay with the old one.
void take_settings(Profile& profile, const Profile& changed) {
    profile.transport_methods = changed.transport_methods;
    profile.format = changed.format;
    profile.message_size = changed.message_size;
    profile.message_level = changed.message_level;
}

}  // namespace

ConfigurationCopy::Statements::Statements(SQLite::Database& connection, std::string_view prefix)
    : put_profile(connection,
                  for_copy(prefix,
                           "INSERT INTO {}profile (name, transport_methods, format, message_size, "
                           "message_level) VALUES (?, ?, ?, ?, ?) ON CONFLICT (name) DO UPDATE SET "
                           "transport_methods = excluded.transport_methods, format = excluded.format, "
                           "message_size = excluded.message_size, message_level = excluded.message_level")),
      remove_profile(connection, for_copy(prefix, "DELETE FROM {}profile WHERE name = ?")),
      add_entry(
          connection,
          for_copy(prefix, "INSERT INTO {}profile_entry (profile, list, entry, text) VALUES (?, ?, ?, ?)")),
      put_next_entry(
          connection,
          for_copy(prefix, "REPLACE INTO {}profile_next_entry (profile, list, entry) VALUES (?, ?, ?)")),
      remove_entry(
          connection,
          for_copy(prefix, "DELETE FROM {}profile_entry WHERE profile = ? AND list = ? AND text = ?")),
      put_mail_settings(connection,
                        for_copy(prefix,
                                 "REPLACE INTO {}mail_settings (only_row, sender, reply_to, "
                                 "return_receipt, smtp_server, address_type, port, vrf_name, vrf_id) "
                                 "VALUES (1, ?, ?, ?, ?, ?, ?, ?, ?)")),
      put_mail_server(connection,
                      for_copy(prefix,
                               "REPLACE INTO {}mail_server (host, address_type, port, priority, vrf_name, "
                               "vrf_id) VALUES (?, ?, ?, ?, ?, ?)")),
      remove_mail_server(connection, for_copy(prefix, "DELETE FROM {}mail_server WHERE host = ?")),
      put_http_settings(connection, for_copy(prefix,
                                             "REPLACE INTO {}http_settings (only_row, proxy_server, "
                                             "proxy_address_type, proxy_port, proxy_enabled, vrf_name) "
                                             "VALUES (1, ?, ?, ?, ?, ?)")),
      put_periodic_inventory(connection,
                             for_copy(prefix,
                                      "REPLACE INTO {}periodic_inventory (only_row, notification, "
                                      "time_period, time_of_day) VALUES (1, ?, ?, ?)")),
      add_user_command(
          connection,
          for_copy(prefix, "INSERT INTO {}user_command (entry, alert_group, command) VALUES (?, ?, ?)")),
      put_next_user_command(
          connection,
          for_copy(prefix, "REPLACE INTO {}user_command_next_entry (only_row, entry) VALUES (1, ?)")),
      remove_user_command(
          connection,
          for_copy(prefix, "DELETE FROM {}user_command WHERE alert_group = ? AND command = ?")) {}

ConfigurationCopy::ConfigurationCopy(SQLite::Database& connection, Transactions& transactions,
                                     std::string_view prefix, SharedConfiguration& image)
    : connection_(connection),
      transactions_(transactions),
      prefix_(prefix),
      image_(image),
      statements_(connection, prefix) {
    CopyContents contents = read_copy(connection, prefix);
    image_ = std::move(contents.configuration);
    next_entries_ = std::move(contents.next_entries);
}

void ConfigurationCopy::put_profile(const Profile& profile) {
    run(statements_.put_profile, profile.name, profile.transport_methods, static_cast<int>(profile.format),
        profile.message_size, static_cast<int>(profile.message_level));
    if (Profile* existing = profile_in_memory(profile.name)) {
        take_settings(*existing, profile);
        return;
    }
    Profile created;
    created.name = profile.name;
    take_settings(created, profile);
    image_.profiles.insert(profile_position(profile.name), std::move(created));
}

void ConfigurationCopy::remove_profile(const std::string& name) {
    run(statements_.remove_profile, name);
    std::erase_if(image_.profiles, [&](const Profile& profile) { return profile.name == name; });
    std::erase_if(next_entries_.of_profiles, [&](const auto& next) { return next.first.first == name; });
}

void ConfigurationCopy::add_address(AddressKind kind, const std::string& profile,
                                    const std::string& address) {
    const std::uint32_t entry = add_entry(profile, list_of(kind), address);
    addresses_of(*profile_in_memory(profile), kind).push_back({entry, address});
}

void ConfigurationCopy::remove_address(AddressKind kind, const std::string& profile,
                                       const std::string& address) {
    remove_entry(profile, list_of(kind), address);
    std::erase_if(addresses_of(*profile_in_memory(profile), kind),
                  [&](const ProfileAddress& entry) { return entry.address == address; });
}

void ConfigurationCopy::add_alert_group(const std::string& profile, const std::string& group) {
    const std::uint32_t entry = add_entry(profile, ProfileList::alert_groups, group);
    profile_in_memory(profile)->alert_groups.push_back({entry, group});
}

void ConfigurationCopy::remove_alert_group(const std::string& profile, const std::string& group) {
    remove_entry(profile, ProfileList::alert_groups, group);
    std::erase_if(profile_in_memory(profile)->alert_groups,
                  [&](const AlertGroup& entry) { return entry.name == group; });
}

std::uint32_t ConfigurationCopy::add_entry(const std::string& profile, ProfileList list,
                                           const std::string& text) {
    const std::uint32_t entry = next_entry(profile, list);
    Transaction transaction(transactions_);
    run(statements_.add_entry, profile, static_cast<int>(list), entry, text);
    run(statements_.put_next_entry, profile, static_cast<int>(list), entry + 1);
    transaction.commit();
    next_entries_.of_profiles[{profile, list}] = entry + 1;
    return entry;
}

void ConfigurationCopy::remove_entry(const std::string& profile, ProfileList list,
                                     const std::string& text) {
    run(statements_.remove_entry, profile, static_cast<int>(list), text);
}

void ConfigurationCopy::put_mail_settings(const MailSettings& settings) {
    run(statements_.put_mail_settings, settings.from, settings.reply_to, settings.return_receipt,
        settings.smtp_server, static_cast<std::uint32_t>(settings.address_type), settings.port,
        settings.vrf_name, settings.vrf_id);
    image_.mail = settings;
}

void ConfigurationCopy::put_mail_server(const MailServer& server) {
    run(statements_.put_mail_server, server.host, static_cast<std::uint32_t>(server.address_type),
        server.port, server.priority, server.vrf_name, server.vrf_id);
    auto& servers = image_.mail_servers;
    const auto position = std::ranges::lower_bound(servers, server.host, {}, &MailServer::host);
    if (position != servers.end() && position->host == server.host) {
        *position = server;
    } else {
        servers.insert(position, server);
    }
}

void ConfigurationCopy::remove_mail_server(const std::string& host) {
    run(statements_.remove_mail_server, host);
    std::erase_if(image_.mail_servers, [&](const MailServer& server) { return server.host == host; });
}

void ConfigurationCopy::put_http_settings(const HttpSettings& settings) {
    const HttpProxy& proxy = settings.proxy;
    run(statements_.put_http_settings, proxy.server, static_cast<std::uint32_t>(proxy.address_type),
        proxy.port, static_cast<int>(proxy.enabled), settings.vrf_name);
    image_.http = settings;
}

void ConfigurationCopy::put_periodic_inventory(const PeriodicInventory& settings) {
    run(statements_.put_periodic_inventory, static_cast<int>(settings.notification), settings.time_period,
        settings.time_of_day);
    image_.periodic_inventory = settings;
}

void ConfigurationCopy::add_user_command(const std::string& group, const std::string& command) {
    const std::uint32_t entry = next_entries_.of_user_commands;
    Transaction transaction(transactions_);
    run(statements_.add_user_command, entry, group, command);
    run(statements_.put_next_user_command, entry + 1);
    transaction.commit();
    next_entries_.of_user_commands = entry + 1;
    image_.user_commands.push_back({.index = entry, .group = group, .command = command});
}

void ConfigurationCopy::remove_user_command(const std::string& group, const std::string& command) {
    run(statements_.remove_user_command, group, command);
    std::erase_if(image_.user_commands, [&](const UserCommand& entry) {
        return entry.group == group && entry.command == command;
    });
}

std::vector<Profile>::const_iterator ConfigurationCopy::profile_position(std::string_view name) const {
    return std::ranges::lower_bound(std::as_const(image_.profiles), name, walks_before, &Profile::name);
}

const Profile* ConfigurationCopy::find_profile(std::string_view name) const {
    const auto position = profile_position(name);
    return position != image_.profiles.cend() && position->name == name ? &*position : nullptr;
}

Profile* ConfigurationCopy::profile_in_memory(std::string_view name) {
    return const_cast<Profile*>(std::as_const(*this).find_profile(name));
}

const MailServer* ConfigurationCopy::find_mail_server(std::string_view host) const {
    const auto& servers = image_.mail_servers;
    const auto position = std::ranges::lower_bound(servers, host, {}, &MailServer::host);
    return position != servers.end() && position->host == host ? &*position : nullptr;
}

std::uint32_t ConfigurationCopy::next_entry(const std::string& profile, ProfileList list) const {
    const auto next = next_entries_.of_profiles.find({profile, list});
    return next == next_entries_.of_profiles.end() ? 1 : next->second;
}

void ConfigurationCopy::replace_tables(const ConfigurationCopy& source) {
    replace_copy(connection_, prefix_, source.prefix_);
}

void ConfigurationCopy::replace_memory(const ConfigurationCopy& source) {
    image_ = source.image_;
    next_entries_ = source.next_entries_;
}

void ConfigurationCopy::empty_tables() {
    empty_copy(connection_, prefix_);
}

void ConfigurationCopy::empty_memory() {
    image_ = {};
    next_entries_ = {};
}

void ConfigurationCopy::raise_next_entries_in_tables(const ConfigurationCopy& source) {
    raise_next_entries(connection_, prefix_, source.prefix_);
}

void ConfigurationCopy::raise_next_entries_in_memory(const ConfigurationCopy& source) {
    for (const auto& [list, entry] : source.next_entries_.of_profiles) {
        if (find_profile(list.first) != nullptr) {
            auto& next = next_entries_.of_profiles[list];
            next = std::max(next, entry);
        }
    }
    next_entries_.of_user_commands =
        std::max(next_entries_.of_user_commands, source.next_entries_.of_user_commands);
}

}  // namespace callhome::service
