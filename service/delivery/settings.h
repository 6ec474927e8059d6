// The limits of delivery. The defaults are those of the service; tests make them small.
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <optional>
#include <vector>

#include "delivery/vrf_names.h"
#include "protocol/marker.h"

namespace callhome::service {

// Seconds since 1970 by the wall clock: times in the queue outlive the process.
inline std::int64_t wall_clock() {
    const auto since_1970 = std::chrono::system_clock::now().time_since_epoch();
    return std::chrono::duration_cast<std::chrono::seconds>(since_1970).count();
}

// Milliseconds, likewise.
std::int64_t wall_clock_milliseconds();

std::optional<std::uint64_t> free_disk_bytes(const std::filesystem::path& folder);

// How long one transfer with one server may take. The total alone does not bound a server that falls
// silent after the end of the mail, hence the limit of a single response.
struct TransferLimits {
    std::chrono::milliseconds connect{10'000};
    std::chrono::milliseconds total{120'000};
    std::chrono::seconds response{20};  // whole seconds, at least 1
    // A connection is kept for the next message: for so long without one, which is what other senders of
    // mail allow and less than any server does; for so many in all, the number at which servers commonly
    // draw the line; and not for longer than this, since names and servers change.
    std::chrono::milliseconds keep_idle{3'000};
    unsigned keep_for_messages = 100;
    std::chrono::milliseconds keep_for{300'000};
    // For the answer to the goodbye, which may hold up the end of the service.
    std::chrono::milliseconds goodbye{500};
    // PEM file of those who vouch for servers; empty for those that the system believes.
    std::filesystem::path authorities;
    // Where the settings of single mail servers and proxies are laid down; empty for nowhere.
    std::filesystem::path server_folder;
    // Who is asked for names within a VRF; empty for those whom the system asks.
    std::vector<NameServer> name_servers;
};

// A random number from 0 to the given one, both included.
std::int64_t random_up_to(std::int64_t highest);

// Pauses double from the first to the longest; when they come to `give_up_after` in all, the receiver is
// given up. Counting pauses instead of reading a clock keeps a switch that wakes in 1970 and is then set
// right from giving up at once. What was put off together shall not come back together: each pause is cut
// by a random part of itself.
struct RetryLimits {
    std::chrono::seconds first_pause{60};
    std::chrono::seconds longest_pause{3600};
    std::chrono::seconds give_up_after{std::chrono::days{1}};
    unsigned most_cut = 25;  // percent of a pause
    std::function<std::int64_t(std::int64_t)> random = random_up_to;
};

// What may wait in the queue. Where a message finds no room, the oldest of the least grave ones that are
// not graver than it goes.
struct QueueLimits {
    std::size_t messages = 100'000;
    std::uint64_t bytes = std::uint64_t{256} << 20U;
    std::uint64_t free_disk = std::uint64_t{16} << 20U;  // bytes that are left to others
    // Bytes that the disk of this folder has to spare; nothing where that cannot be found out.
    std::function<std::optional<std::uint64_t>(const std::filesystem::path&)> free_bytes = free_disk_bytes;
};

struct DeliverySettings {
    TransferLimits transfer;
    RetryLimits retry;
    QueueLimits queue;
    std::size_t workers = 12;                         // transfers at the same time
    std::size_t workers_per_host = 4;                 // so many of them to one
    std::chrono::milliseconds server_rest{60'000};    // of a mail server that is down, if there is another
    std::chrono::milliseconds answer_within{45'000};  // of a request, whatever the servers do
    std::chrono::milliseconds clock_check{60'000};    // longest wait until the clock is read again
    // From one write to the disk to the next, so that what comes meanwhile goes together. Nobody who waits
    // for an answer notices it.
    std::chrono::milliseconds between_recordings{2};
    std::size_t finished_messages_kept = 1000;  // with no receiver waiting any more
    std::filesystem::path marker = protocol::processing_marker;
    std::function<std::int64_t()> now = wall_clock;
    std::function<std::int64_t()> now_milliseconds = wall_clock_milliseconds;
};

}  // namespace callhome::service
