#include "protocol/records/distribution.h"
#include "command.h"
#include "fake_sleep.h"

namespace callhome::test {
namespace {

using protocol::ClearSessionRecord;
using protocol::CommitRecord;
using protocol::DistributionRecord;

constexpr std::uint32_t distribute = 47;
constexpr std::uint32_t commit = 49;
constexpr std::uint32_t discard = 50;
constexpr std::uint32_t clear = 52;

constexpr std::uint32_t in_progress = 4;
constexpr std::uint32_t success = 2;

constexpr const char* look_later =
    "please run command \"show callhome last action status\" to view the status of this command\n";

class DistributeTest : public LibraryTest {
 protected:
    Outcome configure() { return run(callhome_pxd_distribute, command_); }

    static void expect_sent(std::uint32_t value) {
        ASSERT_EQ(asked(), Asked{"2177/3"});
        EXPECT_EQ(platform().exchanges.at(0).length, 4U);
        EXPECT_FALSE(platform().exchanges.at(0).wants_reply);
        EXPECT_EQ(platform().exchanges.at(0).sent, in_transport_order(DistributionRecord{value}));
    }

    Command command_;
};

TEST_F(DistributeTest, SwitchesDistributionOn) {
    command_.keyword(distribute);
    const auto [result, out, err] = configure();
    EXPECT_EQ(result, 0);
    EXPECT_EQ(out + err, "");
    expect_sent(1);
    EXPECT_EQ(cmd_type, 2U);
}

TEST_F(DistributeTest, SwitchesDistributionOffByTheNoForm) {
    command_.no().null_token().keyword(46).keyword(distribute);
    configure();
    expect_sent(0);
}

TEST_F(DistributeTest, SwitchesOnWithoutItsKeywordAlsoInTheNoForm) {
    command_.no();
    configure();
    expect_sent(1);
    platform().exchanges.clear();
    command_.keyword(48);
    configure();
    expect_sent(1);
}

TEST_F(DistributeTest, DoesNotLookAtWhatActsAtOnce) {
    command_.keyword(distribute).context()->skip_exec = 1;
    configure();
    expect_sent(1);
}

TEST_F(DistributeTest, SaysHowToSetTheSystemContact) {
    service_refuses(0x403B0015);
    const auto [result, out, err] = configure();
    EXPECT_EQ(result, 1);
    EXPECT_EQ(out, "text of 0x403B0015\n");
    EXPECT_EQ(err,
              "Please configure sysContact before enabling pxd\n"
              "To configure sysContact, please use snmp-server command\n");
}

TEST_F(DistributeTest, PrintsOnlyTheTextOfAnyOtherRefusal) {
    for (const ServiceStatus status : {5, 0x403B0004, 0x403B0016}) {
        service_refuses(status);
        const auto [result, out, err] = configure();
        EXPECT_EQ(result, 1);
        EXPECT_EQ(out.find("text of 0x"), 0U);
        EXPECT_EQ(err, "");
    }
}

class CommitTest : public LibraryTest {
 protected:
    Outcome configure() { return run(callhome_pxd_commit, command_); }

    static Answer outcome(std::uint32_t result, std::uint32_t cause = 0) {
        CommitRecord record{};
        record.result = result;
        record.cause = cause;
        return answer(record);
    }
    // The request for the action is answered first; a poll each follows.
    static void service_accepts() { service_says({}); }
    static Asked set_and_polls(std::size_t polls) {
        Asked expected{"2179/3"};
        expected.insert(expected.end(), polls, "2179/1");
        return expected;
    }

