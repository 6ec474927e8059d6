// Where the log goes.
#pragma once

#include <spdlog/common.h>

namespace callhome::service {

// To the journal when standard error is connected to it, else to standard error, one line an entry.
void start_log(spdlog::level::level_enum level);

}  // namespace callhome::service
