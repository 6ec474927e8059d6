// What is said to a mail server, and what is not, when encryption does not come about.
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <fstream>

#include "delivery/smtp_client.h"
#include "lone_attempt.h"
#include "scripted_server.h"
#include "temporary_folder.h"

namespace callhome::service {
namespace {

using tests::SmtpServer;

constexpr const char* offer = "250-test\r\n250 STARTTLS";

std::string at(const std::string& stage, const std::string& here, const std::string& reply) {
    return stage == here ? reply : tests::good_answer;
}

class SmtpEncryption : public testing::Test {
 protected:
    void settings(const std::string& text) {
        const auto file = folder_ / "127.0.0.1.mail";
        std::ofstream(file) << text;
        ASSERT_EQ(::chmod(file.c_str(), 0600), 0);
    }
    Outcome send(const SmtpServer& server, bool is_known_to_encrypt = false) const {
        TransferLimits limits;
        limits.response = std::chrono::seconds(1);
        limits.total = std::chrono::seconds(20);
        limits.server_folder = folder_.path();
        DeliveryJob job;
        job.receiver = "ada@example.com";
        job.sender = "switch1@example.com";
        job.own_name = "switch1";
        job.content = std::make_shared<const std::string>("Subject: x\r\n\r\nhello\r\n");
        return tests::send_alone(job, {"127.0.0.1", server.port(), "", is_known_to_encrypt}, limits);
    }
    static void expect_nothing_said(const SmtpServer& server) {
        EXPECT_TRUE(server.mails().empty());
        for (const std::string& command : server.commands()) {
            EXPECT_FALSE(command.starts_with("MAIL") || command.starts_with("AUTH")) << command;
        }
    }

    TemporaryFolder folder_;
};

TEST_F(SmtpEncryption, ThatWasNeverOfferedIsNotMissed) {
    const SmtpServer server;
    const Outcome outcome = send(server);
    EXPECT_EQ(outcome.verdict, Verdict::delivered) << outcome.reason;
    EXPECT_FALSE(outcome.is_encrypted);
}

TEST_F(SmtpEncryption, ThatIsNotOfferedAnyMoreKeepsTheMailBack) {
    const SmtpServer server;
    const Outcome outcome = send(server, true);
    EXPECT_EQ(outcome.verdict, Verdict::postponed);
    EXPECT_EQ(outcome.reason,
              "it does not offer encryption (STARTTLS) any more, as it did before; if that is meant, put "
              "'encryption offered' into its settings, see MAIL SERVERS in callhomed(8)");
    expect_nothing_said(server);
}

TEST_F(SmtpEncryption, MayGoMissingWhereTheSettingsSaySo) {
    const SmtpServer server;
    for (const char* word : {"encryption offered", "encryption off"}) {
        settings(word);
        EXPECT_EQ(send(server, true).verdict, Verdict::delivered) << word;
    }
}

TEST_F(SmtpEncryption, ThatIsRequiredAndNotOfferedKeepsTheMailBack) {
    const SmtpServer server;
    settings("encryption required");
    const Outcome outcome = send(server);
    EXPECT_EQ(outcome.verdict, Verdict::postponed);
    EXPECT_EQ(outcome.reason, "it does not offer encryption (STARTTLS), which its settings require");
    expect_nothing_said(server);
}

TEST_F(SmtpEncryption, IsWhatALoginWaitsFor) {
    const SmtpServer server([](const std::string& stage, const std::string& /*argument*/) {
        return at(stage, "EHLO", "250-test\r\n250 AUTH PLAIN LOGIN");
    });
    settings("user ada\nsecret enigma");
    const Outcome outcome = send(server);
    EXPECT_EQ(outcome.verdict, Verdict::postponed);
    EXPECT_EQ(outcome.reason, "it does not offer encryption (STARTTLS), without which no login is sent");
    expect_nothing_said(server);
}

TEST_F(SmtpEncryption, ThatIsOfferedAndThenRefusedGivesNoContentAway) {
    const SmtpServer server([](const std::string& stage, const std::string& /*argument*/) {
        return stage == "EHLO" ? offer : at(stage, "STARTTLS", "454 not now");
    });
    for (const char* word : {"# nothing", "encryption required", "encryption offered"}) {
        settings(word);
        const Outcome outcome = send(server);
        EXPECT_EQ(outcome.verdict, Verdict::postponed) << word;
        EXPECT_EQ(outcome.reason, "it offers encryption and then refuses it: 454 not now") << word;
    }
    EXPECT_TRUE(server.mails().empty());
}

TEST_F(SmtpEncryption, ThatFailsHalfWayIsNotDoneWithout) {
    const SmtpServer server([](const std::string& stage, const std::string& /*argument*/) {
        return stage == "EHLO" ? offer : at(stage, "STARTTLS", "220 go on");
    });
    const Outcome outcome = send(server);
    EXPECT_EQ(outcome.verdict, Verdict::postponed);
    EXPECT_TRUE(outcome.reason.starts_with("the connection cannot be encrypted: ")) << outcome.reason;
    EXPECT_EQ(server.connections(), 1);
    expect_nothing_said(server);
}

TEST_F(SmtpEncryption, OnConnectTellsAServerThatSpeaksInTheClear) {
    const SmtpServer server;
    settings("encryption on-connect");
    const Outcome outcome = send(server);
    EXPECT_EQ(outcome.verdict, Verdict::postponed);
    EXPECT_NE(outcome.reason, "");
    EXPECT_TRUE(server.mails().empty());
}

TEST_F(SmtpEncryption, IsNotGivenUpForSettingsThatCannotBeBelieved) {
    const SmtpServer server;
    settings("encryption off");
    ASSERT_EQ(::chmod((folder_ / "127.0.0.1.mail").c_str(), 0644), 0);
    const Outcome outcome = send(server);
    EXPECT_EQ(outcome.verdict, Verdict::postponed);
    EXPECT_NE(outcome.reason.find("make its mode 0600"), std::string::npos) << outcome.reason;
    EXPECT_EQ(server.connections(), 0);
}

TEST_F(SmtpEncryption, ByACertificateWhoseNameIsNoneIsNotTried) {
    const SmtpServer server;
    settings("certificate-name a/b");
    EXPECT_EQ(send(server).reason, "the certificate-name in its settings is not the name of a host");
    EXPECT_EQ(server.connections(), 0);
}

}  // namespace
}  // namespace callhome::service
