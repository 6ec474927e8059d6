#include "messages/inventory_schedule.h"

#include <algorithm>
#include <ctime>

namespace callhome::service {
namespace {

constexpr std::int64_t seconds_in_day = 86'400;
constexpr std::uint32_t minutes_in_hour = 60;
constexpr std::uint32_t last_minute_of_day = 24 * minutes_in_hour - 1;
constexpr std::uint32_t longest_period = 36'500;  // days; keeps the calendar within its numbers

// The configured time of day, `days` after the local day of `moment`. Where the clocks skip that time, the
// C library takes one an hour beside it.
std::int64_t slot_beside(std::int64_t moment, int days, const PeriodicInventory& settings) {
    ::tzset();
    const auto time = static_cast<std::time_t>(moment);
    std::tm day{};
    if (::localtime_r(&time, &day) == nullptr) {
        return moment + days * seconds_in_day;
    }
    const std::uint32_t minutes = std::min(settings.time_of_day, last_minute_of_day);
    std::tm slot{};
    slot.tm_year = day.tm_year;
    slot.tm_mon = day.tm_mon;
    slot.tm_mday = day.tm_mday + days;
    slot.tm_hour = static_cast<int>(minutes / minutes_in_hour);
    slot.tm_min = static_cast<int>(minutes % minutes_in_hour);
    slot.tm_isdst = -1;
    return std::mktime(&slot);
}

std::int64_t first_slot_after(std::int64_t moment, const PeriodicInventory& settings, int days = 0) {
    std::int64_t slot = slot_beside(moment, days, settings);
    // A skipped midnight may have become a time of the day before.
    while (slot <= moment) {
        slot = slot_beside(moment, ++days, settings);
    }
    return slot;
}

}  // namespace

std::int64_t next_inventory(const PeriodicInventory& settings, const InventoryState& state) {
    const std::int64_t first = first_slot_after(state.armed_at, settings);
    if (state.last_slot == 0) {
        return first;
    }
    const auto period = static_cast<int>(std::clamp(settings.time_period, 1U, longest_period));
    return std::max(first, first_slot_after(state.last_slot, settings, period));
}

std::int64_t inventory_slot(const PeriodicInventory& settings, std::int64_t now) {
    const std::int64_t today = slot_beside(now, 0, settings);
    return today <= now ? today : slot_beside(now, -1, settings);
}

InventoryState settled(const InventoryState& state, std::int64_t now) {
    if (state.last_slot > now + seconds_in_day) {
        return {.armed_at = now, .last_slot = 0};
    }
    return {.armed_at = std::min(state.armed_at, now), .last_slot = state.last_slot};
}

}  // namespace callhome::service
