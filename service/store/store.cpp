#include "store/store.h"

#include <SQLiteCpp/VariadicBind.h>
#include <sqlite3.h>

#include <algorithm>

#include "store/configuration_order.h"

namespace callhome::service {
namespace {

ProfileList list_of(AddressKind kind) {
    return kind == AddressKind::email ? ProfileList::email_addresses : ProfileList::urls;
}

std::vector<ProfileAddress>& addresses_of(Profile& profile, AddressKind kind) {
    return kind == AddressKind::email ? profile.email_addresses : profile.urls;
}

SQLite::Database& with_tables(SQLite::Database& connection) {
    create_configuration_tables(connection);
    return connection;
}

// Every column that a changed profile may carry; the lists stay with the old one.
void take_settings(Profile& profile, const Profile& changed) {
    profile.transport_methods = changed.transport_methods;
    profile.format = changed.format;
    profile.message_size = changed.message_size;
    profile.message_level = changed.message_level;
}

}  // namespace

Store::Statements::Statements(SQLite::Database& connection)
    : begin(connection, "BEGIN IMMEDIATE"),
      commit(connection, "COMMIT"),
      rollback(connection, "ROLLBACK"),
      put_setting(connection, "REPLACE INTO setting (name, value) VALUES (?, ?)"),
      put_contact(connection, "REPLACE INTO contact (name, value) VALUES (?, ?)"),
      remove_contact(connection, "DELETE FROM contact WHERE name = ?"),
      put_profile(connection,
                  "INSERT INTO profile (name, transport_methods, format, message_size, message_level) "
                  "VALUES (?, ?, ?, ?, ?) ON CONFLICT (name) DO UPDATE SET "
                  "transport_methods = excluded.transport_methods, format = excluded.format, "
                  "message_size = excluded.message_size, message_level = excluded.message_level"),
      remove_profile(connection, "DELETE FROM profile WHERE name = ?"),
      add_entry(connection, "INSERT INTO profile_entry (profile, list, entry, text) VALUES (?, ?, ?, ?)"),
      put_next_entry(connection, "REPLACE INTO profile_next_entry (profile, list, entry) VALUES (?, ?, ?)"),
      remove_entry(connection, "DELETE FROM profile_entry WHERE profile = ? AND list = ? AND text = ?"),
      put_mail_settings(connection,
                        "REPLACE INTO mail_settings (only_row, sender, reply_to, return_receipt, "
                        "smtp_server, address_type, port, vrf_name, vrf_id) "
                        "VALUES (1, ?, ?, ?, ?, ?, ?, ?, ?)"),
      put_mail_server(connection,
                      "REPLACE INTO mail_server (host, address_type, port, priority, vrf_name, vrf_id) "
                      "VALUES (?, ?, ?, ?, ?, ?)"),
      remove_mail_server(connection, "DELETE FROM mail_server WHERE host = ?") {}

Store::Store(Database& database)
    : connection_(with_tables(database.connection())), statements_(connection_) {
    load_settings();
    load_profiles();
    load_profile_lists();
    load_mail();
}

void Store::load_settings() {
    for (SQLite::Statement row(connection_, "SELECT name, value FROM setting"); row.executeStep();) {
        const std::string name = row.getColumn(0).getString();
        const bool value = row.getColumn(1).getInt() != 0;
        if (name == enabled_setting) {
            configuration_.enabled = value;
        } else if (name == traps_setting) {
            configuration_.traps_enabled = value;
        }
    }
    configuration_.contact.insert_or_assign(priority_item, std::string(default_priority));
    for (SQLite::Statement row(connection_, "SELECT name, value FROM contact"); row.executeStep();) {
        configuration_.contact[row.getColumn(0).getString()] = row.getColumn(1).getString();
    }
}

void Store::load_profiles() {
    SQLite::Statement row(connection_,
                          "SELECT name, built_in, transport_methods, format, message_size, message_level "
                          "FROM profile");
    while (row.executeStep()) {
        configuration_.profiles.push_back({
            .name = row.getColumn(0).getString(),
            .built_in = row.getColumn(1).getInt() != 0,
            .transport_methods = row.getColumn(2).getUInt(),
            .format = static_cast<protocol::MessageFormat>(row.getColumn(3).getInt()),
            .message_size = row.getColumn(4).getUInt(),
            .message_level = static_cast<std::int8_t>(row.getColumn(5).getInt()),
            .email_addresses = {},
            .urls = {},
            .alert_groups = {},
        });
    }
    std::ranges::sort(configuration_.profiles, walks_before, &Profile::name);
}

void Store::load_profile_lists() {
    SQLite::Statement row(connection_,
                          "SELECT profile, list, entry, text FROM profile_entry ORDER BY entry");
    while (row.executeStep()) {
        Profile* profile = profile_in_memory(row.getColumn(0).getString());
        if (profile == nullptr) {
            continue;
        }
        const std::uint32_t entry = row.getColumn(2).getUInt();
        std::string text = row.getColumn(3).getString();
        switch (static_cast<ProfileList>(row.getColumn(1).getInt())) {
            case ProfileList::email_addresses:
                profile->email_addresses.push_back({entry, std::move(text)});
                break;
            case ProfileList::urls:
                profile->urls.push_back({entry, std::move(text)});
                break;
            case ProfileList::alert_groups:
                profile->alert_groups.push_back({entry, std::move(text)});
                break;
        }
    }
    SQLite::Statement next(connection_, "SELECT profile, list, entry FROM profile_next_entry");
    while (next.executeStep()) {
        const auto list = static_cast<ProfileList>(next.getColumn(1).getInt());
        next_entries_[{next.getColumn(0).getString(), list}] = next.getColumn(2).getUInt();
    }
}

void Store::load_mail() {
    SQLite::Statement settings(connection_,
                               "SELECT sender, reply_to, return_receipt, smtp_server, address_type, port, "
                               "vrf_name, vrf_id FROM mail_settings");
    if (settings.executeStep()) {
        configuration_.mail = {
            .from = settings.getColumn(0).getString(),
            .reply_to = settings.getColumn(1).getString(),
            .return_receipt = settings.getColumn(2).getString(),
            .smtp_server = settings.getColumn(3).getString(),
            .address_type = static_cast<protocol::AddressType>(settings.getColumn(4).getUInt()),
            .port = settings.getColumn(5).getUInt(),
            .vrf_name = settings.getColumn(6).getString(),
            .vrf_id = settings.getColumn(7).getUInt(),
        };
    }
    SQLite::Statement row(connection_,
                          "SELECT host, address_type, port, priority, vrf_name, vrf_id FROM mail_server "
                          "ORDER BY host");
    while (row.executeStep()) {
        configuration_.mail_servers.push_back({
            .host = row.getColumn(0).getString(),
            .address_type = static_cast<protocol::AddressType>(row.getColumn(1).getUInt()),
            .port = row.getColumn(2).getUInt(),
            .priority = row.getColumn(3).getUInt(),
            .vrf_name = row.getColumn(4).getString(),
            .vrf_id = row.getColumn(5).getUInt(),
        });
    }
}

// A statement alone is a transaction of its own. It is reset in any case: one that stays open keeps
// the write-ahead log from being taken over, and its late error would hit the next change.
template <typename... Values>
void Store::run(SQLite::Statement& statement, const Values&... values) {
    struct Reset {
        SQLite::Statement& statement;
        ~Reset() { statement.tryReset(); }
    } const reset{statement};
    SQLite::bind(statement, values...);
    statement.exec();
}

template <typename Steps>
void Store::in_transaction(const Steps& steps) {
    run(statements_.begin);
    try {
        steps();
        run(statements_.commit);
    } catch (const SQLite::Exception&) {
        // Some errors have rolled back already; then there is nothing left to undo.
        if (sqlite3_get_autocommit(connection_.getHandle()) == 0) {
            run(statements_.rollback);
        }
        throw;
    }
}

void Store::set_enabled(bool enabled) {
    run(statements_.put_setting, enabled_setting, static_cast<int>(enabled));
    configuration_.enabled = enabled;
}

void Store::set_traps_enabled(bool enabled) {
    run(statements_.put_setting, traps_setting, static_cast<int>(enabled));
    configuration_.traps_enabled = enabled;
}

void Store::set_contact(const std::string& name, const std::string& value) {
    run(statements_.put_contact, name, value);
    configuration_.contact[name] = value;
}

void Store::remove_contact(const std::string& name) {
    run(statements_.remove_contact, name);
    if (name == priority_item) {
        configuration_.contact.insert_or_assign(name, std::string(default_priority));
    } else {
        configuration_.contact.erase(name);
    }
}

void Store::put_profile(const Profile& profile) {
    run(statements_.put_profile, profile.name, profile.transport_methods, static_cast<int>(profile.format),
        profile.message_size, static_cast<int>(profile.message_level));
    if (Profile* existing = profile_in_memory(profile.name)) {
        take_settings(*existing, profile);
        return;
    }
    Profile created;
    created.name = profile.name;
    take_settings(created, profile);
    configuration_.profiles.insert(profile_position(profile.name), std::move(created));
}

void Store::remove_profile(const std::string& name) {
    run(statements_.remove_profile, name);
    std::erase_if(configuration_.profiles, [&](const Profile& profile) { return profile.name == name; });
    std::erase_if(next_entries_, [&](const auto& next) { return next.first.first == name; });
}

void Store::add_address(AddressKind kind, const std::string& profile, const std::string& address) {
    const ProfileList list = list_of(kind);
    const std::uint32_t entry = next_entry(profile, list);
    in_transaction([&] {
        run(statements_.add_entry, profile, static_cast<int>(list), entry, address);
        run(statements_.put_next_entry, profile, static_cast<int>(list), entry + 1);
    });
    addresses_of(*profile_in_memory(profile), kind).push_back({entry, address});
    next_entries_[{profile, list}] = entry + 1;
}

void Store::remove_address(AddressKind kind, const std::string& profile, const std::string& address) {
    run(statements_.remove_entry, profile, static_cast<int>(list_of(kind)), address);
    std::erase_if(addresses_of(*profile_in_memory(profile), kind),
                  [&](const ProfileAddress& entry) { return entry.address == address; });
}

void Store::put_mail_settings(const MailSettings& settings) {
    run(statements_.put_mail_settings, settings.from, settings.reply_to, settings.return_receipt,
        settings.smtp_server, static_cast<std::uint32_t>(settings.address_type), settings.port,
        settings.vrf_name, settings.vrf_id);
    configuration_.mail = settings;
}

void Store::put_mail_server(const MailServer& server) {
    run(statements_.put_mail_server, server.host, static_cast<std::uint32_t>(server.address_type),
        server.port, server.priority, server.vrf_name, server.vrf_id);
    auto& servers = configuration_.mail_servers;
    const auto position = std::ranges::lower_bound(servers, server.host, {}, &MailServer::host);
    if (position != servers.end() && position->host == server.host) {
        *position = server;
    } else {
        servers.insert(position, server);
    }
}

void Store::remove_mail_server(const std::string& host) {
    run(statements_.remove_mail_server, host);
    std::erase_if(configuration_.mail_servers,
                  [&](const MailServer& server) { return server.host == host; });
}

std::vector<Profile>::const_iterator Store::profile_position(std::string_view name) const {
    return std::ranges::lower_bound(configuration_.profiles, name, walks_before, &Profile::name);
}

const Profile* Store::find_profile(std::string_view name) const {
    const auto position = profile_position(name);
    return position != configuration_.profiles.end() && position->name == name ? &*position : nullptr;
}

Profile* Store::profile_in_memory(std::string_view name) {
    return const_cast<Profile*>(std::as_const(*this).find_profile(name));
}

const MailServer* Store::find_mail_server(std::string_view host) const {
    const auto& servers = configuration_.mail_servers;
    const auto position = std::ranges::lower_bound(servers, host, {}, &MailServer::host);
    return position != servers.end() && position->host == host ? &*position : nullptr;
}

std::uint32_t Store::next_entry(const std::string& profile, ProfileList list) const {
    const auto next = next_entries_.find({profile, list});
    return next == next_entries_.end() ? 1 : next->second;
}

}  // namespace callhome::service
