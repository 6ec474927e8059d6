#include "messages/inventory_schedule.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <ctime>
#include <string>

namespace callhome::service {
namespace {

constexpr const char* central_europe = "CET-1CEST,M3.5.0,M10.5.0/3";
constexpr const char* midnight_changes = "AAA3BBB,M10.3.0/0,M2.3.0/0";  // 00:00 is skipped in October
constexpr std::int64_t day = 86'400;

class Schedule : public testing::Test {
 protected:
    Schedule() { use_zone(central_europe); }
    ~Schedule() override {
        ::unsetenv("TZ");
        ::tzset();
    }

    static void use_zone(const char* zone) {
        ::setenv("TZ", zone, 1);
        ::tzset();
    }
    static std::int64_t at(const std::string& text) {
        std::tm time{};
        EXPECT_NE(::strptime(text.c_str(), "%Y-%m-%d %H:%M:%S", &time), nullptr) << text;
        time.tm_isdst = -1;
        return std::mktime(&time);
    }
    static std::string local(std::int64_t moment) {
        const auto time = static_cast<std::time_t>(moment);
        std::tm fields{};
        ::localtime_r(&time, &fields);
        char text[sizeof "2024-01-01 00:00:00"];
        return {text, std::strftime(text, sizeof text, "%Y-%m-%d %H:%M:%S", &fields)};
    }
    static PeriodicInventory every(std::uint32_t days, std::uint32_t hour, std::uint32_t minute = 0) {
        return {.notification = true, .time_period = days, .time_of_day = hour * 60 + minute};
    }
    static std::string next(const PeriodicInventory& settings, const std::string& armed_at,
                            const std::string& last = "") {
        return local(
            next_inventory(settings, {.armed_at = at(armed_at), .last_slot = last.empty() ? 0 : at(last)}));
    }
    static std::string slot(const PeriodicInventory& settings, const std::string& now) {
        return local(inventory_slot(settings, at(now)));
    }
};

TEST_F(Schedule, BeginsAtTheFirstTimeOfDayAfterItIsSwitchedOn) {
    EXPECT_EQ(next(every(7, 8), "2024-06-03 07:59:59"), "2024-06-03 08:00:00");
    EXPECT_EQ(next(every(7, 8), "2024-06-03 08:00:00"), "2024-06-04 08:00:00");
    EXPECT_EQ(next(every(7, 0), "2024-12-31 23:59:59"), "2025-01-01 00:00:00");
    EXPECT_EQ(next(every(7, 23, 59), "2024-02-28 23:59:00"), "2024-02-29 23:59:00");
}

TEST_F(Schedule, GoesOnAfterThePeriod) {
    EXPECT_EQ(next(every(7, 8), "2024-01-01 00:00:00", "2024-06-03 08:00:00"), "2024-06-10 08:00:00");
    EXPECT_EQ(next(every(1, 8), "2024-01-01 00:00:00", "2024-02-28 08:00:00"), "2024-02-29 08:00:00");
    EXPECT_EQ(next(every(30, 0), "2024-01-01 00:00:00", "2024-12-20 00:00:00"), "2025-01-19 00:00:00");
}

TEST_F(Schedule, KeepsTheTimeOfDayWhenClocksChange) {
    EXPECT_EQ(next(every(1, 8), "2024-01-01 00:00:00", "2024-03-30 08:00:00"), "2024-03-31 08:00:00");
    EXPECT_EQ(next(every(7, 8), "2024-01-01 00:00:00", "2024-10-25 08:00:00"), "2024-11-01 08:00:00");
    const PeriodicInventory daily = every(1, 8);
    const InventoryState before{.armed_at = 1, .last_slot = at("2024-03-30 08:00:00")};
    EXPECT_EQ(next_inventory(daily, before) - before.last_slot, 23 * 3600);
}

// 02:30 does not exist on 31 March and exists twice on 27 October.
TEST_F(Schedule, HasOneTimeADayAlsoWhereItIsSkippedOrRepeated) {
    const PeriodicInventory daily = every(1, 2, 30);
    InventoryState state{.armed_at = at("2024-03-29 12:00:00"), .last_slot = 0};
    for (const char* expected_day : {"2024-03-30", "2024-03-31", "2024-04-01"}) {
        state.last_slot = next_inventory(daily, state);
        EXPECT_EQ(local(state.last_slot).substr(0, 10), expected_day);
    }
    state = {.armed_at = at("2024-10-25 12:00:00"), .last_slot = 0};
    for (const char* expected :
         {"2024-10-26 02:30:00", "2024-10-27 02:30:00", "2024-10-28 02:30:00", "2024-10-29 02:30:00"}) {
        state.last_slot = next_inventory(daily, state);
        EXPECT_EQ(local(state.last_slot), expected);
    }
}

TEST_F(Schedule, MovesOnWhereMidnightIsSkipped) {
    use_zone(midnight_changes);
    const PeriodicInventory daily = every(1, 0);
    InventoryState state{.armed_at = at("2024-10-18 12:00:00"), .last_slot = 0};
    for (int count = 0; count < 5; ++count) {
        const std::int64_t due = next_inventory(daily, state);
        EXPECT_GT(due, state.last_slot);
        EXPECT_LE(due, at("2024-10-19 00:00:00") + count * day) << local(due);
        state.last_slot = inventory_slot(daily, due);
        EXPECT_EQ(state.last_slot, due);
    }
}

TEST_F(Schedule, OfAMessageThatWasMissedStaysDue) {
    EXPECT_EQ(next(every(7, 8), "2024-01-01 00:00:00", "2024-01-01 08:00:00"), "2024-01-08 08:00:00");
}

TEST_F(Schedule, OfALateMessageGoesBackToTheTimeOfDay) {
    EXPECT_EQ(slot(every(7, 8), "2024-06-03 08:00:00"), "2024-06-03 08:00:00");
    EXPECT_EQ(slot(every(7, 8), "2024-06-05 15:12:13"), "2024-06-05 08:00:00");
    EXPECT_EQ(slot(every(7, 8), "2024-06-05 07:59:59"), "2024-06-04 08:00:00");
    EXPECT_EQ(slot(every(7, 23, 59), "2024-06-05 00:00:20"), "2024-06-04 23:59:00");
}

TEST_F(Schedule, WithChangedSettingsBeginsAfterTheChange) {
    // A shorter period whose days have passed already.
    EXPECT_EQ(next(every(1, 8), "2024-06-08 12:00:00", "2024-06-03 08:00:00"), "2024-06-09 08:00:00");
    // A longer one.
    EXPECT_EQ(next(every(30, 8), "2024-06-08 12:00:00", "2024-06-03 08:00:00"), "2024-07-03 08:00:00");
    // Another time of day.
    EXPECT_EQ(next(every(7, 23), "2024-06-03 09:00:00", "2024-06-03 08:00:00"), "2024-06-10 23:00:00");
}

TEST_F(Schedule, TakesAPeriodOfNoDaysForOne) {
    EXPECT_EQ(next(every(0, 8), "2024-01-01 00:00:00", "2024-06-03 08:00:00"), "2024-06-04 08:00:00");
}

TEST_F(Schedule, SurvivesNumbersThatNobodyConfigures) {
    const PeriodicInventory wild{
        .notification = true, .time_period = 0xFFFFFFFF, .time_of_day = 0xFFFFFFFF};
    const std::int64_t last = at("2024-06-03 23:59:00");
    EXPECT_GT(next_inventory(wild, {.armed_at = 1, .last_slot = last}), last + 36'000 * day);
    EXPECT_EQ(local(inventory_slot(wild, last)), "2024-06-03 23:59:00");
}

TEST(ClockSetBack, IsForgottenWhenItIsMoreThanADay) {
    EXPECT_EQ(settled({.armed_at = 50, .last_slot = 10 * day}, 2 * day),
              (InventoryState{.armed_at = 2 * day, .last_slot = 0}));
}

TEST(ClockSetBack, RepeatsNothingWhenItIsLessThanADay) {
    EXPECT_EQ(settled({.armed_at = 50, .last_slot = 10 * day}, 10 * day - 3600),
              (InventoryState{.armed_at = 50, .last_slot = 10 * day}));
}

TEST(ClockSetBack, DoesNotLeaveTheBeginningInTheFuture) {
    EXPECT_EQ(settled({.armed_at = 10 * day, .last_slot = 0}, 2 * day),
              (InventoryState{.armed_at = 2 * day, .last_slot = 0}));
}

TEST(ClockSetForward, KeepsWhatIsDue) {
    const InventoryState state{.armed_at = 50, .last_slot = 10 * day};
    EXPECT_EQ(settled(state, 5000 * day), state);
}

}  // namespace
}  // namespace callhome::service
