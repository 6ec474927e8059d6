#include "store/schema.h"

#include <SQLiteCpp/VariadicBind.h>
#include <fmt/format.h>

#include <array>

#include "protocol/records/destination_profile.h"

namespace callhome::service {
namespace {

constexpr const char* own_tables = R"sql(
CREATE TABLE IF NOT EXISTS setting (
    name TEXT PRIMARY KEY,
    value INTEGER NOT NULL
) WITHOUT ROWID;

CREATE TABLE IF NOT EXISTS contact (
    name TEXT PRIMARY KEY,
    value TEXT NOT NULL
) WITHOUT ROWID;
)sql";

// The tables of one copy of the shared configuration; {} is the copy's prefix. An index given to an entry
// is never given again while its list lives, so the next one is kept beside the entries: the highest may
// have been removed.
constexpr std::string_view copy_tables = R"sql(
CREATE TABLE IF NOT EXISTS {}profile (
    name TEXT PRIMARY KEY,
    built_in INTEGER NOT NULL DEFAULT 0,
    transport_methods INTEGER NOT NULL,
    format INTEGER NOT NULL,
    message_size INTEGER NOT NULL,
    message_level INTEGER NOT NULL
) WITHOUT ROWID;

CREATE TABLE IF NOT EXISTS {}profile_entry (
    profile TEXT NOT NULL REFERENCES {}profile (name) ON DELETE CASCADE,
    list INTEGER NOT NULL,
    entry INTEGER NOT NULL,
    text TEXT NOT NULL,
    PRIMARY KEY (profile, list, entry)
) WITHOUT ROWID;

CREATE TABLE IF NOT EXISTS {}profile_next_entry (
    profile TEXT NOT NULL REFERENCES {}profile (name) ON DELETE CASCADE,
    list INTEGER NOT NULL,
    entry INTEGER NOT NULL,
    PRIMARY KEY (profile, list)
) WITHOUT ROWID;

CREATE TABLE IF NOT EXISTS {}mail_settings (
    only_row INTEGER PRIMARY KEY CHECK (only_row = 1),
    sender TEXT NOT NULL,
    reply_to TEXT NOT NULL,
    return_receipt TEXT NOT NULL,
    smtp_server TEXT NOT NULL,
    address_type INTEGER NOT NULL,
    port INTEGER NOT NULL,
    vrf_name TEXT NOT NULL,
    vrf_id INTEGER NOT NULL
);

CREATE TABLE IF NOT EXISTS {}mail_server (
    host TEXT PRIMARY KEY,
    address_type INTEGER NOT NULL,
    port INTEGER NOT NULL,
    priority INTEGER NOT NULL,
    vrf_name TEXT NOT NULL,
    vrf_id INTEGER NOT NULL
) WITHOUT ROWID;

CREATE TABLE IF NOT EXISTS {}http_settings (
    only_row INTEGER PRIMARY KEY CHECK (only_row = 1),
    proxy_server TEXT NOT NULL,
    proxy_address_type INTEGER NOT NULL,
    proxy_port INTEGER NOT NULL,
    proxy_enabled INTEGER NOT NULL,
    vrf_name TEXT NOT NULL
);

CREATE TABLE IF NOT EXISTS {}periodic_inventory (
    only_row INTEGER PRIMARY KEY CHECK (only_row = 1),
    notification INTEGER NOT NULL,
    time_period INTEGER NOT NULL,
    time_of_day INTEGER NOT NULL
);

CREATE TABLE IF NOT EXISTS {}user_command (
    entry INTEGER PRIMARY KEY,
    alert_group TEXT NOT NULL,
    command TEXT NOT NULL,
    UNIQUE (alert_group, command)
);

CREATE TABLE IF NOT EXISTS {}user_command_next_entry (
    only_row INTEGER PRIMARY KEY CHECK (only_row = 1),
    entry INTEGER NOT NULL
);
)sql";

