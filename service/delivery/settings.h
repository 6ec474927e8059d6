// The limits of delivery. The defaults are those of the service; tests make them small.
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <functional>

#include "protocol/marker.h"

namespace callhome::service {

// Seconds since 1970 by the wall clock: times in the queue outlive the process.
inline std::int64_t wall_clock() {
    const auto since_1970 = std::chrono::system_clock::now().time_since_epoch();
    return std::chrono::duration_cast<std::chrono::seconds>(since_1970).count();
}

// How long one transfer with one server may take. The total alone does not bound a server that falls
// silent after the end of the mail, hence the limit of a single response.
struct TransferLimits {
    std::chrono::milliseconds connect{10'000};
    std::chrono::milliseconds total{120'000};
    std::chrono::seconds response{20};  // whole seconds, at least 1
    // PEM file of those who vouch for HTTPS servers; empty for those that the system believes.
    std::filesystem::path authorities;
};

// Pauses double from the first to the longest; when they come to `give_up_after` in all, the receiver is
// given up. Counting pauses instead of reading a clock keeps a switch that wakes in 1970 and is then set
// right from giving up at once.
struct RetryLimits {
    std::chrono::seconds first_pause{60};
    std::chrono::seconds longest_pause{3600};
    std::chrono::seconds give_up_after{std::chrono::days{3}};
};

struct DeliverySettings {
    TransferLimits transfer;
    RetryLimits retry;
    std::size_t workers = 4;                          // transfers at the same time
    std::chrono::milliseconds answer_within{45'000};  // of a request, whatever the servers do
    std::chrono::milliseconds clock_check{60'000};    // longest wait until the clock is read again
    std::size_t finished_messages_kept = 1000;        // with no receiver waiting any more
    std::size_t most_waiting_messages = 10'000;       // more than these are refused
    std::filesystem::path marker = protocol::processing_marker;
    std::function<std::int64_t()> now = wall_clock;
};

}  // namespace callhome::service
