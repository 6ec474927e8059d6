// Mail servers that fall silent or leave: what is told of it says how far they had come.
#include <gtest/gtest.h>

#include "delivery/smtp_client.h"
#include "lone_attempt.h"
#include "scripted_server.h"

namespace callhome::service {
namespace {

using tests::SmtpServer;

struct Stage {
    const char* name;
    const char* expected;
};

constexpr Stage stages[] = {
    {"greeting", "it was to greet"},   {"EHLO", "it was to answer EHLO"},
    {"MAIL", "it was to answer MAIL"}, {"RCPT", "it was to answer RCPT"},
    {"DATA", "it was to answer DATA"}, {"content", "it was to take the mail"},
};

Outcome send_to(std::uint16_t port) {
    TransferLimits limits;
    limits.response = std::chrono::seconds(1);
    DeliveryJob job;
    job.receiver = "ada@example.com";
    job.sender = "switch1@example.com";
    job.own_name = "switch1";
    job.content = std::make_shared<const std::string>("Subject: x\r\n\r\nhello\r\n");
    return tests::send_alone(job, {"127.0.0.1", port, "", false}, limits);
}

SmtpServer::Script at(const Stage& stage, const std::string& reply) {
    return [&stage, reply](const std::string& here, const std::string& /*argument*/) {
        return here == stage.name ? reply : tests::good_answer;
    };
}

TEST(SmtpBreak, ThatIsAClosedConnectionIsToldWithItsStage) {
    for (const Stage& stage : stages) {
        const SmtpServer server(at(stage, tests::drop_connection));
        const Outcome outcome = send_to(server.port());
        EXPECT_EQ(outcome.verdict, Verdict::postponed) << stage.name;
        EXPECT_TRUE(outcome.reason.ends_with(std::string(" while ") + stage.expected)) << outcome.reason;
        EXPECT_EQ(outcome.reason.find("errno"), std::string::npos) << outcome.reason;
    }
}

TEST(SmtpBreak, ThatIsSilenceIsToldWithItsStage) {
    for (const Stage& stage : stages) {
        const SmtpServer server(at(stage, tests::stay_silent));
        const Outcome outcome = send_to(server.port());
        EXPECT_EQ(outcome.verdict, Verdict::postponed) << stage.name;
        EXPECT_TRUE(outcome.reason.ends_with(std::string(" while ") + stage.expected)) << outcome.reason;
    }
}

TEST(SmtpBreak, BeforeAConnectionHasNoStage) {
    std::uint16_t port = 0;
    {
        const SmtpServer gone;
        port = gone.port();
    }
    const Outcome outcome = send_to(port);
    EXPECT_EQ(outcome.verdict, Verdict::postponed);
    EXPECT_EQ(outcome.reason.find(" while "), std::string::npos) << outcome.reason;
}

TEST(SmtpBreak, ThatWasAnnouncedIsToldInTheServersWords) {
    const SmtpServer server([](const std::string& stage, const std::string& /*argument*/) {
        return stage == "EHLO"   ? "421 4.3.2 shutting down"
               : stage == "HELO" ? tests::drop_connection
                                 : tests::good_answer;
    });
    const Outcome outcome = send_to(server.port());
    EXPECT_EQ(outcome.verdict, Verdict::postponed);
    EXPECT_EQ(outcome.reason, "421 4.3.2 shutting down");
    EXPECT_TRUE(outcome.is_server_down);
}

}  // namespace
}  // namespace callhome::service
