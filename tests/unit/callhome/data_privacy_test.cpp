#include "command.h"
#include "protocol/records/privacy.h"

namespace callhome::test {
namespace {

using protocol::PrivacyRecord;

constexpr std::uint32_t normal = 111;
constexpr std::uint32_t high = 112;

constexpr auto both_handlers = {ch_config_data_privacy_level, ch_config_data_privacy_hostname};

class DataPrivacyTest : public LibraryTest {
 protected:
    static void expect_sent(std::uint32_t item, std::uint32_t remove) {
        const Exchange& last = platform().exchanges.back();
        EXPECT_EQ(last.opcode, 312333U);
        EXPECT_EQ(last.operation, 3U);
        EXPECT_EQ(last.length, 9U);
        EXPECT_FALSE(last.wants_reply);
        EXPECT_EQ(last.sent, in_transport_order(PrivacyRecord{.item = item, .remove = remove, .spare = 0}));
    }

    Command command_;
};

TEST_F(DataPrivacyTest, SetsAndTakesBackALevel) {
    const std::map<std::uint32_t, std::uint32_t> items{{normal, 2}, {high, 3}};
    for (const auto& [keyword, item] : items) {
        for (const std::uint32_t no_form : {0U, 1U}) {
            Command command;
            command.context()->no_form = no_form;
            const auto [result, out, err] = run(ch_config_data_privacy_level, command.keyword(keyword));
            EXPECT_EQ(result, 0);
            EXPECT_EQ(out + err, "");
            expect_sent(item, no_form);
            EXPECT_EQ(cmd_type, 2U);
        }
    }
    EXPECT_EQ(platform().exchanges.size(), 4U);
}

TEST_F(DataPrivacyTest, LetsTheLastLevelWin) {
    run(ch_config_data_privacy_level, command_.keyword(high).keyword(110).null_token().keyword(normal));
    expect_sent(2, 0);
}

TEST_F(DataPrivacyTest, SendsNoLevelWhenNoneIsNamed) {
    run(ch_config_data_privacy_level, command_.keyword(110).keyword(113));
    expect_sent(0, 0);
}

TEST_F(DataPrivacyTest, MasksTheHostNameWhateverTheTokensSay) {
    run(ch_config_data_privacy_hostname, command_.keyword(high));
    expect_sent(1, 0);
    run(ch_config_data_privacy_hostname, command_.no());
    expect_sent(1, 1);
}

TEST_F(DataPrivacyTest, RunsOnTheActiveSupervisorOnly) {
    for (const auto handler : both_handlers) {
        for (const std::uint32_t active_sup : {0U, 2U}) {
            command_.context()->active_sup = active_sup;
            const auto [result, out, err] = run(handler, command_);
            EXPECT_EQ(result, 1);
            EXPECT_EQ(out, "");
            EXPECT_EQ(err, "This command is supported on active sup only.\n");
            EXPECT_EQ(asked(), Asked{});
        }
    }
}

TEST_F(DataPrivacyTest, SaysTheSameOfEveryFailure) {
    for (const auto handler : both_handlers) {
        for (const ServiceStatus status : {5, 0x403B0001, 0x403B000B, 0x403B0034}) {
            service_refuses(status);
            const auto [result, out, err] = run(handler, command_);
            EXPECT_EQ(result, 1);
            EXPECT_EQ(out, "") << "no text of the status";
            EXPECT_EQ(err, "Failed to run this command due to mts error.\n");
        }
    }
}

}  // namespace
}  // namespace callhome::test
