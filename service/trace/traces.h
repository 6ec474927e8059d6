// What the service has done lately, kept in memory for support: requests, deliveries and whatever else it
// has logged. Bounded in entries and bytes; the oldest go first, and one kind never pushes another out.
#pragma once

#include <sys/types.h>

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>

#include "protocol/status.h"

namespace callhome::service {

struct TracedRequest {
    std::uint32_t opcode = 0;
    std::uint32_t operation = 0;
    protocol::Status status = protocol::Status::ok;
    uid_t user = 0;
    std::chrono::microseconds time{0};  // from its arrival to its answer
};

enum class TracedLevel : std::uint8_t { info, warning, error };

struct TraceLimits {
    std::size_t requests = 512;      // that change something, and as many that read
    std::size_t lines = 1024;        // of each kind
    std::size_t bytes = 128 * 1024;  // of the texts of each kind
    std::size_t longest_line = 512;  // bytes; what is longer is cut
};

// Used from all threads.
class Traces {
 public:
    using TimePoint = std::chrono::system_clock::time_point;
    using Now = std::function<TimePoint()>;

    explicit Traces(const TraceLimits& limits = {}, Now now = std::chrono::system_clock::now);

    // Reads that follow each other and differ in nothing but their time are one entry: a walk through a
    // list would leave room for nothing else.
    void note_request(const TracedRequest& request);
    // The text is made fit for one line.
    void note_line(TracedLevel level, TimePoint at, std::string_view text);

    // The lines of a buffer of protocol/records/trace.h, the oldest first; nothing when there is none of
    // that name.
    std::optional<std::string> text_of(std::string_view buffer) const;

    // What is held.
    struct Size {
        std::size_t entries = 0;
        std::size_t bytes = 0;
    };
    Size size_of_changes() const;
    Size size_of_reads() const;
    Size size_of_lines() const;
    Size size_of_errors() const;

 private:
    struct Entry {
        std::uint64_t number;  // of all entries: their order, whatever the clock does
        TimePoint at;
    };
    struct RequestEntry : Entry {
        TracedRequest request;  // with the longest time of all
        std::uint32_t count = 1;
        TimePoint last_at;
    };
    struct LineEntry : Entry {
        TracedLevel level;
        std::string text;
    };
    struct Lines {
        std::deque<LineEntry> entries;
        std::size_t bytes = 0;
    };
    struct NumberedLine {
        std::uint64_t number;
        std::string text;
    };

    static std::string text_of(const RequestEntry& entry);
    static std::string text_of(const LineEntry& entry);
    static Size size_of(const Lines& lines);
    bool repeats_last_read(const TracedRequest& request) const;

    const TraceLimits limits_;
    const Now now_;
    mutable std::mutex mutex_;
    std::uint64_t count_ = 0;
    std::deque<RequestEntry> changes_;
    std::deque<RequestEntry> reads_;
    Lines lines_;   // of level info
    Lines errors_;  // warnings and errors
};

}  // namespace callhome::service
