// Bringing up the user's own service.
#pragma once

#include <filesystem>
#include <functional>

#include "deadline.h"
#include "platform/reference.h"

namespace callhome::platform {

// The file that takes the standard error of the user's own service.
std::filesystem::path log_of(const ServiceLocation& location);

// Whether the service can be talked to by now. Throws LinkError (ETIMEDOUT) behind the deadline.
using Answers = std::function<bool(const Deadline&)>;

// Starts `location.program`, detached from this process and its terminal, and returns when `answers`
// says that it can be talked to. Shells that come here at the same time take turns, so that one starts
// the service and the others find it. Throws LinkError (ECONNREFUSED) when it does not come up in
// 10 seconds; its log then says why.
void start_service(const ServiceLocation& location, const Deadline& deadline, const Answers& answers);

}  // namespace callhome::platform
