// The tables of the configuration, and what they hold before anyone has changed anything.
#pragma once

#include <string>
#include <string_view>

#include <SQLiteCpp/SQLiteCpp.h>

namespace callhome::service {

// Rows of the table `setting`.
inline constexpr const char* enabled_setting = "enabled";
inline constexpr const char* traps_setting = "traps enabled";
inline constexpr const char* throttle_setting = "duplicate throttle";
inline constexpr const char* distribution_setting = "distribution";
inline constexpr const char* privacy_level_setting = "privacy level high";
inline constexpr const char* privacy_host_name_setting = "privacy host name";

// Which list of its profile a row of `profile_entry` belongs to. The numbers are in databases.
enum class ProfileList : int {
    email_addresses = 1,
    urls = 2,
    alert_groups = 3,
};

// What the names of the tables of each copy of the shared configuration begin with.
inline constexpr std::string_view effective_prefix;
inline constexpr std::string_view pending_prefix = "pending_";

// `sql` with each "{}profile" and the like made the name of the copy's table.
std::string for_copy(std::string_view prefix, std::string_view sql);

// Creates what is missing, in one transaction. A table that exists is left as it is.
void create_configuration_tables(SQLite::Database& connection);

// Within a transaction of the caller: the tables of a copy lose their rows, or take those of another copy.
void empty_copy(SQLite::Database& connection, std::string_view prefix);
void replace_copy(SQLite::Database& connection, std::string_view prefix, std::string_view source_prefix);

// Within a transaction of the caller: the copy will not give an index that the source has given away.
void raise_next_entries(SQLite::Database& connection, std::string_view prefix,
                        std::string_view source_prefix);

}  // namespace callhome::service