    Command command_;
};

TEST_F(CommitTest, SendsTheActionAndAsksWhatCameOfIt) {
    const std::map<std::uint32_t, std::uint32_t> actions{{commit, 4}, {discard, 5}, {48, 0}, {51, 0}};
    for (const auto& [keyword, action] : actions) {
        Command command;
        platform() = Platform{};
        service_accepts();
        service_says(outcome(success));
        const auto [result, out, err] = run(callhome_pxd_commit, command.keyword(keyword));
        EXPECT_EQ(result, 0);
        EXPECT_EQ(out + err, "");
        ASSERT_EQ(asked(), (Asked{"2179/3", "2179/1"}));
        CommitRecord expected{};
        expected.action = action;
        EXPECT_EQ(platform().exchanges.at(0).length, 44U);
        EXPECT_FALSE(platform().exchanges.at(0).wants_reply);
        EXPECT_EQ(platform().exchanges.at(0).sent, in_transport_order(expected));
        EXPECT_EQ(platform().exchanges.at(1).length, 44U);
        EXPECT_TRUE(platform().exchanges.at(1).wants_reply);
        EXPECT_EQ(platform().exchanges.at(1).sent, Bytes(44)) << "a zeroed request";
        EXPECT_EQ(cmd_type, 2U);
        EXPECT_TRUE(sleeps().empty());
    }
}

TEST_F(CommitTest, LetsTheLastActionWin) {
    service_accepts();
    service_says(outcome(success));
    command_.keyword(commit).null_token().keyword(discard);
    configure();
    EXPECT_EQ(platform().exchanges.at(0).record<CommitRecord>().action, 5U);
}

TEST_F(CommitTest, HasNoNoForm) {
    command_.no().keyword(commit);
    const auto [result, out, err] = configure();
    EXPECT_EQ(result, 1);
    EXPECT_EQ(out, "");
    EXPECT_EQ(err, no_form_refusal);
    EXPECT_EQ(asked(), Asked{});
}

TEST_F(CommitTest, DoesNothingWhenItIsToSkip) {
    for (const std::uint32_t no_form : {0U, 1U}) {
        command_.context()->no_form = no_form;
        command_.context()->skip_exec = 2;
        cmd_type = 7;
        const auto [result, out, err] = configure();
        EXPECT_EQ(result, 0);
        EXPECT_EQ(out + err, "");
        EXPECT_EQ(asked(), Asked{});
        EXPECT_EQ(cmd_type, 7U);
    }
}

TEST_F(CommitTest, ReportsAnActionThatIsRefused) {
    service_refuses(0x403B0032);
    const auto [result, out, err] = configure();
    EXPECT_EQ(result, 1);
    EXPECT_EQ(out, "text of 0x403B0032\n");
    EXPECT_EQ(err, "");
    EXPECT_EQ(asked(), Asked{"2179/3"});
}

TEST_F(CommitTest, SleepsASecondAfterEachAnswerThatItIsInProgress) {
    service_accepts();
    for (int poll = 0; poll < 3; ++poll) {
        service_says(outcome(in_progress));
    }
    service_says(outcome(success));
    const auto [result, out, err] = configure();
    EXPECT_EQ(result, 0);
    EXPECT_EQ(out + err, "");
    EXPECT_EQ(asked(), set_and_polls(4));
    EXPECT_EQ(sleeps(), (std::vector<unsigned>{1, 1, 1}));
    for (std::size_t poll = 1; poll <= 4; ++poll) {
        EXPECT_EQ(platform().exchanges.at(poll).sent, Bytes(44));
    }
}

TEST_F(CommitTest, HandsOverToTheStatusCommandAfterTenPolls) {
    service_accepts();
    for (int poll = 0; poll < 10; ++poll) {
        service_says(outcome(in_progress));
    }
    service_says(outcome(success));
    const auto [result, out, err] = configure();
    EXPECT_EQ(result, 0);
    EXPECT_EQ(out, look_later);
    EXPECT_EQ(err, "");
    EXPECT_EQ(asked(), set_and_polls(10));
    EXPECT_EQ(sleeps(), std::vector<unsigned>(10, 1));
}

TEST_F(CommitTest, AsksAgainAtOnceAfterARefusedPoll) {
    service_accepts();
    for (int poll = 0; poll < 9; ++poll) {
        service_refuses(0x403B0035);
    }
    service_says(outcome(success));
    const auto [result, out, err] = configure();
    EXPECT_EQ(result, 0);
    EXPECT_EQ(out + err, "");
    EXPECT_EQ(asked(), set_and_polls(10));
    EXPECT_TRUE(sleeps().empty());
}

TEST_F(CommitTest, TenRefusedPollsAreNoFailure) {
    service_accepts();
    for (int poll = 0; poll < 10; ++poll) {
        service_says(outcome(success));
        platform().answers.back().status = 5;
    }
    const auto [result, out, err] = configure();
    EXPECT_EQ(result, 0);
    EXPECT_EQ(out, look_later);
    EXPECT_EQ(err, "");
    EXPECT_EQ(asked(), set_and_polls(10));
    EXPECT_TRUE(sleeps().empty());
}

TEST_F(CommitTest, PrintsTheResultAndTheCauseOfAFailure) {
    const std::map<std::uint32_t, std::string> names{
        {0, "PERIODIC_CONFIGURATION"}, {1, "none"}, {3, "fail"}, {5, "unknown"}, {0xFFFFFFFF, "unknown"}};
    for (const auto& [value, name] : names) {
        platform() = Platform{};
        service_accepts();
        service_says(outcome(in_progress));
        service_says(outcome(value, 0x403B0002));
        const auto [result, out, err] = configure();
        EXPECT_EQ(result, 1);
        EXPECT_EQ(out, "result : " + name + "\ncause : text of 0x403B0002\n");
        EXPECT_EQ(err, "");
        EXPECT_EQ(asked(), set_and_polls(2));
    }
}

TEST_F(CommitTest, TakesAnIncompleteAnswerForNoAnswer) {
    for (std::size_t length = 0; length < sizeof(CommitRecord); ++length) {
        platform() = Platform{};
        service_accepts();
        service_says(cut(outcome(3), length));
        service_says(outcome(success));
        const auto [result, out, err] = configure();
        EXPECT_EQ(result, 0);
        EXPECT_EQ(out + err, "");
        EXPECT_EQ(asked(), set_and_polls(2));
    }
    EXPECT_TRUE(sleeps().empty());
}

class ClearSessionTest : public LibraryTest {
 protected:
    Outcome configure() { return run(callhome_clear_session, command_); }

