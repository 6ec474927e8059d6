#include "signatures/schedule.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <ctime>

namespace callhome::service {
namespace {

using Ids = std::vector<std::uint32_t>;

constexpr std::int64_t minute = 60;
constexpr std::int64_t hour = 60 * minute;
constexpr std::int64_t day = 24 * hour;

// Times are in UTC here, and the clock begins at midnight.
class ScheduleTest : public testing::Test {
 protected:
    ScheduleTest() {
        ::setenv("TZ", "UTC0", 1);
        ::tzset();
        settings_.clock_check = std::chrono::milliseconds(1);
        settings_.now = [this] {
            ++looks_;
            return clock_;
        };
        schedule_.emplace(io_, settings_, [this](std::uint32_t id) {
            fired_.push_back(id);
            if (when_fired_) {
                when_fired_();
            }
        });
    }
    ~ScheduleTest() override {
        ::unsetenv("TZ");
        ::tzset();
    }

    void set(const std::vector<Schedule::Entry>& entries) { schedule_->set(entries); }
    // What is set off at this moment, after several looks at the clock.
    Ids at(std::int64_t moment) {
        constexpr int several = 4;
        clock_ = moment;
        fired_.clear();
        const int looks = looks_ + several;
        while (looks_ < looks) {
            io_.restart();
            io_.run_one_for(std::chrono::seconds(10));
        }
        return fired_;
    }
    static Schedule::Entry every(std::uint32_t id, std::int64_t seconds) {
        return {id, TimerEvent{std::chrono::seconds(seconds)}};
    }
    static Schedule::Entry cron(std::uint32_t id, const char* expression) {
        return {id, CronEvent{expression}};
    }

    static constexpr std::int64_t midnight = 20'000 * day;
    std::int64_t clock_ = midnight;
    int looks_ = 0;
    Ids fired_;
    std::function<void()> when_fired_;
    asio::io_context io_;
    DeliverySettings settings_;
    std::optional<Schedule> schedule_;
};

TEST_F(ScheduleTest, SetsATimerOffAgainAndAgain) {
    set({every(1, 90)});
    EXPECT_EQ(at(midnight + 89), Ids());
    EXPECT_EQ(at(midnight + 90), (Ids{1}));
    EXPECT_EQ(at(midnight + 179), Ids());
    EXPECT_EQ(at(midnight + 180), (Ids{1}));
}

TEST_F(ScheduleTest, FollowsACronExpression) {
    set({cron(1, "0 8 * * *"), cron(2, "*/30 * * * *")});
    EXPECT_EQ(at(midnight + 30 * minute), (Ids{2}));
    EXPECT_EQ(at(midnight + 30 * minute + 59), Ids());
    EXPECT_EQ(at(midnight + 8 * hour), (Ids{1, 2}));
    EXPECT_EQ(at(midnight + 8 * hour + 1), Ids());
    EXPECT_EQ(at(midnight + day + 8 * hour), (Ids{1, 2}));
}

TEST_F(ScheduleTest, MakesUpForNothingWhenTheClockIsSetForward) {
    set({every(1, 60), cron(2, "0 8 * * *")});
    EXPECT_EQ(at(midnight + 1000 * day + 12 * hour), (Ids{1, 2}));
    EXPECT_EQ(at(midnight + 1000 * day + 12 * hour + 59), Ids());
}

TEST_F(ScheduleTest, IsNotSilencedByAClockThatIsSetBack) {
    set({every(1, 60), cron(2, "0 8 * * *")});
    EXPECT_EQ(at(midnight - 1000 * day), Ids());
    EXPECT_EQ(at(midnight - 1000 * day + 60), (Ids{1}));
    EXPECT_EQ(at(midnight - 1000 * day + 8 * hour), (Ids{1, 2}));
}

TEST_F(ScheduleTest, DoesNotRepeatATimeOfDayWhenTheClockIsSetBackByAnHour) {
    set({cron(1, "0 8 * * *")});
    EXPECT_EQ(at(midnight + 8 * hour), (Ids{1}));
    EXPECT_EQ(at(midnight + 7 * hour), Ids());
    EXPECT_EQ(at(midnight + 8 * hour), Ids());
    EXPECT_EQ(at(midnight + day + 8 * hour), (Ids{1}));
}

TEST_F(ScheduleTest, LetsWhatStaysGoOn) {
    set({every(1, 90)});
    at(midnight + 60);
    set({every(1, 90), every(2, 60)});
    EXPECT_EQ(at(midnight + 90), (Ids{1}));
    set({every(1, 45)});
    EXPECT_EQ(at(midnight + 134), Ids());
    EXPECT_EQ(at(midnight + 135), (Ids{1}));
    set({});
    EXPECT_FALSE(schedule_->due_soon());
}

TEST_F(ScheduleTest, MayBeChangedByWhatItSetsOff) {
    set({every(1, 60), every(2, 60)});
    when_fired_ = [this] { schedule_->set({every(1, 60)}); };
    EXPECT_EQ(at(midnight + 60), (Ids{1, 2}));
    EXPECT_EQ(at(midnight + 120), (Ids{1}));
}

TEST_F(ScheduleTest, SaysWhatIsDueWithinAMinute) {
    EXPECT_FALSE(schedule_->due_soon());
    set({cron(1, "5 0 * * *"), cron(2, "0 0 30 2 *")});
    clock_ = midnight + 4 * minute - 1;
    EXPECT_FALSE(schedule_->due_soon());
    clock_ = midnight + 4 * minute;
    EXPECT_TRUE(schedule_->due_soon());
}

}  // namespace
}  // namespace callhome::service
