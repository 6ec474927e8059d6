#include "command.h"
#include "protocol/records/alert_group.h"

namespace callhome::test {
namespace {

using protocol::UserCommandRecord;

constexpr std::uint32_t command_text = 58;
constexpr std::uint32_t test_group = 33;

UserCommandRecord user_command(std::string_view group, std::string_view command) {
    UserCommandRecord record{};
    put(record.group, group);
    record.reserved = 1;
    put(record.command, command);
    return record;
}

class UserCommandTest : public LibraryTest {
 protected:
    Outcome configure() { return run(callhome_process_user_def_cmds, command_); }

    static void expect_sent(const UserCommandRecord& expected) {
        const Exchange& last = platform().exchanges.back();
        EXPECT_EQ(last.opcode, 2185U);
        EXPECT_EQ(last.length, 865U);
        EXPECT_TRUE(last.sent == in_transport_order(expected)) << text(expected.group);
        EXPECT_FALSE(last.wants_reply);
    }

    Command command_;
};

TEST_F(UserCommandTest, AddsACommandToAGroup) {
    command_.keyword(test_group).text(command_text, "show  version | include \"a\"");
    const auto [result, out, err] = configure();
    EXPECT_EQ(result, 0);
    EXPECT_EQ(out + err, "");
    EXPECT_EQ(asked(), Asked{"2185/3"});
    expect_sent(user_command("test", "show  version | include \"a\""));
    EXPECT_EQ(cmd_type, 2U);
}

TEST_F(UserCommandTest, RemovesACommandByTheNoForm) {
    command_.no().keyword(test_group).text(command_text, "show version");
    EXPECT_EQ(configure().result, 0);
    EXPECT_EQ(asked(), Asked{"2185/4"});
    expect_sent(user_command("test", "show version"));
}

TEST_F(UserCommandTest, KnowsEveryGroupByItsKeyword) {
    for (const AlertGroupRow& row : alert_group_list) {
        Command command;
        run(callhome_process_user_def_cmds, command.text(command_text, "show").keyword(row.keyword_id));
        expect_sent(user_command(row.name, "show"));
    }
}

TEST_F(UserCommandTest, LeavesTheGroupAsItWasForAKeywordThatNamesNone) {
    for (const std::uint32_t id : {0U, 27U, 35U, 41U, 57U, 59U, 102U, 104U}) {
        Command command;
        run(callhome_process_user_def_cmds, command.keyword(test_group).keyword(id).null_token());
        expect_sent(user_command("test", ""));
    }
    configure();
    expect_sent(user_command("", ""));
}

TEST_F(UserCommandTest, LetsLaterTokensWin) {
    command_.keyword(30)
        .text(command_text, "show a long command")
        .keyword(test_group)
        .text(command_text, "b");
    configure();
    expect_sent(user_command("test", "b"));
}

TEST_F(UserCommandTest, CutsAnOverlongCommandToItsField) {
    for (const std::size_t length : {599U, 600U, 9000U}) {
        Command command;
        run(callhome_process_user_def_cmds, command.text(command_text, std::string(length, 'c')));
        expect_sent(user_command("", std::string(599, 'c')));
    }
}

TEST_F(UserCommandTest, PassesOverAMissingCommand) {
    run(callhome_process_user_def_cmds, command_.text(command_text, "show").keyword(command_text));
    expect_sent(user_command("", "show"));
}

TEST_F(UserCommandTest, SaysHowManyCommandsAGroupMayHave) {
    service_refuses(0x403B003C);
    const auto [result, out, err] = configure();
    EXPECT_EQ(result, 0) << "a script goes on";
    EXPECT_EQ(out,
              "text of 0x403B003C\n"
              "only a maximum of 5 commands can be configured for an alert group\n");
    EXPECT_EQ(err, "");
}

TEST_F(UserCommandTest, SaysWhatACommandConflictsWith) {
    service_refuses(0x403B003D);
    const auto [result, out, err] = configure();
    EXPECT_EQ(result, 0) << "a script goes on";
    EXPECT_EQ(out,
              "text of 0x403B003D\n"
              "the command cannot be configured since \n"
              "the alert group ZUVA-TAC has been configured\n"
              "for a dest profile which has also been configured with this alert group\n");
    EXPECT_EQ(err, "");
}

TEST_F(UserCommandTest, PrintsOnlyTheTextOfAnyOtherRefusal) {
    const std::map<ServiceStatus, std::string> refusals{{0x403B0041, "text of 0x403B0041\n"},
                                                        {0x403B003B, "text of 0x403B003B\n"},
                                                        {0x403B003E, "text of 0x403B003E\n"},
                                                        {5, "text of 0x00000005\n"}};
    for (const auto& [status, printed] : refusals) {
        service_refuses(status);
        const auto [result, out, err] = configure();
        EXPECT_EQ(result, 1);
        EXPECT_EQ(out, printed);
        EXPECT_EQ(err, "");
    }
}

class UserCommandListTest : public LibraryTest {
 protected:
    Outcome generate() { return run(print_user_def_cmds, command_); }
    Outcome show() { return run(callhome_show_user_def_cmds, command_); }

