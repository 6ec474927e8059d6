#include "messages/periodic_inventory.h"

#include <spdlog/sinks/ostream_sink.h>
#include <spdlog/spdlog.h>

#include <algorithm>
#include <ctime>
#include <sstream>

#include "message_service_fixture.h"

namespace callhome::service {
namespace {

using tests::MessageServiceTest;

constexpr std::int64_t minute = 60;
constexpr std::int64_t hour = 60 * minute;
constexpr std::int64_t day = 24 * hour;

// Times are in UTC here, and the clock begins at midnight.
class PeriodicInventoryTest : public MessageServiceTest {
 protected:
    PeriodicInventoryTest() {
        ::setenv("TZ", "UTC0", 1);
        ::tzset();
        clock_ = midnight;
        configuration_.periodic_inventory = {.notification = true, .time_period = 7, .time_of_day = 8 * 60};
        log_before_ = spdlog::default_logger();
        spdlog::set_default_logger(std::make_shared<spdlog::logger>(
            "test", std::make_shared<spdlog::sinks::ostream_sink_mt>(log_)));
    }
    ~PeriodicInventoryTest() override {
        spdlog::set_default_logger(log_before_);
        ::unsetenv("TZ");
        ::tzset();
    }

    void begin() {
        start();
        DeliverySettings counting = settings_;
        counting.now = [this] {
            ++looks_;
            return clock_.load();
        };
        timer_.emplace(io_, *database_, configuration_, *service_, counting);
        look_around();
    }
    void end() {
        timer_.reset();
        stop();
    }
    void begin_again() {
        end();
        begin();
    }
    // Until the clock was looked at several times and what came of that is known.
    void look_around() {
        constexpr int several = 5;
        const int looks = looks_ + several;
        ASSERT_TRUE(run_until([&] { return looks_ >= looks; }));
        ASSERT_TRUE(run_until([this] { return !service_->busy_soon(); }));
        io_.restart();
        io_.poll();
    }
    void at(std::int64_t moment) {
        clock_ = moment;
        look_around();
    }
    int messages() const {
        int count = 0;
        for (auto message = service_->message_after(0); message;
             message = service_->message_after(message->id)) {
            ++count;
        }
        return count;
    }
    std::size_t times_logged(const std::string& words) const {
        const std::string log = log_.str();
        std::size_t count = 0;
        for (auto at = log.find(words); at != std::string::npos; at = log.find(words, at + 1)) {
            ++count;
        }
        return count;
    }

