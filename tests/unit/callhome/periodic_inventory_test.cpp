#include "command.h"
#include "protocol/records/inventory.h"

namespace callhome::test {
namespace {

using protocol::PeriodicInventoryRecord;

constexpr std::uint32_t notification = 44;
constexpr std::uint32_t period = 45;
constexpr std::uint32_t time_of_day = 62;

constexpr const char* not_a_time =
    "invalid timeofday: should be in ----HH:MM---- format (hours 00:00 to 23:59)\n";
constexpr const char* out_of_range = "timeofday out of range error\n";

PeriodicInventoryRecord kept(std::uint32_t switched_on) {
    PeriodicInventoryRecord inventory{};
    inventory.notification = switched_on;
    inventory.time_period = 14;
    inventory.trailing_flag = 9;
    inventory.time_of_day = 600;
    return inventory;
}

class PeriodicInventoryTest : public LibraryTest {
 protected:
    Outcome configure(Command& command, std::uint32_t switched_on = 0) {
        platform() = Platform{};
        service_says(answer(kept(switched_on)));
        return run(callhome_periodic_inventory, command);
    }
    static PeriodicInventoryRecord sent() {
        return platform().exchanges.at(1).record<PeriodicInventoryRecord>();
    }
    static std::uint32_t minutes_sent() { return sent().time_of_day; }
    static void expect_sent(std::uint32_t switched_on, std::uint32_t days, std::uint32_t minutes) {
        ASSERT_EQ(asked(), (Asked{"2175/5", "2175/3"}));
        PeriodicInventoryRecord expected{};
        expected.notification = switched_on;
        expected.time_period = days;
        expected.time_of_day = minutes;
        EXPECT_EQ(platform().exchanges.at(1).length, 13U);
        EXPECT_FALSE(platform().exchanges.at(1).wants_reply);
        EXPECT_EQ(platform().exchanges.at(1).sent, in_transport_order(expected));
    }

