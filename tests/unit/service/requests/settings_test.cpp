// Periodic inventory, throttling and privacy.
#include "requests_fixture.h"

namespace callhome::service {
namespace {

using protocol::PeriodicInventoryRecord;
using protocol::PrivacyRecord;
using protocol::SwitchRecord;

class SettingsTest : public RequestsTest {
 protected:
    Answer<PeriodicInventoryRecord> inventory(Operation operation, std::uint32_t notification = 0,
                                              std::uint32_t days = 0, std::uint32_t minutes = 0) {
        return ask(Opcode::periodic_inventory, operation,
                   PeriodicInventoryRecord{.notification = notification,
                                           .time_period = days,
                                           .trailing_flag = 0,
                                           .time_of_day = minutes});
    }
    Answer<SwitchRecord> throttle(Operation operation, std::uint32_t enabled = 0) {
        return ask(Opcode::duplicate_throttle, operation,
                   SwitchRecord{.enabled = enabled, .trailing_flag = 0});
    }
    Outcome privacy(std::uint32_t item, std::uint32_t remove = 0) {
        return send(Opcode::data_privacy, Operation::set,
                    PrivacyRecord{.item = item, .remove = remove, .spare = 0});
    }
    // As the bytes travel.
    std::vector<int> privacy_bytes() {
        EXPECT_EQ(send(Opcode::data_privacy, Operation::get, PrivacyRecord{}), Status::ok);
        const auto frame = reply.seal(
            protocol::request_header(static_cast<std::uint32_t>(Opcode::data_privacy), 1, 9), Status::ok);
        std::vector<int> bytes;
        for (const std::byte byte : frame.subspan(sizeof(protocol::FrameHeader))) {
            bytes.push_back(std::to_integer<int>(byte));
        }
        return bytes;
    }
};

TEST_F(SettingsTest, PeriodicInventoryIsOffAndWeeklyAtEight) {
    const auto answer = inventory(Operation::get);
    EXPECT_EQ(answer.status, Status::ok);
    EXPECT_EQ(+answer.record->notification, 0U);
    EXPECT_EQ(+answer.record->time_period, 7U);
    EXPECT_EQ(+answer.record->time_of_day, 480U);
}

TEST_F(SettingsTest, PeriodicInventoryTakesTheEndsOfItsRanges) {
    EXPECT_EQ(inventory(Operation::set, 1, 30, 1'439).status, Status::ok);
    EXPECT_EQ(+inventory(Operation::get).record->time_of_day, 1'439U);
    EXPECT_EQ(inventory(Operation::set, 0, 1, 0).status, Status::ok);
    EXPECT_EQ(+inventory(Operation::get).record->time_period, 1U);
    EXPECT_EQ(+inventory(Operation::get).record->notification, 0U);
}

TEST_F(SettingsTest, PeriodicInventoryTakesNothingBeyondItsRanges) {
    EXPECT_EQ(inventory(Operation::set, 2, 7, 480).status, Status::malformed_request);
    EXPECT_EQ(inventory(Operation::set, 1, 0, 480).status, Status::malformed_request);
    EXPECT_EQ(inventory(Operation::set, 1, 31, 480).status, Status::malformed_request);
    EXPECT_EQ(inventory(Operation::set, 1, 7, 1'440).status, Status::malformed_request);
    EXPECT_EQ(+inventory(Operation::get).record->notification, 0U);
}

TEST_F(SettingsTest, ThrottlingIsOnUntilItIsSwitchedOff) {
    EXPECT_EQ(+throttle(Operation::get).record->enabled, 1U);
    EXPECT_EQ(throttle(Operation::set, 0).status, Status::ok);
    EXPECT_EQ(+throttle(Operation::get).record->enabled, 0U);
    EXPECT_EQ(throttle(Operation::set, 2).status, Status::malformed_request);
    EXPECT_EQ(throttle(Operation::set, 1).status, Status::ok);
    EXPECT_EQ(+throttle(Operation::get).record->enabled, 1U);
}

TEST_F(SettingsTest, PrivacyIsNormalUntilSomethingIsMasked) {
    EXPECT_EQ(privacy_bytes(), (std::vector{0, 0, 0, 0}));
    EXPECT_EQ(privacy(3), Status::ok);
    EXPECT_EQ(privacy_bytes(), (std::vector{0, 0, 0, 1}));
    EXPECT_EQ(privacy(1), Status::ok);
    EXPECT_EQ(privacy_bytes(), (std::vector{0, 0, 0, 3}));
    EXPECT_EQ(privacy(2), Status::ok);
    EXPECT_EQ(privacy_bytes(), (std::vector{0, 0, 0, 2}));
    EXPECT_EQ(privacy(1, 1), Status::ok);
    EXPECT_EQ(privacy_bytes(), (std::vector{0, 0, 0, 0}));
}

TEST_F(SettingsTest, TakingALevelBackLeavesTheNormalOne) {
    privacy(3);
    EXPECT_EQ(privacy(3, 1), Status::ok);
    EXPECT_FALSE(configuration().privacy.high);
    privacy(3);
    EXPECT_EQ(privacy(2, 1), Status::ok);
    EXPECT_FALSE(configuration().privacy.high);
}

TEST_F(SettingsTest, OtherItemsOfPrivacyAreNotUnderstood) {
    EXPECT_EQ(privacy(0), Status::malformed_request);
    EXPECT_EQ(privacy(4), Status::malformed_request);
    EXPECT_EQ(privacy(1, 2), Status::malformed_request);
}

}  // namespace
}  // namespace callhome::service