    static constexpr std::int64_t midnight = 20'000 * day;
    int looks_ = 0;
    std::optional<InventoryTimer> timer_;
    std::ostringstream log_;
    std::shared_ptr<spdlog::logger> log_before_;
};

TEST_F(PeriodicInventoryTest, IsSentAtItsTimeAndNotBefore) {
    begin();
    at(midnight + 8 * hour - 1);
    EXPECT_EQ(messages(), 0);
    at(midnight + 8 * hour);
    ASSERT_EQ(messages(), 1);
    EXPECT_STREQ(service_->message_after(0)->type, "inventory");
    EXPECT_EQ(server_.mails().size(), 1U);
    EXPECT_EQ(times_logged("The periodic inventory was sent"), 1U);
}

TEST_F(PeriodicInventoryTest, IsSentAgainAfterThePeriod) {
    begin();
    at(midnight + 8 * hour);
    at(midnight + 7 * day + 8 * hour - 1);
    EXPECT_EQ(messages(), 1);
    at(midnight + 7 * day + 8 * hour);
    EXPECT_EQ(messages(), 2);
}

TEST_F(PeriodicInventoryTest, IsNotRepeatedByARestart) {
    begin();
    at(midnight + 8 * hour);
    begin_again();
    EXPECT_EQ(messages(), 1);
    at(midnight + 9 * hour);
    begin_again();
    EXPECT_EQ(messages(), 1);
}

TEST_F(PeriodicInventoryTest, ThatFellDueWhileNoServiceRanIsSentOnceAtTheNextStart) {
    begin();
    end();
    clock_ = midnight + 30 * day + 15 * hour;
    begin();
    EXPECT_EQ(messages(), 1);
    at(midnight + 37 * day + 8 * hour - 1);
    EXPECT_EQ(messages(), 1);
    at(midnight + 37 * day + 8 * hour);
    EXPECT_EQ(messages(), 2);
}

TEST_F(PeriodicInventoryTest, IsNotSentWhileItIsSwitchedOff) {
    configuration_.periodic_inventory.notification = false;
    begin();
    at(midnight + 9 * hour);
    EXPECT_EQ(messages(), 0);
    EXPECT_FALSE(timer_->due_soon());
}

TEST_F(PeriodicInventoryTest, IsNotSentWhileCallHomeIsSwitchedOff) {
    begin();
    configuration_.enabled = false;
    at(midnight + 9 * hour);
    EXPECT_EQ(messages(), 0);
    // Days that passed meanwhile are not made up for.
    configuration_.enabled = true;
    at(midnight + 20 * day + 12 * hour);
    EXPECT_EQ(messages(), 0);
    at(midnight + 21 * day + 8 * hour);
    EXPECT_EQ(messages(), 1);
}

TEST_F(PeriodicInventoryTest, FollowsChangedSettings) {
    begin();
    at(midnight + 8 * hour);
    configuration_.periodic_inventory = {.notification = true, .time_period = 1, .time_of_day = 20 * 60};
    at(midnight + 3 * day + 12 * hour);
    EXPECT_EQ(messages(), 1);
    at(midnight + 3 * day + 20 * hour);
    EXPECT_EQ(messages(), 2);
}

TEST_F(PeriodicInventoryTest, TakesUpSettingsAtOnceWhenItIsTold) {
    configuration_.periodic_inventory.notification = false;
    settings_.clock_check = std::chrono::hours(1);
    start();
    timer_.emplace(io_, *database_, configuration_, *service_, settings_);
    io_.poll();
    configuration_.periodic_inventory.notification = true;
    EXPECT_FALSE(timer_->due_soon());
    timer_->settings_may_have_changed();
    io_.poll();
    clock_ = midnight + 8 * hour - minute;
    EXPECT_TRUE(timer_->due_soon());
}

TEST_F(PeriodicInventoryTest, KeepsTheProcessWhenItIsDueWithinAMinute) {
    begin();
    at(midnight + 8 * hour - minute - 1);
    EXPECT_FALSE(timer_->due_soon());
    at(midnight + 8 * hour - minute);
    EXPECT_TRUE(timer_->due_soon());
    at(midnight + 8 * hour);
    EXPECT_FALSE(timer_->due_soon());
}

TEST_F(PeriodicInventoryTest, ComesOnceWhenTheClockIsSetForward) {
    begin();
    at(midnight + 1000 * day);
    EXPECT_EQ(messages(), 1);
    at(midnight + 1000 * day + hour);
    EXPECT_EQ(messages(), 1);
}

TEST_F(PeriodicInventoryTest, IsNotSilencedByAClockThatIsSetBack) {
    begin();
    at(midnight + 1000 * day);
    at(midnight + 5 * day);
    EXPECT_EQ(messages(), 1);
    at(midnight + 5 * day + 8 * hour);
    EXPECT_EQ(messages(), 2);
}

TEST_F(PeriodicInventoryTest, IsNotRepeatedWhenTheClockIsSetBackByAnHour) {
    configuration_.periodic_inventory.time_period = 1;
    begin();
    at(midnight + 8 * hour);
    at(midnight + 7 * hour);
    at(midnight + 8 * hour);
    EXPECT_EQ(messages(), 1);
}

TEST_F(PeriodicInventoryTest, WaitsForAnOperatorsMessage) {
    server_.set_script([](const std::string& stage, const std::string&) {
        return stage == "greeting" ? tests::stay_silent : tests::good_answer;
    });
    begin();
    std::optional<tests::Reply> reply;
    service_->send({"test", "", "", "ada"}, into(reply));
    clock_ = midnight + 8 * hour;
    EXPECT_EQ(wait_for(reply).status, protocol::Status::not_sent);
    EXPECT_TRUE(run_until([this] { return messages() == 2; }));
    EXPECT_EQ(times_logged("periodic"), 0U);
    EXPECT_TRUE(run_until([this] { return times_logged("periodic") == 1; }));
}

TEST_F(PeriodicInventoryTest, ThatNobodyTakesIsLoggedOnce) {
    configuration_.profiles.clear();
    configuration_.periodic_inventory.time_period = 1;
    begin();
    at(midnight + 8 * hour);
    at(midnight + day + 8 * hour);
    EXPECT_EQ(times_logged("The periodic inventory: No destination profile has an address"), 1U);
}

TEST_F(PeriodicInventoryTest, IsTriedAgainWhenTheQueueIsFullAndLoggedOnce) {
    settings_.queue.messages = 0;
    begin();
    at(midnight + 8 * hour);
    at(midnight + 8 * hour + minute);
    EXPECT_EQ(times_logged("Too many messages wait"), 1U);
    settings_.queue.messages = 10;
    begin_again();
    EXPECT_EQ(messages(), 1);
}

TEST_F(PeriodicInventoryTest, IsNotRepeatedWhenItsTimeCannotBeRecorded) {
    begin();
    database_->connection().exec("DROP TABLE inventory_schedule");
    at(midnight + 8 * hour);
    at(midnight + 9 * hour);
    EXPECT_EQ(messages(), 1);
    EXPECT_EQ(times_logged("cannot be recorded"), 1U);
}

}  // namespace
}  // namespace callhome::service
