#include "events/duplicate_throttle.h"

#include <gtest/gtest.h>

namespace callhome::service {
namespace {

using std::chrono::hours;
using std::chrono::milliseconds;
using std::chrono::minutes;

const EventIdentity event{"SUP_FAILURE", "system manager", "the supervisor has failed"};

EventIdentity numbered(int number) {
    return {"SUP_FAILURE", "system manager", "failure " + std::to_string(number)};
}

class DuplicateThrottleTest : public testing::Test {
 protected:
    DuplicateThrottle throttle(std::size_t most = 1000) {
        return DuplicateThrottle(
            {.window = hours(2), .most_remembered = most, .time = [this] { return now_; }});
    }
    // An event comes in: true when it goes out.
    static bool comes(DuplicateThrottle& throttle, const EventIdentity& identity) {
        if (throttle.count(identity)) {
            return false;
        }
        throttle.let_go(identity);
        return true;
    }

    milliseconds now_ = hours(1000);
};

TEST_F(DuplicateThrottleTest, CountsTheSameEventForTwoHours) {
    DuplicateThrottle events = throttle();
    EXPECT_EQ(events.count(event), std::nullopt);
    EXPECT_EQ(events.let_go(event).count, 0U);
    now_ += minutes(30);
    EXPECT_EQ(events.count(event)->count, 1U);
    now_ += minutes(90) - milliseconds(1);
    const auto repeats = events.count(event);
    ASSERT_TRUE(repeats);
    EXPECT_EQ(repeats->count, 2U);
    EXPECT_EQ(repeats->ago, hours(2) - milliseconds(1));
    now_ += milliseconds(1);
    EXPECT_EQ(events.count(event), std::nullopt);
    EXPECT_EQ(events.counted(), 2U);
}

TEST_F(DuplicateThrottleTest, TellsHowOftenItCameWhenItGoesOutAgain) {
    DuplicateThrottle events = throttle();
    events.let_go(event);
    for (int minute = 0; minute < 119; ++minute) {
        now_ += minutes(1);
        EXPECT_TRUE(events.count(event)) << minute;
    }
    now_ += hours(1);
    const Repeats told = events.let_go(event);
    EXPECT_EQ(told.count, 119U);
    EXPECT_EQ(told.ago, minutes(179));
    now_ += hours(2);
    EXPECT_EQ(events.let_go(event).count, 0U) << "told once";
}

// An event that comes all the time goes out every two hours: its repetitions do not lengthen the silence.
TEST_F(DuplicateThrottleTest, CountsTheWindowFromTheMessage) {
    DuplicateThrottle events = throttle();
    int messages = 0;
    for (int minute = 0; minute < 600; ++minute) {
        messages += comes(events, event) ? 1 : 0;
        now_ += minutes(1);
    }
    EXPECT_EQ(messages, 5);
}

TEST_F(DuplicateThrottleTest, TakesAnythingElseForAnotherEvent) {
    DuplicateThrottle events = throttle();
    events.let_go({"a", "b", "c"});
    for (const EventIdentity& other :
         {EventIdentity{"a", "b", ""}, EventIdentity{"a", "", "c"}, EventIdentity{"", "b", "c"},
          EventIdentity{"a", "bc", ""}, EventIdentity{"ab", "", "c"}, EventIdentity{"A", "b", "c"}}) {
        EXPECT_EQ(events.count(other), std::nullopt) << other.alert << other.source << other.text;
    }
}

TEST_F(DuplicateThrottleTest, ForgetsTheOldestFirst) {
    DuplicateThrottle events = throttle(3);
    for (int number = 1; number <= 4; ++number) {
        EXPECT_TRUE(comes(events, numbered(number)));
        now_ += minutes(1);
    }
    EXPECT_EQ(events.remembered(), 3U);
    EXPECT_FALSE(comes(events, numbered(2)));
    EXPECT_FALSE(comes(events, numbered(4)));
    EXPECT_TRUE(comes(events, numbered(1)));
    EXPECT_EQ(events.remembered(), 3U);
}

TEST_F(DuplicateThrottleTest, ForgetsWhatHasNothingToTellBeforeAnythingElse) {
    DuplicateThrottle events = throttle(3);
    comes(events, numbered(1));
    EXPECT_FALSE(comes(events, numbered(1)));
    comes(events, numbered(2));
    now_ += hours(2);
    comes(events, numbered(3));
    comes(events, numbered(4));
    EXPECT_EQ(events.let_go(numbered(1)).count, 1U);
    EXPECT_FALSE(comes(events, numbered(3)));
}

TEST_F(DuplicateThrottleTest, HoldsNoMoreThanItMayHowManyEventsCome) {
    DuplicateThrottle events = throttle(10);
    for (int number = 0; number < 1000; ++number) {
        comes(events, numbered(number));
        comes(events, numbered(number));
        now_ += minutes(1);
        ASSERT_LE(events.remembered(), 10U);
    }
    DuplicateThrottle none = throttle(0);
    EXPECT_TRUE(comes(none, event));
    EXPECT_TRUE(comes(none, event));
    EXPECT_EQ(none.remembered(), 0U);
}

TEST_F(DuplicateThrottleTest, HoldsNothingBackForAMessageThatCouldNotBeKept) {
    DuplicateThrottle events = throttle();
    const Repeats told = events.let_go(event);
    events.take_back(event, told);
    EXPECT_EQ(events.remembered(), 0U);
    EXPECT_TRUE(comes(events, event));
}

TEST_F(DuplicateThrottleTest, TellsLaterWhatAMessageThatCouldNotBeKeptWouldHaveTold) {
    DuplicateThrottle events = throttle();
    events.let_go(event);
    now_ += minutes(10);
    events.count(event);
    now_ += hours(2);
    const Repeats told = events.let_go(event);
    EXPECT_EQ(told.count, 1U);
    events.count(event);  // while the message was being made
    events.take_back(event, told);
    EXPECT_EQ(events.count(event), std::nullopt);
    now_ += minutes(5);
    const Repeats later = events.let_go(event);
    EXPECT_EQ(later.count, 2U);
    EXPECT_EQ(later.ago, minutes(135));
    EXPECT_TRUE(events.count(event));
}

TEST_F(DuplicateThrottleTest, TakesNothingBackThatIsForgotten) {
    DuplicateThrottle events = throttle(1);
    const Repeats told = events.let_go(numbered(1));
    events.let_go(numbered(2));
    events.take_back(numbered(1), told);
    EXPECT_EQ(events.remembered(), 1U);
    EXPECT_TRUE(events.count(numbered(2)));
}

TEST(TimeSinceBoot, OnlyGrows) {
    const milliseconds first = time_since_boot();
    EXPECT_GT(first, milliseconds(0));
    EXPECT_GE(time_since_boot(), first);
}

}  // namespace
}  // namespace callhome::service
