// The command line of callhomed.
#pragma once

#include <chrono>
#include <filesystem>
#include <optional>
#include <string>
#include <variant>

#include <spdlog/common.h>

#include "delivery/settings.h"
#include "events/duplicate_throttle.h"
#include "signatures/signing.h"

namespace callhome::service {

struct Options {
    bool system = false;
    std::filesystem::path socket;
    std::filesystem::path state_folder;
    bool exit_when_idle = false;
    std::optional<int> ready_descriptor;
    spdlog::level::level_enum log_level = spdlog::level::info;
    DeliverySettings delivery;
    std::chrono::seconds storage_check{10};  // between tries of a database that has failed
    std::filesystem::path log_socket;        // where signatures get log lines
    std::string command_user = "nobody";     // who runs the commands of messages where this is root
    std::chrono::seconds command_limit{30};
    TrustSettings trust;
    ThrottleSettings throttle;
};

enum ExitStatus : int {
    exit_done = 0,
    exit_failed = 1,
    exit_usage = 2,
    exit_already_running = 3,
};

// The options with their defaults filled in, or the status to exit with (help, version or an error was
// printed).
std::variant<Options, ExitStatus> parse_options(int argument_count, const char* const* arguments);

}  // namespace callhome::service
