// What one copy of the shared configuration holds, as it is read from its tables.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <utility>

#include <SQLiteCpp/SQLiteCpp.h>

#include "store/configuration.h"
#include "store/schema.h"

namespace callhome::service {

// The index that the next entry of a list gets; 1 in a list that is not there.
struct NextEntries {
    std::map<std::pair<std::string, ProfileList>, std::uint32_t> of_profiles;
    std::uint32_t of_user_commands = 1;
};

struct CopyContents {
    SharedConfiguration configuration;
    NextEntries next_entries;
};

CopyContents read_copy(SQLite::Database& connection, std::string_view prefix);

}  // namespace callhome::service
