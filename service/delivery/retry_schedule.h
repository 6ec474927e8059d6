#pragma once

#include <chrono>
#include <optional>

#include "delivery/settings.h"

namespace callhome::service {

// The pause after `attempts` (at least 1) failed ones, cut at random; nothing when it is time to give up.
std::optional<std::chrono::seconds> pause_after(unsigned attempts, const RetryLimits& limits);

}  // namespace callhome::service
