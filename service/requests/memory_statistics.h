// What the parts of the service hold, in memory and in the store.
#pragma once

#include <string>

#include "requests/call.h"

namespace callhome::service {

// One line a part; with detail, its own parts below it.
std::string memory_statistics_text(const Call& call, bool with_detail);

}  // namespace callhome::service
