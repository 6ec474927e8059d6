#include "delivery/retry_schedule.h"

#include <gtest/gtest.h>

namespace callhome::service {
namespace {

using std::chrono::hours;
using std::chrono::minutes;

TEST(RetrySchedule, DoublesFromAMinuteToAnHour) {
    const std::optional<std::chrono::seconds> pauses[] = {minutes(1),  minutes(2),  minutes(4), minutes(8),
                                                          minutes(16), minutes(32), hours(1),   hours(1)};
    for (unsigned attempts = 1; attempts <= std::size(pauses); ++attempts) {
        EXPECT_EQ(pause_after(attempts, RetryLimits{}), pauses[attempts - 1]) << attempts;
    }
}

TEST(RetrySchedule, GivesUpWhenThePausesWouldComeToMoreThanThreeDays) {
    std::chrono::seconds waited{0};
    unsigned attempts = 1;
    while (const auto pause = pause_after(attempts, RetryLimits{})) {
        waited += *pause;
        ++attempts;
    }
    EXPECT_LE(waited, hours(72));
    EXPECT_GT(waited + hours(1), hours(72));
    EXPECT_FALSE(pause_after(attempts + 1, RetryLimits{}));
    EXPECT_FALSE(pause_after(4'000'000'000U, RetryLimits{}));
}

}  // namespace
}  // namespace callhome::service
