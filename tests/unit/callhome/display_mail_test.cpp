#include "command.h"
#include "mail_records.h"
#include "platform/interface.h"

namespace callhome::test {
namespace {

class ShowMailTest : public LibraryTest {
 protected:
    Outcome show() { return run(callhome_show_emailconf, command_); }
    Outcome show(const MailSettingsRecord& settings) {
        service_says(answer(settings));
        return show();
    }

    Command command_;
};

TEST_F(ShowMailTest, PrintsEachSettingAsATaggedTuple) {
    const auto [result, out, err] = show(kept_settings());
    EXPECT_EQ(result, 0);
    EXPECT_EQ(out + err, "") << "all output goes through the handle";
    EXPECT_EQ(platform().printed, (Lines{
                                      "from email addr:%s\n|30740051=switch@example.net",
                                      "reply to email addr:%s\n|30740052=noc@example.net",
                                      "return receipt email addr:%s\n|30740053=receipt@example.net",
                                      "smtp server:%s\n|30740054=smtp.example.net",
                                      "smtp server port:%s\n|30740055=:2525",
                                  }));
    EXPECT_EQ(platform().sends, 1);
    EXPECT_EQ(h, command_.context());
    EXPECT_EQ(asked(), Asked{"2152/1"});
    EXPECT_EQ(platform().exchanges.at(0).length, 1293U);
    EXPECT_EQ(platform().exchanges.at(0).cmd_type, 1U);
    EXPECT_TRUE(platform().exchanges.at(0).sent == in_transport_order(MailSettingsRecord{}));
}

TEST_F(ShowMailTest, LeavesOutOnlyTheAddressesThatAnswerAMail) {
    show(MailSettingsRecord{});
    EXPECT_EQ(platform().printed, (Lines{"from email addr:%s\n|30740051=", "smtp server:%s\n|30740054=",
                                         "smtp server port:%s\n|30740055="}));
}

TEST_F(ShowMailTest, ShowsWhatTheBufferHeldWhenThereIsNoPort) {
    put(buffer, "from an earlier command");
    MailSettingsRecord settings = kept_settings();
    settings.port = 0;
    show(settings);
    EXPECT_EQ(platform().printed.back(), "smtp server port:%s\n|30740055=from an earlier command");
}

TEST_F(ShowMailTest, ShowsThePortAsASignedNumber) {
    const std::map<std::uint32_t, std::string> ports{{25, ":25"}, {0xFFFFFFFF, ":-1"}};
    for (const auto& [port, shown] : ports) {
        MailSettingsRecord settings{};
        settings.port = port;
        show(settings);
        EXPECT_EQ(buffer, shown);
    }
}

TEST_F(ShowMailTest, SaysThatThereIsNoHandle) {
    platform().has_output_handle = false;
    cmd_type = 7;
    const auto [result, out, err] = show();
    EXPECT_EQ(result, 1);
    const std::string begin = "callhome_show_emailconf:";
    const std::string end = " cli_reply_handle_from_param failed\n";
    EXPECT_EQ(out.substr(0, begin.size()), begin);
    EXPECT_GT(std::stoi(out.substr(begin.size())), 0) << "a line number";
    EXPECT_EQ(out.substr(out.find(' ')), end);
    EXPECT_EQ(err, "");
    EXPECT_EQ(asked(), Asked{});
    EXPECT_EQ(cmd_type, 7U);
    EXPECT_EQ(platform().sends, 0);
}

TEST_F(ShowMailTest, RunsOnTheActiveSupervisorOnly) {
    for (const std::uint32_t active_sup : {0U, 2U}) {
        command_.context()->active_sup = active_sup;
        cmd_type = 7;
        platform().printed.clear();
        const auto [result, out, err] = show();
        EXPECT_EQ(result, 1);
        EXPECT_EQ(out + err, "");
        EXPECT_EQ(platform().printed, Lines{"%s|0=this command is supported on active sup only\n"});
        EXPECT_STREQ(buffer, "this command is supported on active sup only\n");
        EXPECT_EQ(asked(), Asked{});
        EXPECT_EQ(cmd_type, 7U);
    }
    EXPECT_EQ(platform().sends, 2);
}

TEST_F(ShowMailTest, ShowsARefusalAsAnErrorTuple) {
    for (const ServiceStatus status : {5, 0x403B000B, 0x403B0032, 0x403B0034}) {
        platform() = Platform{};
        service_says(answer(kept_settings(), status));
        const auto [result, out, err] = show();
        EXPECT_EQ(result, 1);
        EXPECT_EQ(out + err, "");
        EXPECT_EQ(platform().printed, Lines{std::string("%s|0=error ") + sys_err_to_str(status)});
        EXPECT_EQ(platform().sends, 1);
        EXPECT_EQ(asked(), Asked{"2152/1"}) << "without a fallback";
    }
}

TEST_F(ShowMailTest, ShowsAnIncompleteAnswerAsAnErrorTuple) {
    for (std::size_t length = 0; length < sizeof(MailSettingsRecord); ++length) {
        platform() = Platform{};
        service_says(cut(answer(kept_settings()), length));
        const auto [result, out, err] = show();
        ASSERT_EQ(result, 1);
        ASSERT_EQ(out + err, "");
        ASSERT_EQ(platform().printed,
                  Lines{"%s|0=error The answer of the call-home service was incomplete (" +
                        std::to_string(length) + " of 1293 bytes)\n"});
        ASSERT_EQ(platform().sends, 1);
    }
}

TEST_F(ShowMailTest, ReadsTextsWithoutATerminatorWithinTheirFields) {
    MailSettingsRecord settings{};
    std::memset(settings.from, 'f', sizeof settings.from);
    std::memset(settings.reply_to, 'r', sizeof settings.reply_to);
    std::memset(settings.return_receipt, 'c', sizeof settings.return_receipt);
    std::memset(settings.smtp_server, 's', sizeof settings.smtp_server);
    show(settings);
    EXPECT_EQ(platform().printed.at(0), "from email addr:%s\n|30740051=" + std::string(256, 'f'));
    EXPECT_EQ(platform().printed.at(1), "reply to email addr:%s\n|30740052=" + std::string(256, 'r'));
    EXPECT_EQ(platform().printed.at(2), "return receipt email addr:%s\n|30740053=" + std::string(256, 'c'));
    EXPECT_EQ(platform().printed.at(3), "smtp server:%s\n|30740054=" + std::string(256, 's'));
}

// The generator of running-configuration text.

class GenerateMailTest : public LibraryTest {
 protected:
    Outcome generate(const MailSettingsRecord& settings) {
        service_says(answer(settings));
        service_refuses(0x403B000C);
        return generate();
    }
    Outcome generate() { return run(callhome_emailconf_asciigen, command_); }

