#include "delivery/smtp_client.h"

#include <gtest/gtest.h>

#include <algorithm>

#include "delivery/mail_routes.h"
#include "lone_attempt.h"
#include "row_name.h"
#include "scripted_server.h"

namespace callhome::service {
namespace {

using tests::ScriptedServer;
using tests::SmtpServer;

// A server that falls silent costs the shortest time that libcurl knows: one second.
TransferLimits short_limits() {
    TransferLimits limits;
    limits.connect = std::chrono::seconds(5);
    limits.total = std::chrono::seconds(20);
    limits.response = std::chrono::seconds(1);
    return limits;
}

DeliveryJob sample_job(const std::string& content = "Subject: x\r\n\r\nhello\r\n") {
    DeliveryJob job;
    job.receiver = "ada@example.com";
    job.sender = "switch1@example.com";
    job.own_name = "switch1";
    job.content = std::make_shared<const std::string>(content);
    return job;
}

MailRoute route_to(const ScriptedServer& server) {
    return {"127.0.0.1", server.port(), ""};
}

Outcome send(const DeliveryJob& job, const MailRoute& route) {
    return tests::send_alone(job, route, short_limits());
}

SmtpServer::Script answering(const std::string& at, const std::string& with) {
    return [at, with](const std::string& stage, const std::string& /*argument*/) {
        return stage == at ? with : tests::good_answer;
    };
}

TEST(Smtp, DeliversTheContentToTheByteWithSenderAndReceiver) {
    const SmtpServer server;
    const std::string content = "Subject: x\r\n\r\n.\r\n..two dots\r\n.one dot\r\nend\r\n";
    const Outcome outcome = send(sample_job(content), route_to(server));
    EXPECT_EQ(outcome.verdict, Verdict::delivered);
    EXPECT_EQ(outcome.through, "127.0.0.1:" + std::to_string(server.port()));
    ASSERT_EQ(server.mails().size(), 1U);
    EXPECT_EQ(server.mails()[0].content, content);
    EXPECT_TRUE(server.mails()[0].sender.starts_with("MAIL FROM:<switch1@example.com>"));
    EXPECT_EQ(server.mails()[0].receiver, "RCPT TO:<ada@example.com>");
    EXPECT_EQ(server.commands().front(), "EHLO switch1");
}

TEST(Smtp, DeliversALargeMail) {
    const SmtpServer server;
    std::string content = "Subject: x\r\n\r\n";
    for (int line = 0; line < 40'000; ++line) {
        content += "a line of the content which is sixty-four bytes long with its end\r\n";
    }
    // A sanitized server on a busy machine takes its time for it.
    EXPECT_EQ(tests::send_alone(sample_job(content), route_to(server), TransferLimits{}).verdict,
              Verdict::delivered);
    ASSERT_EQ(server.mails().size(), 1U);
    EXPECT_TRUE(server.mails()[0].content == content);
}

struct Answer {
    const char* stage;
    std::string reply;
    Verdict verdict;
    std::string reason;  // empty: any
};

std::string name_of_row(const testing::TestParamInfo<Answer>& info) {
    return tests::row_name(std::string(info.param.stage) + "_" + info.param.reply);
}

class SmtpAnswer : public testing::TestWithParam<Answer> {};

TEST_P(SmtpAnswer, DecidesWhatBecomesOfTheMail) {
    const Answer& row = GetParam();
    const SmtpServer server(answering(row.stage, row.reply));
    const Outcome outcome = send(sample_job(), route_to(server));
    EXPECT_EQ(outcome.verdict, row.verdict) << row.stage << " " << row.reply << " -> " << outcome.reason;
    EXPECT_EQ(outcome.through, "127.0.0.1:" + std::to_string(server.port()));
    if (row.reason.empty()) {
        EXPECT_NE(outcome.reason, "");
    } else {
        EXPECT_EQ(outcome.reason, row.reason);
    }
    EXPECT_TRUE(server.mails().empty());
}

INSTANTIATE_TEST_SUITE_P(Temporary, SmtpAnswer,
                         testing::Values(Answer{"greeting", "421 busy", Verdict::postponed, "421 busy"},
                                         Answer{"MAIL", "451 later", Verdict::postponed, "451 later"},
                                         Answer{"RCPT", "450 4.2.1 mailbox busy", Verdict::postponed,
                                                "450 4.2.1 mailbox busy"},
                                         Answer{"DATA", "451 no", Verdict::postponed, "451 no"},
                                         Answer{"content", "452 full", Verdict::postponed, "452 full"}),
                         name_of_row);

INSTANTIATE_TEST_SUITE_P(
    Permanent, SmtpAnswer,
    testing::Values(Answer{"MAIL", "550 no", Verdict::refused, "550 no"},
                    Answer{"RCPT", "550 5.1.1 no such user", Verdict::refused, "550 5.1.1 no such user"},
                    Answer{"DATA", "554 no", Verdict::refused, "554 no"},
                    Answer{"content", "554 5.7.1 spam", Verdict::refused, "554 5.7.1 spam"},
                    Answer{"content", "552-too\r\n552 long", Verdict::refused, "552-too 552 long"}),
    name_of_row);

INSTANTIATE_TEST_SUITE_P(
    OfTheServerAlone, SmtpAnswer,
    testing::Values(Answer{"greeting", "554 not today", Verdict::postponed, "554 not today"},
                    Answer{"MAIL", "530 5.7.0 log in first", Verdict::postponed, "530 5.7.0 log in first"}),
    name_of_row);

INSTANTIATE_TEST_SUITE_P(Lost, SmtpAnswer,
                         testing::Values(Answer{"greeting", tests::drop_connection, Verdict::postponed, ""},
                                         Answer{"EHLO", tests::drop_connection, Verdict::postponed, ""},
                                         Answer{"MAIL", tests::drop_connection, Verdict::postponed, ""},
                                         Answer{"RCPT", tests::drop_connection, Verdict::postponed, ""},
                                         Answer{"DATA", tests::drop_connection, Verdict::postponed, ""},
                                         Answer{"content", tests::drop_connection, Verdict::postponed, ""}),
                         name_of_row);

INSTANTIATE_TEST_SUITE_P(Silent, SmtpAnswer,
                         testing::Values(Answer{"greeting", tests::stay_silent, Verdict::postponed, ""},
                                         Answer{"EHLO", tests::stay_silent, Verdict::postponed, ""},
                                         Answer{"RCPT", tests::stay_silent, Verdict::postponed, ""},
                                         Answer{"DATA", tests::stay_silent, Verdict::postponed, ""},
                                         Answer{"content", tests::stay_silent, Verdict::postponed, ""}),
                         name_of_row);

INSTANTIATE_TEST_SUITE_P(Lying, SmtpAnswer,
                         testing::Values(Answer{"greeting", "hello there", Verdict::postponed, ""},
                                         Answer{"RCPT", "999 what", Verdict::refused, ""},
                                         Answer{"content", "199 what", Verdict::postponed, ""},
                                         Answer{"RCPT", "550 \x1b[31mred\x07", Verdict::refused,
                                                "550  [31mred"}),
                         name_of_row);

TEST(Smtp, BoundsTheWordsOfAServer) {
    const SmtpServer server(answering("RCPT", "550 " + std::string(50'000, 'x')));
    const Outcome outcome = send(sample_job(), route_to(server));
    EXPECT_NE(outcome.verdict, Verdict::delivered);
    EXPECT_LE(outcome.reason.size(), 400U);
}

TEST(Smtp, GreetsInTheOldWayWhereTheNewOneIsUnknown) {
    const SmtpServer server(answering("EHLO", "502 what"));
    EXPECT_EQ(send(sample_job(), route_to(server)).verdict, Verdict::delivered);
}

TEST(Smtp, ReportsAServerThatDoesNotListen) {
    const tests::ClosedPort port;
    const Outcome outcome = send(sample_job(), {"127.0.0.1", port.number(), ""});
    EXPECT_EQ(outcome.verdict, Verdict::postponed);
    EXPECT_NE(outcome.reason, "");
}

TEST(Smtp, BracketsAnIpv6Address) {
    const Outcome outcome = send(sample_job(), {"::1", 1, ""});
    EXPECT_EQ(outcome.through, "[::1]:1");
    EXPECT_EQ(outcome.verdict, Verdict::postponed);
}

TEST(Smtp, RefusesAHostThatIsNone) {
    for (const char* host : {"", "a b", "host/path", "user@host", "host:1", "a\r\nb", "[::1]", "ho?st#"}) {
        const Outcome outcome = send(sample_job(), {host, 25, ""});
        EXPECT_EQ(outcome.verdict, Verdict::postponed) << host;
        EXPECT_EQ(outcome.reason, "this is not the name or address of a mail server") << host;
    }
}

TEST(Smtp, NamesAVrfThatDoesNotExist) {
    const SmtpServer server;
    const Outcome outcome = send(sample_job(), {"127.0.0.1", server.port(), "no-such-vrf"});
    EXPECT_EQ(outcome.verdict, Verdict::postponed);
    EXPECT_EQ(outcome.reason, "the VRF no-such-vrf does not exist");
    EXPECT_EQ(server.connections(), 0);
}

TEST(Smtp, EndsWhenAStopIsRequested) {
    const SmtpServer server(answering("greeting", tests::stay_silent));
    std::stop_source stop;
    stop.request_stop();
    TransferLimits limits;  // the long ones
    EXPECT_EQ(tests::send_alone(sample_job(), route_to(server), limits, stop.get_token()).verdict,
              Verdict::stopped);
}

TEST(Attempt, GoesFromServerToServerUntilOneTakesTheMail) {
    const tests::ClosedPort closed;
    const SmtpServer busy(answering("RCPT", "450 later"));
    const SmtpServer good;
    const SmtpServer never_asked;
    DeliveryJob job = sample_job();
    job.routes = {
        {"127.0.0.1", closed.number(), ""}, route_to(busy), route_to(good), route_to(never_asked)};
    const Outcome outcome = tests::attempt_alone(job, short_limits());
    EXPECT_EQ(outcome.verdict, Verdict::delivered);
    EXPECT_EQ(outcome.through, "127.0.0.1:" + std::to_string(good.port()));
    EXPECT_EQ(busy.connections(), 1);
    ASSERT_EQ(outcome.failed_before.size(), 2U);
    EXPECT_EQ(outcome.failed_before[0].server, "127.0.0.1:" + std::to_string(closed.number()));
    EXPECT_TRUE(outcome.failed_before[0].is_down);
    EXPECT_EQ(outcome.failed_before[1].failure, "127.0.0.1:" + std::to_string(busy.port()) + ": 450 later");
    EXPECT_FALSE(outcome.failed_before[1].is_down) << "it has spoken about this mail alone";
    EXPECT_EQ(never_asked.connections(), 0);
}

TEST(Attempt, EndsWithTheServerThatRefusesForGood) {
    const SmtpServer refusing(answering("RCPT", "550 nobody"));
    const SmtpServer never_asked;
    DeliveryJob job = sample_job();
    job.routes = {route_to(refusing), route_to(never_asked)};
    EXPECT_EQ(tests::attempt_alone(job, short_limits()).verdict, Verdict::refused);
    EXPECT_EQ(never_asked.connections(), 0);
}

TEST(Attempt, WithoutAServerSaysWhatToConfigure) {
    const Outcome outcome = tests::attempt_alone(sample_job(), short_limits());
    EXPECT_EQ(outcome.verdict, Verdict::postponed);
    EXPECT_NE(outcome.reason.find("transport email mail-server HOST"), std::string::npos);
}

TEST(Attempt, SendsNothingToWhatIsNoAddress) {
    const SmtpServer server;
    for (const char* receiver : {"a@b> NOTIFY=NEVER", "a@b\r\nRCPT TO:<eve@example.com>", "a b@c", ""}) {
        DeliveryJob job = sample_job();
        job.receiver = receiver;
        job.routes = {route_to(server)};
        EXPECT_EQ(tests::attempt_alone(job, short_limits()).verdict, Verdict::refused) << receiver;
    }
    EXPECT_EQ(server.connections(), 0);
}

TEST(MailRoutes, FollowPriorityThenHostAndEndWithTheSingleServer) {
    Configuration configuration;
    configuration.mail_servers = {
        {"b", {}, 25, 50, "", 0}, {"c", {}, 26, 10, "mgmt", 0}, {"a", {}, 25, 50, "", 0}};
    configuration.mail.smtp_server = "z";
    configuration.mail.port = 0;
    std::string order;
    for (const MailRoute& route : mail_routes(configuration)) {
        order += route.host + ":" + std::to_string(route.port) + " " + route.vrf_name + ";";
    }
    EXPECT_EQ(order, "c:26 mgmt;a:25 ;b:25 ;z:25 ;");
    configuration.mail.smtp_server = "a";
    EXPECT_EQ(mail_routes(configuration).size(), 3U);
    EXPECT_TRUE(mail_routes({}).empty());
}

}  // namespace
}  // namespace callhome::service
