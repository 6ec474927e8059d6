#include "command.h"
#include "platform/interface.h"
#include "protocol/records/feature.h"

namespace callhome::test {
namespace {

using protocol::SwitchRecord;

constexpr std::uint32_t enabling = 1;
constexpr std::uint32_t disabling = 2;

constexpr const char* missing_configuration =
    "callhome can not be enabled on the switch,\n"
    "because necessary configuration has not been done\n"
    "Please check if all of following configuration is done \n"
    "contact person's email\n"
    "To configure sysContact, please use snmp-server command\n";

class EnableTest : public LibraryTest {
 protected:
    // What was sent by the one exchange of the command.
    static SwitchRecord sent() { return platform().exchanges.at(0).record<SwitchRecord>(); }

    Command command_;
};

TEST_F(EnableTest, SwitchesTheFeatureOn) {
    const auto [result, out, err] = run(callhome_enable, command_.keyword(enabling));
    EXPECT_EQ(result, 0);
    EXPECT_EQ(out + err, "");
    EXPECT_EQ(asked(), Asked{"2156/3"});
    EXPECT_EQ(platform().exchanges.at(0).length, 5U);
    EXPECT_FALSE(platform().exchanges.at(0).wants_reply);
    EXPECT_EQ(sent().enabled, 1U);
    EXPECT_EQ(sent().trailing_flag, 0);
    EXPECT_EQ(cmd_type, 2U);
}

TEST_F(EnableTest, SwitchesOnWithoutAnyToken) {
    run(callhome_enable, command_);
    EXPECT_EQ(sent().enabled, 1U);
}

TEST_F(EnableTest, SwitchesOffByTheDisablingKeyword) {
    EXPECT_EQ(run(callhome_enable, command_.keyword(disabling)).result, 0);
    EXPECT_EQ(sent().enabled, 0U);
}

TEST_F(EnableTest, SwitchesOffByTheNoFormOfTheEnablingKeyword) {
    EXPECT_EQ(run(callhome_enable, command_.no().keyword(enabling)).result, 0);
    EXPECT_EQ(sent().enabled, 0U);
}

TEST_F(EnableTest, RefusesTheNoFormOfTheDisablingKeyword) {
    const auto [result, out, err] = run(callhome_enable, command_.no().keyword(disabling));
    EXPECT_EQ(result, 1);
    EXPECT_EQ(out, "");
    EXPECT_EQ(err, no_form_refusal);
    EXPECT_EQ(asked(), Asked{});
    EXPECT_EQ(cmd_type, 2U);
}

TEST_F(EnableTest, LooksAtTheFirstTokenOfANoFormBeforeTheCount) {
    command_.no().keyword(disabling).context()->token_count = 0;
    EXPECT_EQ(run(callhome_enable, command_).result, 1);
    EXPECT_EQ(asked(), Asked{});
}

TEST_F(EnableTest, SurvivesANoFormWithoutItsKeyword) {
    EXPECT_EQ(run(callhome_enable, command_.no()).result, 0);
    EXPECT_EQ(sent().enabled, 1U);
}

TEST_F(EnableTest, LetsLaterTokensWin) {
    run(callhome_enable, command_.keyword(disabling).keyword(enabling));
    EXPECT_EQ(sent().enabled, 1U);
    Command other;
    run(callhome_enable, other.keyword(enabling).keyword(disabling));
    EXPECT_EQ(platform().exchanges.at(1).record<SwitchRecord>().enabled, 0U);
    Command negated;
    run(callhome_enable, negated.no().keyword(enabling).keyword(disabling));
    EXPECT_EQ(platform().exchanges.at(2).record<SwitchRecord>().enabled, 0U);
}

TEST_F(EnableTest, IgnoresKeywordsThatItDoesNotKnow) {
    EXPECT_EQ(run(callhome_enable, command_.keyword(3).null_token().keyword(99)).err, "");
    EXPECT_EQ(sent().enabled, 1U);
}

TEST_F(EnableTest, ListsWhatIsMissingAndReturnsZero) {
    for (const ServiceStatus status : {0x403B0008, 0x403B0015, 0x403B0016, 0x403B0017, 0x403B0018}) {
        Command command;
        service_refuses(status);
        const auto [result, out, err] = run(callhome_enable, command.keyword(enabling));
        EXPECT_EQ(result, 0);
        const std::string number = testing::PrintToString(status);
        EXPECT_EQ(out, std::string(sys_err_to_str(status)) + "\n" + missing_configuration) << number;
        EXPECT_EQ(err, "");
    }
}

TEST_F(EnableTest, PrintsOnlyTheTextOfAnyOtherRefusal) {
    for (const ServiceStatus status : {5, 0x403B0007, 0x403B0009, 0x403B0014, 0x403B0019}) {
        Command command;
        service_refuses(status);
        const auto [result, out, err] = run(callhome_enable, command.keyword(enabling));
        EXPECT_EQ(result, 1);
        EXPECT_EQ(out, std::string(sys_err_to_str(status)) + "\n");
        EXPECT_EQ(err, "");
    }
}

TEST_F(EnableTest, SetsTheTrapsByTheFormAlone) {
    EXPECT_EQ(run(callhome_traps_enable, command_.keyword(disabling)).result, 0);
    EXPECT_EQ(asked(), Asked{"2188/3"});
    EXPECT_EQ(platform().exchanges.at(0).length, 5U);
    EXPECT_FALSE(platform().exchanges.at(0).wants_reply);
    EXPECT_EQ(sent().enabled, 1U);
    EXPECT_EQ(sent().trailing_flag, 0);
    EXPECT_EQ(cmd_type, 2U);
    run(callhome_traps_enable, command_.no());
    EXPECT_EQ(platform().exchanges.at(1).record<SwitchRecord>().enabled, 0U);
}

TEST_F(EnableTest, SaysNothingOfTrapsThatTheServiceRefuses) {
    service_refuses(0x403B0010);
    const auto [result, out, err] = run(callhome_traps_enable, command_);
    EXPECT_EQ(result, 1);
    EXPECT_EQ(out + err, "");
}

}  // namespace
}  // namespace callhome::test