    Command command_;
};

TEST_F(GenerateMailTest, WritesTheSettingsInTheirOrder) {
    const auto [result, out, err] = generate(kept_settings());
    EXPECT_EQ(result, 0);
    EXPECT_EQ(out + err, "");
    EXPECT_EQ(platform().configuration_lines,
              (Lines{
                  "transport email from switch@example.net\n",
                  "transport email reply-to noc@example.net\n",
                  "transport email smtp-server smtp.example.net port 2525\n",
                  "use-vrf red\n",
              }));
    EXPECT_EQ(asked(), (Asked{"2152/1", "2193/2"}));
    EXPECT_EQ(platform().exchanges.at(0).cmd_type, 1U);
    EXPECT_EQ(pxd_data_present, 1U);
}

TEST_F(GenerateMailTest, LeavesOutTheStandardPort) {
    for (const std::uint32_t port : {0U, 25U}) {
        platform().configuration_lines.clear();
        MailSettingsRecord settings{};
        put(settings.smtp_server, "192.0.2.7");
        settings.port = port;
        generate(settings);
        EXPECT_EQ(platform().configuration_lines, Lines{"transport email smtp-server 192.0.2.7\n"});
    }
}

TEST_F(GenerateMailTest, WritesTheVrfOnALineOfItsOwnBelowTheServerOnly) {
    MailSettingsRecord settings{};
    put(settings.vrf_name, "red");
    settings.port = 26;
    generate(settings);
    EXPECT_EQ(platform().configuration_lines, Lines{});
    put(settings.smtp_server, "a");
    settings.port = 25;
    generate(settings);
    EXPECT_EQ(platform().configuration_lines, (Lines{"transport email smtp-server a\n", "use-vrf red\n"}));
}

TEST_F(GenerateMailTest, EachSettingButNoMailServerMarksData) {
    for (const auto field :
         {&MailSettingsRecord::from, &MailSettingsRecord::reply_to, &MailSettingsRecord::smtp_server}) {
        MailSettingsRecord settings{};
        put(settings.*field, "x");
        pxd_data_present = 0;
        generate(settings);
        EXPECT_EQ(pxd_data_present, 1U);
    }
    pxd_data_present = 0;
    MailSettingsRecord settings{};
    put(settings.return_receipt, "no line of its own");
    service_says(answer(settings));
    service_says(answer(kept_server()));
    service_refuses(0x403B000C);
    generate();
    EXPECT_EQ(pxd_data_present, 0U);
}

TEST_F(GenerateMailTest, WalksTheMailServersByTheirHosts) {
    MailServerRecord second = kept_server();
    put(second.host, "mail.example.net");
    second.port = 0xFFFFFFFF;
    put(second.vrf_name, "");
    service_says(answer(MailSettingsRecord{}));
    service_says(answer(kept_server()));
    service_says(answer(second));
    service_refuses(0x403B000C);
    EXPECT_EQ(generate().result, 0);
    EXPECT_EQ(platform().configuration_lines,
              (Lines{"transport email mail-server 192.0.2.7 port 587 priority 10 use-vrf blue\n",
                     "transport email mail-server mail.example.net port -1 priority 10\n"}));
    EXPECT_EQ(asked(), (Asked{"2152/1", "2193/2", "2193/2", "2193/2"}));
    MailServerRecord key{};
    for (const char* host : {"", "192.0.2.7", "mail.example.net"}) {
        put(key.host, host);
        const std::size_t walk = host[0] == '\0' ? 1 : host[0] == '1' ? 2 : 3;
        EXPECT_TRUE(platform().exchanges.at(walk).sent == in_transport_order(key)) << host;
        EXPECT_EQ(platform().exchanges.at(walk).length, 533U);
    }
}

TEST_F(GenerateMailTest, ReadsThePendingCopyWhenItIsToldTo) {
    print_running_config = 0;
    service_says(answer(MailSettingsRecord{}));
    service_says(answer(kept_server()));
    service_refuses(0x403B0034);
    EXPECT_EQ(generate().result, 0);
    EXPECT_EQ(asked(), (Asked{"2152/5", "2193/6", "2193/6"}));
}

TEST_F(GenerateMailTest, PassesOnThatThereIsNoPendingCopy) {
    service_says(answer(kept_settings(), 0x403B0034));
    const auto [result, out, err] = generate();
    EXPECT_EQ(result, 0x403B0034);
    EXPECT_EQ(out + err, "");
    EXPECT_EQ(platform().configuration_lines, Lines{});
    EXPECT_EQ(asked(), Asked{"2152/1"});
}

TEST_F(GenerateMailTest, ReportsARefusalOfTheSettings) {
    for (const ServiceStatus status : {5, 0x403B000B, 0x403B000C, 0x403B0032}) {
        service_refuses(status);
        const auto [result, out, err] = generate();
        EXPECT_EQ(result, 1);
        EXPECT_EQ(out, std::string(sys_err_to_str(status)) + "\n");
        EXPECT_EQ(err, "");
    }
}

TEST_F(GenerateMailTest, ReportsARefusalDuringTheWalk) {
    service_says(answer(kept_settings()));
    service_refuses(not_found);
    const auto [result, out, err] = generate();
    EXPECT_EQ(result, 1);
    EXPECT_EQ(out, not_found_text);
    EXPECT_EQ(platform().configuration_lines.size(), 4U);
}

TEST_F(GenerateMailTest, SaysThatTheConfigurationEndsWhereAnAnswerIsIncomplete) {
    const std::string ending = " bytes); the running configuration ends here\n";
    for (std::size_t length = 0; length < sizeof(MailSettingsRecord); ++length) {
        service_says(cut(answer(kept_settings()), length));
        const auto [result, out, err] = generate();
        ASSERT_EQ(result, 1);
        ASSERT_EQ(out, "");
        ASSERT_EQ(err, "The answer of the call-home service was incomplete (" + std::to_string(length) +
                           " of 1293" + ending);
    }
    for (std::size_t length = 0; length < sizeof(MailServerRecord); ++length) {
        service_says(answer(MailSettingsRecord{}));
        service_says(cut(answer(kept_server()), length));
        const auto [result, out, err] = generate();
        ASSERT_EQ(result, 1);
        ASSERT_EQ(err, "The answer of the call-home service was incomplete (" + std::to_string(length) +
                           " of 533" + ending);
    }
    EXPECT_EQ(platform().configuration_lines, Lines{});
}

TEST_F(GenerateMailTest, EndsAWalkThatGoesInCircles) {
    service_says(answer(MailSettingsRecord{}));
    for (int round = 0; round < 5000; ++round) {
        service_says(answer(kept_server()));
    }
    const auto [result, out, err] = generate();
    EXPECT_EQ(result, 1);
    EXPECT_EQ(err, "The list of mail servers has no end; the running configuration ends here\n");
    EXPECT_FALSE(platform().answers.empty());
}

TEST_F(GenerateMailTest, ReadsTextsWithoutATerminatorWithinTheirFieldsAndPercentSignsAsTheyAre) {
    MailSettingsRecord settings{};
    std::memset(settings.from, 'f', sizeof settings.from);
    std::memset(settings.vrf_name, 'v', sizeof settings.vrf_name);
    put(settings.reply_to, "%s%n");
    put(settings.smtp_server, "100%d");
    generate(settings);
    EXPECT_EQ(
        platform().configuration_lines,
        (Lines{"transport email from " + std::string(256, 'f') + "\n", "transport email reply-to %s%n\n",
               "transport email smtp-server 100%d\n", "use-vrf " + std::string(256, 'v') + "\n"}));
}

}  // namespace
}  // namespace callhome::test
