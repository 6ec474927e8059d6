// How events become messages. The defaults are those of the service; tests make them small.
#pragma once

#include <chrono>
#include <cstddef>

#include "commands/command_series.h"
#include "events/duplicate_throttle.h"

namespace callhome::service {

struct EventSettings {
    ThrottleSettings throttle;
    CommandSettings commands;  // of the operator's, whose output goes with the messages of a group
    // Within the time that whoever raises an alert waits for its reply.
    SeriesLimits command_limits{.time = std::chrono::seconds(20)};
    std::size_t commands_at_once = 4;  // messages whose commands run; others wait for their turn
    std::size_t most_open = 1000;      // events whose message nobody has yet; more are refused
};

}  // namespace callhome::service
