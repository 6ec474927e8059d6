// How the deliveries of a destination profile have fared.
#include <gtest/gtest.h>

#include "delivery/message_statistics.h"
#include "message_service_fixture.h"

namespace callhome::service {
namespace {

using protocol::Status;
using tests::MessageServiceTest;

class ProfileStatisticsTest : public MessageServiceTest {
 protected:
    void refuse_with(const std::string& reply) {
        server_.set_script([=](const std::string& stage, const std::string& /*argument*/) {
            return stage == "RCPT" ? reply : tests::good_answer;
        });
    }
    MessageStatistics statistics() { return MessageStatistics(*database_, settings_.now); }
    MessageStatistics::OfProfile ops() { return statistics().of_profile("ops"); }
    void start_counting() {
        database_.emplace(folder_.path() / "callhome.db");
        (void)statistics();
        service_.emplace(io_, *database_, configuration_, settings_);
    }
};

TEST_F(ProfileStatisticsTest, AreEmptyWhileNothingWasSent) {
    start_counting();
    EXPECT_EQ(ops().profile, "ops");
    EXPECT_EQ(ops().sent, 0U);
    EXPECT_TRUE(statistics().of_profiles().empty());
}

TEST_F(ProfileStatisticsTest, CountWhatArrivesWithTheFirstTry) {
    start_counting();
    send("test");
    send("test");
    EXPECT_EQ(ops().sent, 2U);
    EXPECT_EQ(ops().recovered, 0U);
    EXPECT_EQ(ops().lost, 0U);
    EXPECT_EQ(ops().last_error, "");
    EXPECT_EQ(ops().last_success_at, clock_);
    EXPECT_EQ(ops().since, clock_);
    EXPECT_EQ(statistics().of_profiles().size(), 1U);
}

TEST_F(ProfileStatisticsTest, CountWhatFailsAndIsThenDelivered) {
    start_counting();
    refuse_with("450 later");
    send("test");
    EXPECT_EQ(ops().sent, 0U);
    EXPECT_EQ(ops().last_error, through() + ": 450 later");
    EXPECT_EQ(ops().last_error_at, clock_);
    refuse_with(tests::good_answer);
    clock_ += 60;
    EXPECT_TRUE(run_until([&] { return ops().sent == 1; }));
    EXPECT_EQ(ops().recovered, 1U);
    EXPECT_EQ(ops().last_success_at, clock_);
    EXPECT_EQ(ops().last_error_at, clock_ - 60) << "the last error stays known";
    EXPECT_EQ(ops().last_latency_ms, 60'000);
    EXPECT_EQ(ops().most_latency_ms, 60'000);
    EXPECT_EQ(ops().mean_latency_ms, 60'000);
    const auto delivery = statistics().of_delivery(1);
    ASSERT_TRUE(delivery);
    EXPECT_EQ(delivery->last_error, through() + ": 450 later");
    EXPECT_EQ(delivery->last_error_at, clock_ - 60);
    EXPECT_EQ(delivery->delivered_at, clock_);
    EXPECT_EQ(delivery->latency_ms, 60'000);
    EXPECT_FALSE(statistics().of_delivery(2));
}

TEST_F(ProfileStatisticsTest, CountWhatIsLost) {
    start_counting();
    refuse_with("550 nobody");
    send("test");
    EXPECT_EQ(ops().lost, 1U);
    EXPECT_EQ(ops().last_error, through() + ": 550 nobody");
    EXPECT_EQ(statistics().of(protocol::DeliveryState::failed).count, 1U);
}

TEST_F(ProfileStatisticsTest, CountWhatIsDroppedAsLost) {
    settings_.queue.messages = 1;
    start_counting();
    refuse_with("450 later");
    send("test");
    send("test");
    EXPECT_EQ(ops().lost, 1U);
    EXPECT_EQ(ops().last_error, through() + ": 450 later") << "of the later one";
    EXPECT_EQ(statistics().dropped(), 1U);
}

TEST_F(ProfileStatisticsTest, KnowTheErrorOfAServerThatAnotherOneStoodInFor) {
    const tests::ClosedPort closed;
    configuration_.mail_servers.push_back({"127.0.0.2", {}, closed.number(), 1, "no-such-vrf", 0});
    start_counting();
    send("test");
    EXPECT_EQ(ops().sent, 1U);
    EXPECT_EQ(ops().last_error,
              "127.0.0.2:" + std::to_string(closed.number()) + ": the VRF no-such-vrf does not exist");
    EXPECT_EQ(ops().last_error_at, clock_);
}

TEST_F(ProfileStatisticsTest, AreNotMisledByAClockThatIsSet) {
    start_counting();
    refuse_with("450 later");
    send("test");
    refuse_with(tests::good_answer);
    clock_ += 1'000'000'000;
    EXPECT_TRUE(run_until([&] { return ops().sent == 1; }));
    EXPECT_LT(ops().last_latency_ms, 30'000);
}

TEST_F(ProfileStatisticsTest, AreClearedForOneProfileAlone) {
    configuration_.profiles.push_back(
        tests::profile_of("second", protocol::MessageFormat::short_text, {"bob@example.com"}));
    start_counting();
    send("test");
    clock_ += 10;
    statistics().clear_profile("ops");
    EXPECT_EQ(ops().sent, 0U);
    EXPECT_EQ(ops().since, clock_);
    EXPECT_EQ(statistics().of_profile("second").sent, 1U);
}

}  // namespace
}  // namespace callhome::service
