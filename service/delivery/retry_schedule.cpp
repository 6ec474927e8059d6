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
    if (waited + pause > limits.give_up_after) {
        return std::nullopt;
    }
    constexpr std::int64_t whole = 100;
    const std::int64_t most_cut = pause.count() * limits.most_cut / whole;
    return pause - std::chrono::seconds(limits.random(most_cut));
}

}  // namespace callhome::service
