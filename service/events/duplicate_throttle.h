// Which events have gone out lately: those that repeat them are counted.
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <ctime>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <tuple>

namespace callhome::service {

// Since this machine was started, the time that it slept included; no clock that is set moves it.
inline std::chrono::milliseconds time_since_boot() {
    timespec now{};
    ::clock_gettime(CLOCK_BOOTTIME, &now);
    return std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::seconds(now.tv_sec) +
                                                                 std::chrono::nanoseconds(now.tv_nsec));
}

struct EventIdentity {
    std::string alert;
    std::string source;
    std::string text;

    bool operator<(const EventIdentity& other) const {
        return std::tie(alert, source, text) < std::tie(other.alert, other.source, other.text);
    }
};

struct ThrottleSettings {
    std::chrono::milliseconds window = std::chrono::hours(2);
    std::size_t most_remembered = 1000;  // beyond them, the event that went out first is forgotten
    std::function<std::chrono::milliseconds()> time = time_since_boot;
};

// How often an event came again since its last message, and how long ago that one was.
struct Repeats {
    std::size_t count = 0;
    std::chrono::milliseconds ago{0};
};

// What it knows is gone with it: behind a restart of the service an event goes out once more.
class DuplicateThrottle {
 public:
    explicit DuplicateThrottle(ThrottleSettings settings) : settings_(std::move(settings)) {}

    DuplicateThrottle(const DuplicateThrottle&) = delete;
    DuplicateThrottle& operator=(const DuplicateThrottle&) = delete;

    // Counts an event that went out within the window: how often it has come again, and since when. Nothing
    // for any other.
    std::optional<Repeats> count(const EventIdentity& event);

    // The event goes out, and what is given is told with it: it counts from now on.
    Repeats let_go(const EventIdentity& event);

    // It did not go out after all: the next one is no duplicate, and is told what this one would have been.
    void take_back(const EventIdentity& event, const Repeats& told);

    std::chrono::milliseconds window() const { return settings_.window; }

    std::size_t remembered() const { return events_.size(); }
    std::size_t counted() const { return counted_; }  // of all events, told or not

 private:
    struct Entry {
        std::chrono::milliseconds went_out;
        std::chrono::milliseconds since;  // counts from here
        std::uint64_t turn = 0;           // in which it went out
        std::size_t repeats = 0;
        bool is_out = true;  // false where its message could not be kept
    };
    using Events = std::map<EventIdentity, Entry>;
    using Turns = std::map<std::uint64_t, Events::iterator>;

    bool is_recent(const Entry& entry) const;
    Turns& turns_of(const Entry& entry) { return entry.repeats == 0 ? quiet_ : telling_; }
    void add_repeats(Events::iterator event, std::size_t repeats);
    void forget(Events::iterator event);
    void make_room();

    const ThrottleSettings settings_;
    Events events_;
    Turns quiet_;    // those that have nothing to tell
    Turns telling_;  // the others
    std::uint64_t turn_ = 0;
    std::size_t counted_ = 0;
};

}  // namespace callhome::service
