// Cron expressions: when a signature is due again. Calendar arithmetic without a clock of its own; all
// times are seconds since 1970, the fields of an expression are local time.
#pragma once

#include <bitset>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string_view>

namespace callhome::service {

// Which numbers each field allows.
struct CronSchedule {
    static constexpr std::size_t slots = 64;
    using Numbers = std::bitset<slots>;

    Numbers minutes;   // 0 to 59
    Numbers hours;     // 0 to 23
    Numbers days;      // of the month, 1 to 31
    Numbers months;    // 1 to 12
    Numbers weekdays;  // 0 (Sunday) to 6
    bool any_day = false;
    bool any_weekday = false;  // when both are restricted, a day that fits either is meant

    bool operator==(const CronSchedule&) const = default;
};

// "minute hour day month weekday": numbers, ranges "1-5", lists "1,3", steps "*/15" and "8-18/2", and the
// first three letters of months and weekdays; 7 is Sunday, too. Nothing for any other text.
std::optional<CronSchedule> read_cron(std::string_view expression);

// The first minute after `moment` that the schedule names; one that the clocks skip is passed over. Nothing
// when no day of the next forty years has such a minute (the 30th of February).
std::optional<std::int64_t> next_time(const CronSchedule& schedule, std::int64_t moment);

}  // namespace callhome::service