    // A command as the service keeps it; every byte carries something.
    static UserCommandRecord kept(std::uint32_t index, std::string_view group, std::string_view command) {
        UserCommandRecord record = user_command(group, command);
        record.index = index;
        record.reserved = 0x66;
        record.trailing_flag = 9;
        return record;
    }

    Command command_;
};

TEST_F(UserCommandListTest, WritesOneLineACommandAndAnEmptyOne) {
    service_says(answer(kept(1, "test", "show  version | no-more")));
    service_says(answer(kept(7, "Diagnostic", "show 100%s")));
    service_refuses(0x403B000C);
    const auto [result, out, err] = generate();
    EXPECT_EQ(result, 0);
    EXPECT_EQ(out + err, "");
    EXPECT_EQ(platform().configuration_lines,
              (Lines{"alert-group test user-def-cmd show  version | no-more\n",
                     "alert-group Diagnostic user-def-cmd show 100%s\n", "\n"}));
    EXPECT_EQ(asked(), (Asked{"2185/2", "2185/2", "2185/2"}));
    EXPECT_EQ(platform().exchanges.at(0).cmd_type, 1U);
    EXPECT_EQ(pxd_data_present, 0U);
}

TEST_F(UserCommandListTest, TakesEachReplyWholeAsTheNextKey) {
    service_says(answer(kept(1, "test", "a long command")));
    service_says(answer(kept(7, "all", "b")));
    service_refuses(0x403B000C);
    generate();
    const std::vector<UserCommandRecord> keys{UserCommandRecord{}, kept(1, "test", "a long command"),
                                              kept(7, "all", "b")};
    ASSERT_EQ(platform().exchanges.size(), keys.size());
    for (std::size_t step = 0; step < keys.size(); ++step) {
        EXPECT_EQ(platform().exchanges[step].length, 865U);
        EXPECT_TRUE(platform().exchanges[step].wants_reply);
        EXPECT_TRUE(platform().exchanges[step].sent == in_transport_order(keys[step])) << step;
    }
}

TEST_F(UserCommandListTest, WritesASingleEmptyLineWhenThereAreNoCommands) {
    for (const ServiceStatus end : {0x403B000C, 0x403B0034}) {
        platform().configuration_lines.clear();
        service_refuses(end);
        EXPECT_EQ(generate().result, 0);
        EXPECT_EQ(platform().configuration_lines, Lines{"\n"});
    }
}

TEST_F(UserCommandListTest, ReadsThePendingCopyWhenItIsToldTo) {
    print_running_config = 0;
    service_says(answer(kept(1, "test", "show version")));
    service_refuses(0x403B000C);
    generate();
    EXPECT_EQ(asked(), (Asked{"2185/6", "2185/6"}));
    EXPECT_EQ(print_running_config, 0U);
}

TEST_F(UserCommandListTest, PassesAnyOtherStatusOnAndPrintsNothing) {
    for (const ServiceStatus status : {5, 0x403B000B, 0x403B0032}) {
        platform().configuration_lines.clear();
        service_says(answer(kept(1, "test", "show version")));
        service_says(answer(kept(2, "test", "not to be seen"), status));
        const auto [result, out, err] = generate();
        EXPECT_EQ(result, status);
        EXPECT_EQ(out + err, "");
        EXPECT_EQ(platform().configuration_lines, Lines{"alert-group test user-def-cmd show version\n"});
    }
}

TEST_F(UserCommandListTest, SaysThatTheConfigurationEndsWhereAnAnswerIsIncomplete) {
    for (std::size_t length = 0; length < sizeof(UserCommandRecord); ++length) {
        service_says(cut(answer(kept(1, "test", "show version")), length));
        const auto [result, out, err] = generate();
        ASSERT_EQ(result, 1);
        ASSERT_EQ(out, "");
        ASSERT_EQ(err, "The answer of the call-home service was incomplete (" + std::to_string(length) +
                           " of 865 bytes); the running configuration ends here\n");
    }
    EXPECT_EQ(platform().configuration_lines, Lines{});
}

TEST_F(UserCommandListTest, SaysTheSameWhenThereIsNoReplyAtAll) {
    service_says({});
    EXPECT_EQ(generate().result, 1);
}

TEST_F(UserCommandListTest, ReadsTextsWithoutATerminatorWithinTheirFields) {
    UserCommandRecord record = kept(1, "", "");
    std::memset(record.group, 'g', sizeof record.group);
    std::memset(record.command, 'c', sizeof record.command);
    service_says(answer(record));
    service_refuses(0x403B000C);
    generate();
    EXPECT_EQ(platform().configuration_lines.at(0),
              "alert-group " + std::string(256, 'g') + " user-def-cmd " + std::string(600, 'c') + "\n");
}

TEST_F(UserCommandListTest, EndsAWalkThatGoesInCircles) {
    for (int round = 0; round < 5000; ++round) {
        service_says(answer(kept(1, "test", "show version")));
    }
    const auto [result, out, err] = generate();
    EXPECT_EQ(result, 1);
    EXPECT_EQ(err, "The list of user commands has no end; the running configuration ends here\n");
    EXPECT_FALSE(platform().answers.empty());
}

TEST_F(UserCommandListTest, ShowsTheEffectiveCommandsUnderAHeading) {
    print_running_config = 0;
    service_says(answer(kept(1, "test", "show version")));
    service_refuses(0x403B000C);
    const auto [result, out, err] = show();
    EXPECT_EQ(result, 0);
    EXPECT_EQ(out, "User configured commands for alert groups :\n");
    EXPECT_EQ(err, "");
    EXPECT_EQ(platform().configuration_lines,
              (Lines{"alert-group test user-def-cmd show version\n", "\n"}));
    EXPECT_EQ(asked(), (Asked{"2185/2", "2185/2"}));
    EXPECT_EQ(print_running_config, 1U);
    EXPECT_EQ(cmd_type, 1U);
}

TEST_F(UserCommandListTest, ShowsNothingInTheNoForm) {
    print_running_config = 0;
    command_.no();
    const auto [result, out, err] = show();
    EXPECT_EQ(result, 1);
    EXPECT_EQ(out, "");
    EXPECT_EQ(err, no_form_refusal);
    EXPECT_EQ(asked(), Asked{});
    EXPECT_EQ(print_running_config, 0U);
}

TEST_F(UserCommandListTest, ShowsAsTheListResults) {
    service_refuses(0x403B0010);
    EXPECT_EQ(show().result, 0x403B0010);
    service_says({});
    EXPECT_EQ(show().result, 1);
}

}  // namespace
}  // namespace callhome::test
