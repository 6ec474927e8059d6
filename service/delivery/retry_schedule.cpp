#include "delivery/retry_schedule.h"

#include <algorithm>

namespace callhome::service {

std::optional<std::chrono::seconds> pause_after(unsigned attempts, const RetryLimits& limits) {
    std::chrono::seconds pause = std::min(limits.first_pause, limits.longest_pause);
    std::chrono::seconds waited{0};
    for (unsigned attempt = 1; attempt < attempts && waited < limits.give_up_after; ++attempt) {
        waited += pause;
        pause = std::min(2 * pause, limits.longest_pause);
    }
    return waited + pause > limits.give_up_after ? std::nullopt : std::optional(pause);
}

}  // namespace callhome::service
