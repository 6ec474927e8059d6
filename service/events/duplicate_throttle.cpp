#include "events/duplicate_throttle.h"

#include <algorithm>

namespace callhome::service {

using std::chrono::milliseconds;

bool DuplicateThrottle::is_recent(const Entry& entry) const {
    return entry.is_out && settings_.time() - entry.went_out < settings_.window;
}

std::optional<Repeats> DuplicateThrottle::count(const EventIdentity& event) {
    const auto found = events_.find(event);
    if (found == events_.end() || !is_recent(found->second)) {
        return std::nullopt;
    }
    Entry& entry = found->second;
    ++entry.repeats;
    ++counted_;
    return Repeats{entry.repeats, settings_.time() - entry.since};
}

// What has nothing to tell any more goes first.
void DuplicateThrottle::make_room() {
    if (events_.size() < settings_.most_remembered) {
        return;
    }
    std::erase_if(events_, [this](const auto& entry) {
        return entry.second.repeats == 0 && !is_recent(entry.second);
    });
    while (!events_.empty() && events_.size() >= settings_.most_remembered) {
        events_.erase(
            std::ranges::min_element(events_, {}, [](const auto& entry) { return entry.second.went_out; }));
    }
}

Repeats DuplicateThrottle::let_go(const EventIdentity& event) {
    const milliseconds now = settings_.time();
    const auto found = events_.find(event);
    Repeats told;
    if (found != events_.end()) {
        told = {found->second.repeats, now - found->second.since};
        events_.erase(found);
    }
    make_room();
    if (settings_.most_remembered > 0) {
        events_.emplace(event, Entry{.went_out = now, .since = now});
    }
    return told;
}

void DuplicateThrottle::take_back(const EventIdentity& event, const Repeats& told) {
    const auto found = events_.find(event);
    if (found == events_.end()) {
        return;
    }
    Entry& entry = found->second;
    if (told.count > 0) {
        entry.since = entry.went_out - told.ago;
    }
    entry.repeats += told.count;
    entry.is_out = false;
    if (entry.repeats == 0) {
        events_.erase(found);
    }
}

}  // namespace callhome::service
