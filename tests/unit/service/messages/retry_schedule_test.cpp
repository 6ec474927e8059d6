#include "delivery/retry_schedule.h"

#include <gtest/gtest.h>

namespace callhome::service {
namespace {

using std::chrono::hours;
using std::chrono::minutes;

RetryLimits without_chance() {
    RetryLimits limits;
    limits.most_cut = 0;
    return limits;
}

TEST(RetrySchedule, DoublesFromAMinuteToAnHour) {
    const std::optional<std::chrono::seconds> pauses[] = {minutes(1),  minutes(2),  minutes(4), minutes(8),
                                                          minutes(16), minutes(32), hours(1),   hours(1)};
    for (unsigned attempts = 1; attempts <= std::size(pauses); ++attempts) {
        EXPECT_EQ(pause_after(attempts, without_chance()), pauses[attempts - 1]) << attempts;
    }
}

TEST(RetrySchedule, GivesUpWhenThePausesWouldComeToMoreThanADay) {
    std::chrono::seconds waited{0};
    unsigned attempts = 1;
    while (const auto pause = pause_after(attempts, without_chance())) {
        waited += *pause;
        ++attempts;
    }
    EXPECT_LE(waited, hours(24));
    EXPECT_GT(waited + hours(1), hours(24));
    EXPECT_FALSE(pause_after(attempts + 1, RetryLimits{}));
    EXPECT_FALSE(pause_after(4'000'000'000U, RetryLimits{}));
}

TEST(RetrySchedule, CutsEachPauseByChanceWithinAQuarterAndStillGrows) {
    RetryLimits limits;
    std::int64_t highest = 0;
    limits.random = [&](std::int64_t most) { return highest = most; };
    EXPECT_EQ(pause_after(1, limits), std::chrono::seconds(45));
    EXPECT_EQ(highest, 15);
    EXPECT_EQ(pause_after(2, limits), std::chrono::seconds(90));
    limits.random = [](std::int64_t /*most*/) { return 0; };
    EXPECT_EQ(pause_after(1, limits), std::chrono::seconds(60));
}

TEST(RetrySchedule, TakesItsChancesFromTheWholeRange) {
    bool seen[3] = {};
    for (int i = 0; i < 1000 && !(seen[0] && seen[1] && seen[2]); ++i) {
        const std::int64_t number = random_up_to(2);
        ASSERT_GE(number, 0);
        ASSERT_LE(number, 2);
        seen[number] = true;
    }
    EXPECT_TRUE(seen[0] && seen[1] && seen[2]);
    EXPECT_EQ(random_up_to(0), 0);
}

}  // namespace
}  // namespace callhome::service
