// Where the log goes.
#pragma once

#include <spdlog/common.h>

#include <memory>

#include "trace/traces.h"

namespace callhome::service {

// To the journal when standard error is connected to it, else to standard error, one line an entry.
void start_log(spdlog::level::level_enum level);

// From now on, all but what is for debugging goes into the traces, too, whatever the level of the log.
// Before there is a second thread.
void trace_log(std::shared_ptr<Traces> traces);

}  // namespace callhome::service
