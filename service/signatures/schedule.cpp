#include "signatures/schedule.h"

#include <algorithm>

namespace callhome::service {
namespace {

constexpr std::int64_t soon = 60;       // seconds
constexpr std::int64_t a_day = 86'400;  // seconds

}  // namespace

Schedule::Schedule(asio::io_context& io, const DeliverySettings& settings,
                   std::function<void(std::uint32_t id)> fire)
    : settings_(settings), fire_(std::move(fire)), timer_(io) {}

std::optional<std::int64_t> Schedule::next_due(const Item& item) {
    if (const auto* timer = std::get_if<TimerEvent>(&item.event)) {
        return item.handled + timer->period.count();
    }
    return item.cron ? next_time(*item.cron, item.handled) : std::nullopt;
}

// How far what was handled may lie in the future before the clock counts as set back: a timer has only its
// period to keep, but what is due at a time of day is not to come twice on that day.
std::int64_t Schedule::most_ahead(const Item& item) {
    return std::holds_alternative<TimerEvent>(item.event) ? 0 : a_day;
}

Schedule::Item Schedule::item_for(const Entry& entry) const {
    const auto known = std::ranges::find_if(
        items_, [&](const Item& item) { return item.id == entry.id && item.event == entry.event; });
    if (known != items_.end()) {
        return *known;
    }
    Item item{entry.id, entry.event, {}, settings_.now(), {}};
    if (const auto* cron = std::get_if<CronEvent>(&entry.event)) {
        item.cron = read_cron(cron->expression);
    }
    item.due = next_due(item);
    return item;
}

void Schedule::set(const std::vector<Entry>& entries) {
    std::vector<Item> items;
    items.reserve(entries.size());
    for (const Entry& entry : entries) {
        items.push_back(item_for(entry));
    }
    std::erase_if(items, [](const Item& item) { return !item.due; });
    items_ = std::move(items);
    look_later(settings_.now());
}

bool Schedule::due_soon() const {
    const std::int64_t limit = settings_.now() + soon;
    return std::ranges::any_of(items_, [&](const Item& item) { return item.due && *item.due <= limit; });
}

void Schedule::look() {
    const std::int64_t now = settings_.now();
    std::vector<std::uint32_t> due;
    for (Item& item : items_) {
        const bool is_due = item.due && *item.due <= now;
        if (is_due) {
            due.push_back(item.id);
        }
        if (is_due || item.handled - now > most_ahead(item)) {
            item.handled = now;
            item.due = next_due(item);
        }
    }
    look_later(now);
    for (const std::uint32_t id : due) {
        fire_(id);
    }
}

// Clocks jump: the wait is never longer than clock_check.
void Schedule::look_later(std::int64_t now) {
    if (items_.empty()) {
        timer_.cancel();
        return;
    }
    std::chrono::milliseconds time = settings_.clock_check;
    for (const Item& item : items_) {
        if (item.due) {
            const std::chrono::seconds until_due(std::max<std::int64_t>(*item.due - now, 0));
            time = std::min(time, std::chrono::milliseconds(until_due));
        }
    }
    timer_.expires_after(time);
    timer_.async_wait([weak = std::weak_ptr(self_)](const asio::error_code& error) {
        const auto self = weak.lock();
        if (!error && self != nullptr) {
            (*self)->look();
        }
    });
}

}  // namespace callhome::service