// A table stands behind those that it refers to.
constexpr std::array copy_table_names{
    "profile",       "profile_entry",      "profile_next_entry", "mail_settings",           "mail_server",
    "http_settings", "periodic_inventory", "user_command",       "user_command_next_entry",
};

struct BuiltInProfile {
    const char* name;
    protocol::MessageFormat format;
    unsigned message_size;  // bytes
    const char* alert_group;
};

constexpr std::array built_in_profiles{
    BuiltInProfile{"full_txt", protocol::MessageFormat::full_text, 2'500'000, "all"},
    BuiltInProfile{"short_txt", protocol::MessageFormat::short_text, 4'000, "all"},
    BuiltInProfile{"ZUVA-profile", protocol::MessageFormat::xml, 5'000'000, "ZUVA-TAC"},
};

void create_profile(SQLite::Database& connection, const BuiltInProfile& profile) {
    SQLite::Statement row(connection,
                          "INSERT INTO profile (name, built_in, transport_methods, format, message_size, "
                          "message_level) VALUES (?, 1, ?, ?, ?, 0) ON CONFLICT DO NOTHING");
    SQLite::bind(row, profile.name, static_cast<int>(protocol::transport_email),
                 static_cast<int>(profile.format), profile.message_size);
    if (row.exec() == 0) {
        return;  // It exists; a group that was taken from it since must not come back.
    }
    const int list = static_cast<int>(ProfileList::alert_groups);
    SQLite::Statement group(connection,
                            "INSERT INTO profile_entry (profile, list, entry, text) VALUES (?, ?, 1, ?)");
    SQLite::bind(group, profile.name, list, profile.alert_group);
    group.exec();
    SQLite::Statement next(connection,
                           "INSERT INTO profile_next_entry (profile, list, entry) VALUES (?, ?, 2)");
    SQLite::bind(next, profile.name, list);
    next.exec();
}

}  // namespace

std::string for_copy(std::string_view prefix, std::string_view sql) {
    constexpr std::string_view place = "{}";
    std::string text(sql);
    for (std::size_t at = text.find(place); at != std::string::npos; at = text.find(place, at)) {
        text.replace(at, place.size(), prefix);
        at += prefix.size();
    }
    return text;
}

void create_configuration_tables(SQLite::Database& connection) {
    SQLite::Transaction transaction(connection);
    connection.exec(own_tables);
    connection.exec(for_copy(effective_prefix, copy_tables));
    connection.exec(for_copy(pending_prefix, copy_tables));
    for (const BuiltInProfile& profile : built_in_profiles) {
        create_profile(connection, profile);
    }
    transaction.commit();
}

void empty_copy(SQLite::Database& connection, std::string_view prefix) {
    for (const char* table : copy_table_names) {
        connection.exec(fmt::format("DELETE FROM {}{}", prefix, table));
    }
}

void replace_copy(SQLite::Database& connection, std::string_view prefix, std::string_view source_prefix) {
    empty_copy(connection, prefix);
    for (const char* table : copy_table_names) {
        connection.exec(
            fmt::format("INSERT INTO {0}{2} SELECT * FROM {1}{2}", prefix, source_prefix, table));
    }
}

void raise_next_entries(SQLite::Database& connection, std::string_view prefix,
                        std::string_view source_prefix) {
    connection.exec(
        fmt::format("INSERT INTO {0}profile_next_entry (profile, list, entry) "
                    "SELECT profile, list, entry FROM {1}profile_next_entry "
                    "WHERE profile IN (SELECT name FROM {0}profile) "
                    "ON CONFLICT (profile, list) DO UPDATE SET entry = max(entry, excluded.entry)",
                    prefix, source_prefix));
    connection.exec(
        fmt::format("INSERT INTO {0}user_command_next_entry (only_row, entry) "
                    "SELECT only_row, entry FROM {1}user_command_next_entry WHERE true "
                    "ON CONFLICT (only_row) DO UPDATE SET entry = max(entry, excluded.entry)",
                    prefix, source_prefix));
}

}  // namespace callhome::service
