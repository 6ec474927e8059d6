#include "events/duplicate_throttle.h"

#include <utility>

namespace callhome::service {

using std::chrono::milliseconds;

bool DuplicateThrottle::is_recent(const Entry& entry) const {
    return entry.is_out && settings_.time() - entry.went_out < settings_.window;
}

void DuplicateThrottle::add_repeats(Events::iterator event, std::size_t repeats) {
    Entry& entry = event->second;
    turns_of(entry).erase(entry.turn);
    entry.repeats += repeats;
    turns_of(entry).emplace(entry.turn, event);
}

void DuplicateThrottle::forget(Events::iterator event) {
    turns_of(event->second).erase(event->second.turn);
    events_.erase(event);
}

std::optional<Repeats> DuplicateThrottle::count(const EventIdentity& event) {
    const auto found = events_.find(event);
    if (found == events_.end() || !is_recent(found->second)) {
        return std::nullopt;
    }
    add_repeats(found, 1);
    ++counted_;
    return Repeats{found->second.repeats, settings_.time() - found->second.since};
}

// What has nothing to tell any more goes first. Time never goes back: who went out first is in front.
void DuplicateThrottle::make_room() {
    if (events_.size() < settings_.most_remembered) {
        return;
    }
    while (!quiet_.empty() && !is_recent(quiet_.begin()->second->second)) {
        forget(quiet_.begin()->second);
    }
    while (!events_.empty() && events_.size() >= settings_.most_remembered) {
        const bool is_quiet =
            telling_.empty() || (!quiet_.empty() && quiet_.begin()->first < telling_.begin()->first);
        forget((is_quiet ? quiet_ : telling_).begin()->second);
    }
}

Repeats DuplicateThrottle::let_go(const EventIdentity& event) {
    const milliseconds now = settings_.time();
    const auto found = events_.find(event);
    Repeats told;
    if (found != events_.end()) {
        told = {found->second.repeats, now - found->second.since};
        forget(found);
    }
    make_room();
    if (settings_.most_remembered > 0) {
        const auto added =
            events_.emplace(event, Entry{.went_out = now, .since = now, .turn = ++turn_}).first;
        quiet_.emplace(turn_, added);
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
    add_repeats(found, told.count);
    entry.is_out = false;
    if (entry.repeats == 0) {
        forget(found);
    }
}

}  // namespace callhome::service