    Command command_;
};

TEST_F(PeriodicInventoryTest, SendsWhatItHasReadBack) {
    for (const std::uint32_t switched_on : {0U, 1U}) {
        const auto [result, out, err] = configure(command_, switched_on);
        EXPECT_EQ(result, 0);
        EXPECT_EQ(out + err, "");
        EXPECT_EQ(platform().exchanges.at(0).sent, Bytes(13)) << "a zeroed request";
        EXPECT_TRUE(platform().exchanges.at(0).wants_reply);
        expect_sent(switched_on, 14, 600);
        EXPECT_EQ(cmd_type, 2U);
    }
}

TEST_F(PeriodicInventoryTest, FallsBackToTheEffectiveCopyWithTheSameRecord) {
    for (const ServiceStatus no_pending_copy : {0x403B0032, 0x403B0034}) {
        platform() = Platform{};
        service_says(answer(kept(1), no_pending_copy));
        service_says(answer(kept(0)));
        EXPECT_EQ(run(callhome_periodic_inventory, command_).result, 0);
        EXPECT_EQ(asked(), (Asked{"2175/5", "2175/1", "2175/3"}));
        EXPECT_EQ(platform().exchanges.at(1).handed_over, platform().exchanges.at(0).sent);
        EXPECT_EQ(platform().exchanges.at(2).record<PeriodicInventoryRecord>().notification, 0U);
    }
}

TEST_F(PeriodicInventoryTest, ReportsAFailedLookUp) {
    service_says(answer(kept(1), 0x403B000B));
    const auto [result, out, err] = run(callhome_periodic_inventory, command_.keyword(notification));
    EXPECT_EQ(result, 1);
    EXPECT_EQ(out, not_found_text);
    EXPECT_EQ(err, "");
    EXPECT_EQ(asked(), Asked{"2175/5"});
}

TEST_F(PeriodicInventoryTest, SwitchesTheNotificationOn) {
    configure(command_.keyword(notification));
    expect_sent(1, 14, 600);
}

TEST_F(PeriodicInventoryTest, SwitchesTheNotificationOffByTheNoForm) {
    configure(command_.no().keyword(notification), 1);
    expect_sent(0, 14, 600);
    Command bare;
    configure(bare.no(), 1);
    expect_sent(0, 14, 600);
}

TEST_F(PeriodicInventoryTest, APeriodOrATimeLeavesTheNotificationAsItIs) {
    for (const std::uint32_t switched_on : {0U, 1U}) {
        Command days;
        configure(days.keyword(notification).number<std::uint32_t>(period, 7), switched_on);
        expect_sent(switched_on, 7, 600);
        Command time;
        configure(time.keyword(notification).text(time_of_day, "08:30"), switched_on);
        expect_sent(switched_on, 14, 510);
    }
}

TEST_F(PeriodicInventoryTest, OnlyTheKeywordThatStandsLastSwitchesTheNotificationOn) {
    configure(command_.number<std::uint32_t>(period, 7).text(time_of_day, "08:30").keyword(notification));
    expect_sent(1, 7, 510);
    Command in_between;
    configure(in_between.number<std::uint32_t>(period, 7).keyword(notification).text(time_of_day, "08:30"));
    expect_sent(0, 7, 510);
}

TEST_F(PeriodicInventoryTest, TakesEveryTimeOfTheDay) {
    for (unsigned hours = 0; hours < 24; ++hours) {
        for (unsigned minutes = 0; minutes < 60; ++minutes) {
            std::array<char, 16> time{};
            std::snprintf(time.data(), time.size(), "%02u:%02u", hours, minutes);
            Command command;
            platform() = Platform{};
            service_says(answer(kept(0)));
            callhome_periodic_inventory(command.text(time_of_day, time.data()).context());
            ASSERT_EQ(minutes_sent(), hours * 60 + minutes) << time.data();
        }
    }
}

TEST_F(PeriodicInventoryTest, TakesWhatANumberCanBeginWith) {
    const std::map<std::string, std::uint32_t> times{
        {" 7: 5", 425}, {"+7:+5", 425}, {"7x:5y", 425}, {"-0:-0", 0}, {"7 :5 ", 425}};
    for (const auto& [time, minutes] : times) {
        Command command;
        configure(command.text(time_of_day, time));
        EXPECT_EQ(minutes_sent(), minutes) << time;
    }
}

TEST_F(PeriodicInventoryTest, RefusesATimeOfAnotherForm) {
    for (const char* time :
         {"", "7:05", "1:30", "07:5", "007:05", "07:050", "07.05", "07-05", "0705", "07:", ":0705", "070:5",
          "ab:cd", "07:ab", "  :00", "00:  ", "--:00", "7:::5", "24:00:00"}) {
        Command command;
        const auto [result, out, err] = configure(command.text(time_of_day, time).keyword(notification));
        EXPECT_EQ(result, 1);
        EXPECT_EQ(out, "");
        EXPECT_EQ(err, not_a_time) << time;
        EXPECT_EQ(asked(), Asked{"2175/5"});
    }
}

TEST_F(PeriodicInventoryTest, RefusesATimeThatNoDayHas) {
    for (const char* time : {"24:00", "23:60", "12:60", "99:99", "-1:00", "00:-1", "-9:-9"}) {
        Command command;
        const auto [result, out, err] = configure(command.text(time_of_day, time));
        EXPECT_EQ(result, 1);
        EXPECT_EQ(out, "");
        EXPECT_EQ(err, out_of_range) << time;
        EXPECT_EQ(asked(), Asked{"2175/5"});
    }
}

TEST_F(PeriodicInventoryTest, RefusesTheNoFormOfAPeriodAndOfATime) {
    Command days;
    Command time;
    days.no().keyword(notification).number<std::uint32_t>(period, 7);
    time.no().keyword(notification).text(time_of_day, "nonsense");
    for (Command* command : {&days, &time}) {
        const auto [result, out, err] = configure(*command, 1);
        EXPECT_EQ(result, 1);
        EXPECT_EQ(out, "");
        EXPECT_EQ(err, no_form_refusal);
        EXPECT_EQ(asked(), Asked{"2175/5"});
    }
}

TEST_F(PeriodicInventoryTest, PassesOverMissingValuesAndKeywordsThatItDoesNotKnow) {
    command_.keyword(period).keyword(time_of_day).keyword(46).null_token();
    const auto [result, out, err] = configure(command_);
    EXPECT_EQ(result, 0);
    EXPECT_EQ(out + err, "");
    expect_sent(0, 14, 600);
}

TEST_F(PeriodicInventoryTest, ReportsARefusedChange) {
    service_says(answer(kept(0)));
    service_refuses(0x403B0010);
    const auto [result, out, err] = run(callhome_periodic_inventory, command_);
    EXPECT_EQ(result, 1);
    EXPECT_EQ(out, "text of 0x403B0010\n");
    EXPECT_EQ(err, "");
}

TEST_F(PeriodicInventoryTest, ChangesNothingWhenTheAnswerIsIncomplete) {
    for (std::size_t length = 0; length < sizeof(PeriodicInventoryRecord); ++length) {
        platform() = Platform{};
        service_says(cut(answer(kept(0)), length));
        const auto [result, out, err] = run(callhome_periodic_inventory, command_);
        EXPECT_EQ(result, 1);
        EXPECT_EQ(err, "The answer of the call-home service was incomplete (" + std::to_string(length) +
                           " of 13 bytes); nothing was changed\n");
        EXPECT_EQ(asked(), Asked{"2175/5"});
    }
}

}  // namespace
}  // namespace callhome::test
