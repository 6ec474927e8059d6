// What the requests about diagnostic signatures have in common.
#pragma once

#include <cstdint>

#include "callhome/context.h"

namespace callhome::library {

// True when an exec command is not to go on: it says so on the standby supervisor, and in the "no" form,
// which it does not have.
bool is_refused(const CommandContext& ctx);

// False on the standby supervisor, having said so.
bool is_on_active_sup(const CommandContext& ctx);

// Says on standard error why the service refused, if it did.
void report_result(std::uint32_t result);

}  // namespace callhome::library
