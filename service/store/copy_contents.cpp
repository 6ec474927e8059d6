#include "store/copy_contents.h"

#include <algorithm>

#include "store/configuration_order.h"

namespace callhome::service {
namespace {

// The rows of one query against the tables of a copy.
class Rows {
 public:
    Rows(SQLite::Database& connection, std::string_view prefix, std::string_view query)
        : statement_(connection, for_copy(prefix, query)) {}

    bool next() { return statement_.executeStep(); }
    std::string text(int column) const { return statement_.getColumn(column).getString(); }
    std::uint32_t number(int column) const { return statement_.getColumn(column).getUInt(); }
    bool flag(int column) const { return statement_.getColumn(column).getInt() != 0; }
    template <typename Enumeration>
    Enumeration one_of(int column) const {
        return static_cast<Enumeration>(statement_.getColumn(column).getInt());
    }

 private:
    mutable SQLite::Statement statement_;
};

struct Reader {
    SQLite::Database& connection;
    std::string_view prefix;

    Rows rows(std::string_view query) const { return {connection, prefix, query}; }
};

std::vector<Profile> read_profiles(const Reader& reader) {
    std::vector<Profile> profiles;
    Rows row = reader.rows(
        "SELECT name, built_in, transport_methods, format, message_size, message_level FROM {}profile");
    while (row.next()) {
        profiles.push_back({
            .name = row.text(0),
            .built_in = row.flag(1),
            .transport_methods = row.number(2),
            .format = row.one_of<protocol::MessageFormat>(3),
            .message_size = row.number(4),
            .message_level = row.one_of<std::int8_t>(5),
            .email_addresses = {},
            .urls = {},
            .alert_groups = {},
        });
    }
    std::ranges::sort(profiles, walks_before, &Profile::name);
    return profiles;
}

void read_profile_entries(const Reader& reader, std::vector<Profile>& profiles) {
    Rows row = reader.rows("SELECT profile, list, entry, text FROM {}profile_entry ORDER BY entry");
    while (row.next()) {
        const std::string name = row.text(0);
        const auto profile = std::ranges::lower_bound(profiles, name, walks_before, &Profile::name);
        if (profile == profiles.end() || profile->name != name) {
            continue;
        }
        switch (row.one_of<ProfileList>(1)) {
            case ProfileList::email_addresses:
                profile->email_addresses.push_back({row.number(2), row.text(3)});
                break;
            case ProfileList::urls:
                profile->urls.push_back({row.number(2), row.text(3)});
                break;
            case ProfileList::alert_groups:
                profile->alert_groups.push_back({row.number(2), row.text(3)});
                break;
        }
    }
}

MailSettings read_mail_settings(const Reader& reader) {
    Rows row = reader.rows(
        "SELECT sender, reply_to, return_receipt, smtp_server, address_type, port, vrf_name, vrf_id "
        "FROM {}mail_settings");
    if (!row.next()) {
        return {};
    }
    return {.from = row.text(0),
            .reply_to = row.text(1),
            .return_receipt = row.text(2),
            .smtp_server = row.text(3),
            .address_type = row.one_of<protocol::AddressType>(4),
            .port = row.number(5),
            .vrf_name = row.text(6),
            .vrf_id = row.number(7)};
}

std::vector<MailServer> read_mail_servers(const Reader& reader) {
    std::vector<MailServer> servers;
    Rows row = reader.rows(
        "SELECT host, address_type, port, priority, vrf_name, vrf_id FROM {}mail_server ORDER BY host");
    while (row.next()) {
        servers.push_back({.host = row.text(0),
                           .address_type = row.one_of<protocol::AddressType>(1),
                           .port = row.number(2),
                           .priority = row.number(3),
                           .vrf_name = row.text(4),
                           .vrf_id = row.number(5)});
    }
    return servers;
}

HttpSettings read_http_settings(const Reader& reader) {
    Rows row = reader.rows(
        "SELECT proxy_server, proxy_address_type, proxy_port, proxy_enabled, vrf_name FROM "
        "{}http_settings");
    if (!row.next()) {
        return {};
    }
    return {.proxy = {.server = row.text(0),
                      .address_type = row.one_of<protocol::AddressType>(1),
                      .port = row.number(2),
                      .enabled = row.flag(3)},
            .vrf_name = row.text(4)};
}

PeriodicInventory read_periodic_inventory(const Reader& reader) {
    Rows row = reader.rows("SELECT notification, time_period, time_of_day FROM {}periodic_inventory");
    if (!row.next()) {
        return {};
    }
    return {.notification = row.flag(0), .time_period = row.number(1), .time_of_day = row.number(2)};
}

std::vector<UserCommand> read_user_commands(const Reader& reader) {
    std::vector<UserCommand> commands;
    Rows row = reader.rows("SELECT entry, alert_group, command FROM {}user_command ORDER BY entry");
    while (row.next()) {
        commands.push_back({.index = row.number(0), .group = row.text(1), .command = row.text(2)});
    }
    return commands;
}

NextEntries read_next_entries(const Reader& reader) {
    NextEntries next;
    Rows row = reader.rows("SELECT profile, list, entry FROM {}profile_next_entry");
    while (row.next()) {
        next.of_profiles[{row.text(0), row.one_of<ProfileList>(1)}] = row.number(2);
    }
    Rows commands = reader.rows("SELECT entry FROM {}user_command_next_entry");
    if (commands.next()) {
        next.of_user_commands = commands.number(0);
    }
    return next;
}

}  // namespace

CopyContents read_copy(SQLite::Database& connection, std::string_view prefix) {
    const Reader reader{connection, prefix};
    CopyContents contents;
    contents.configuration.profiles = read_profiles(reader);
    read_profile_entries(reader, contents.configuration.profiles);
    contents.configuration.mail = read_mail_settings(reader);
    contents.configuration.mail_servers = read_mail_servers(reader);
    contents.configuration.http = read_http_settings(reader);
    contents.configuration.periodic_inventory = read_periodic_inventory(reader);
    contents.configuration.user_commands = read_user_commands(reader);
    contents.next_entries = read_next_entries(reader);
    return contents;
}

}  // namespace callhome::service
