// The tables of the configuration, and what they hold before anyone has changed anything.
#pragma once

#include <SQLiteCpp/SQLiteCpp.h>

namespace callhome::service {

// Rows of the table `setting`.
inline constexpr const char* enabled_setting = "enabled";
inline constexpr const char* traps_setting = "traps enabled";

// Which list of its profile a row of `profile_entry` belongs to. The numbers are in databases.
enum class ProfileList : int {
    email_addresses = 1,
    urls = 2,
    alert_groups = 3,
};

// Creates what is missing, in one transaction. A database that has its tables is left as it is.
void create_configuration_tables(SQLite::Database& connection);

}  // namespace callhome::service
