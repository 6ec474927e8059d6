// When what came of deliveries goes to the disk, and what does not wait for it.
#include <gtest/gtest.h>

#include "delivery/queue.h"
#include "message_service_fixture.h"

namespace callhome::service {
namespace {

using protocol::DeliveryState;
using protocol::Status;

class RecordingTest : public tests::MessageServiceTest {
 protected:
    RecordingTest() {
        settings_.clock_check = std::chrono::hours(1);
        settings_.between_recordings = std::chrono::hours(1);
        settings_.workers = 1;
    }
    void send_to(std::size_t receivers) {
        Profile& profile = configuration_.profiles.front();
        profile.email_addresses.clear();
        for (std::size_t i = 0; i < receivers; ++i) {
            profile.email_addresses.push_back(
                {static_cast<std::uint32_t>(i + 1), std::to_string(i) + "@example.com"});
        }
        start();
        service_->send({"test", "", "", ""}, [](Status, const std::string&) {});
    }
    std::uint32_t delivered() const { return service_->message_after(0)->delivered; }
    bool arrive(std::size_t mails) {
        return run_until([&] { return server_.mails().size() >= mails; });
    }
};

TEST_F(RecordingTest, HoldsUpNoCourier) {
    send_to(2);
    EXPECT_TRUE(arrive(2));
    EXPECT_EQ(delivered(), 0U);
}

// A kill would have all of them sent again.
TEST_F(RecordingTest, IsNotLeftFarBehind) {
    constexpr std::size_t most_ahead = 2;
    send_to(10);
    ASSERT_TRUE(arrive(most_ahead));
    for (int i = 0; i < 40; ++i) {
        io_.restart();
        io_.run_one_for(std::chrono::milliseconds(5));
    }
    EXPECT_EQ(server_.mails().size(), most_ahead);
}

// The second mail goes out when the service has the result of the first.
TEST_F(RecordingTest, IsMadeUpForAtTheEnd) {
    send_to(2);
    ASSERT_TRUE(arrive(2));
    EXPECT_EQ(delivered(), 0U);
    restart();
    EXPECT_GE(delivered(), 1U);
}

}  // namespace
}  // namespace callhome::service
