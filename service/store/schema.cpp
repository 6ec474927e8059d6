#include "store/schema.h"

#include <SQLiteCpp/VariadicBind.h>

#include <array>

#include "protocol/records/destination_profile.h"

namespace callhome::service {
namespace {

// An index given to an entry is never given again while its profile lives, so the next one is kept
// beside the entries: the highest may have been removed.
constexpr const char* tables = R"sql(
CREATE TABLE IF NOT EXISTS setting (
    name TEXT PRIMARY KEY,
    value INTEGER NOT NULL
) WITHOUT ROWID;

CREATE TABLE IF NOT EXISTS contact (
    name TEXT PRIMARY KEY,
    value TEXT NOT NULL
) WITHOUT ROWID;

CREATE TABLE IF NOT EXISTS profile (
    name TEXT PRIMARY KEY,
    built_in INTEGER NOT NULL DEFAULT 0,
    transport_methods INTEGER NOT NULL,
    format INTEGER NOT NULL,
    message_size INTEGER NOT NULL,
    message_level INTEGER NOT NULL
) WITHOUT ROWID;

CREATE TABLE IF NOT EXISTS profile_entry (
    profile TEXT NOT NULL REFERENCES profile (name) ON DELETE CASCADE,
    list INTEGER NOT NULL,
    entry INTEGER NOT NULL,
    text TEXT NOT NULL,
    PRIMARY KEY (profile, list, entry)
) WITHOUT ROWID;

CREATE TABLE IF NOT EXISTS profile_next_entry (
    profile TEXT NOT NULL REFERENCES profile (name) ON DELETE CASCADE,
    list INTEGER NOT NULL,
    entry INTEGER NOT NULL,
    PRIMARY KEY (profile, list)
) WITHOUT ROWID;

CREATE TABLE IF NOT EXISTS mail_settings (
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

CREATE TABLE IF NOT EXISTS mail_server (
    host TEXT PRIMARY KEY,
    address_type INTEGER NOT NULL,
    port INTEGER NOT NULL,
    priority INTEGER NOT NULL,
    vrf_name TEXT NOT NULL,
    vrf_id INTEGER NOT NULL
) WITHOUT ROWID;
)sql";

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

void create_configuration_tables(SQLite::Database& connection) {
    SQLite::Transaction transaction(connection);
    connection.exec(tables);
    for (const BuiltInProfile& profile : built_in_profiles) {
        create_profile(connection, profile);
    }
    transaction.commit();
}

}  // namespace callhome::service
