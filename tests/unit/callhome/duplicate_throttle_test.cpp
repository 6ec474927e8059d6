#include "command.h"
#include "protocol/records/feature.h"

namespace callhome::test {
namespace {

using protocol::SwitchRecord;

constexpr std::uint32_t throttle = 42;

class DuplicateThrottleTest : public LibraryTest {
 protected:
    Outcome configure() { return run(callhome_dup_msg_throttle, command_); }

    static void expect_sent(std::uint32_t value) {
        ASSERT_EQ(asked(), Asked{"2173/3"});
        EXPECT_EQ(platform().exchanges.at(0).length, 5U);
        EXPECT_FALSE(platform().exchanges.at(0).wants_reply);
        EXPECT_EQ(platform().exchanges.at(0).sent,
                  in_transport_order(SwitchRecord{.enabled = value, .trailing_flag = 0}));
    }

    Command command_;
};

TEST_F(DuplicateThrottleTest, SwitchesThrottlingOn) {
    command_.keyword(throttle);
    const auto [result, out, err] = configure();
    EXPECT_EQ(result, 0);
    EXPECT_EQ(out + err, "");
    expect_sent(1);
    EXPECT_EQ(cmd_type, 2U);
}

TEST_F(DuplicateThrottleTest, SwitchesThrottlingOffByTheNoForm) {
    command_.no().keyword(throttle);
    EXPECT_EQ(configure().result, 0);
    expect_sent(0);
}

TEST_F(DuplicateThrottleTest, SwitchesThrottlingOffWithoutItsKeyword) {
    command_.keyword(41).null_token().keyword(43);
    EXPECT_EQ(configure().result, 0);
    expect_sent(0);
}

TEST_F(DuplicateThrottleTest, FindsItsKeywordAmongOthers) {
    command_.keyword(41).keyword(throttle).keyword(43);
    configure();
    expect_sent(1);
}

TEST_F(DuplicateThrottleTest, ReportsARefusal) {
    service_refuses(0x403B0010);
    const auto [result, out, err] = configure();
    EXPECT_EQ(result, 1);
    EXPECT_EQ(out, "text of 0x403B0010\n");
    EXPECT_EQ(err, "");
}

}  // namespace
}  // namespace callhome::test