    static void expect_sent(std::uint32_t value) {
        ASSERT_EQ(asked(), Asked{"2182/3"});
        EXPECT_EQ(platform().exchanges.at(0).length, 4U);
        EXPECT_FALSE(platform().exchanges.at(0).wants_reply);
        EXPECT_EQ(platform().exchanges.at(0).sent, in_transport_order(ClearSessionRecord{value}));
    }

    Command command_;
};

TEST_F(ClearSessionTest, SendsWhetherItsKeywordIsThere) {
    command_.keyword(51).null_token();
    const auto [result, out, err] = configure();
    EXPECT_EQ(result, 0);
    EXPECT_EQ(out + err, "");
    expect_sent(0);
    EXPECT_EQ(cmd_type, 2U);
    platform().exchanges.clear();
    command_.keyword(clear).keyword(53);
    configure();
    expect_sent(1);
}

TEST_F(ClearSessionTest, HasNoNoForm) {
    command_.no().keyword(clear);
    const auto [result, out, err] = configure();
    EXPECT_EQ(result, 1);
    EXPECT_EQ(out, "");
    EXPECT_EQ(err, no_form_refusal);
    EXPECT_EQ(asked(), Asked{});
}

TEST_F(ClearSessionTest, DoesNothingWhenItIsToSkip) {
    command_.no().keyword(clear).context()->skip_exec = 1;
    const auto [result, out, err] = configure();
    EXPECT_EQ(result, 0);
    EXPECT_EQ(out + err, "");
    EXPECT_EQ(asked(), Asked{});
}

TEST_F(ClearSessionTest, ReportsARefusal) {
    service_refuses(0x403B0032);
    const auto [result, out, err] = configure();
    EXPECT_EQ(result, 1);
    EXPECT_EQ(out, "text of 0x403B0032\n");
    EXPECT_EQ(err, "");
}

}  // namespace
}  // namespace callhome::test
