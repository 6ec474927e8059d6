// Connections that are kept for the next message: what goes over them, and what does not.
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <algorithm>
#include <fstream>
#include <utility>

#include "delivery/http_client.h"
#include "delivery/smtp_client.h"
#include "lone_attempt.h"
#include "scripted_server.h"
#include "temporary_folder.h"

namespace callhome::service {
namespace {

using tests::HttpServer;
using tests::SmtpServer;

TransferLimits short_limits() {
    TransferLimits limits;
    limits.response = std::chrono::seconds(1);
    limits.total = std::chrono::seconds(2);
    limits.keep_idle = std::chrono::minutes(10);  // no test takes as long
    return limits;
}

// Answers like this when it comes to a stage for so many times, and well otherwise.
SmtpServer::Script answering(const std::string& at, int time, const std::string& with) {
    return [=, times = 0](const std::string& stage, const std::string& /*argument*/) mutable {
        return stage == at && ++times == time ? with : tests::good_answer;
    };
}

class KeptMail : public testing::Test {
 protected:
    void settings(const std::string& text) {
        const auto file = folder_ / "127.0.0.1.mail";
        std::ofstream(file) << text;
        ASSERT_EQ(::chmod(file.c_str(), 0600), 0);
        limits_.server_folder = folder_.path();
    }
    Outcome send(const SmtpServer& server, bool is_known_to_encrypt = false) {
        return send_by_smtp(job_, {"127.0.0.1", server.port(), "", is_known_to_encrypt}, limits_, {},
                            kept_);
    }
    static DeliveryJob sample_job() {
        DeliveryJob job;
        job.receiver = "ada@example.com";
        job.sender = "switch1@example.com";
        job.own_name = "switch1";
        job.content = std::make_shared<const std::string>("Subject: x\r\n\r\nhello\r\n");
        return job;
    }
    static std::ptrdiff_t count(const SmtpServer& server, const std::string& verb) {
        return std::ranges::count_if(server.commands(),
                                     [&](const std::string& line) { return line.starts_with(verb); });
    }

    TemporaryFolder folder_;
    TransferLimits limits_ = short_limits();
    DeliveryJob job_ = sample_job();
    KeptConnection kept_;
};

TEST_F(KeptMail, GoesOverOneConnectionOneAfterTheOther) {
    const SmtpServer server;
    for (const char* receiver : {"ada@example.com", "bob@example.com", "eve@example.com"}) {
        job_.receiver = receiver;
        job_.content = std::make_shared<const std::string>("To: " + job_.receiver + "\r\n\r\n.\r\n");
        const Outcome outcome = send(server);
        EXPECT_EQ(outcome.verdict, Verdict::delivered) << outcome.reason;
        EXPECT_EQ(server.mails().back().receiver, "RCPT TO:<" + job_.receiver + ">");
        EXPECT_EQ(server.mails().back().content, *job_.content);
    }
    EXPECT_EQ(server.mails().size(), 3U);
    EXPECT_EQ(server.connections(), 1);
    EXPECT_EQ(count(server, "EHLO"), 1);
    EXPECT_EQ(count(server, "QUIT"), 0);
}

TEST_F(KeptMail, EndsWithAGoodbye) {
    const SmtpServer server;
    send(server);
    kept_.close();
    EXPECT_EQ(server.commands().back(), "QUIT");
    EXPECT_EQ(count(server, "QUIT"), 1);
    EXPECT_EQ(kept_.place(), "");
}

TEST_F(KeptMail, DoesNotWaitForTheAnswerToItsGoodbye) {
    const SmtpServer server(answering("QUIT", 1, tests::stay_silent));
    send(server);
    limits_.response = std::chrono::seconds(300);
    const auto begin = std::chrono::steady_clock::now();
    kept_.close();
    EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(10));
    EXPECT_EQ(count(server, "QUIT"), 1);
}

struct Ending {
    const char* stage;
    int time;
    std::string reply;
};

TEST_F(KeptMail, GoesOverANewConnectionWhenTheServerHasEndedTheOldOne) {
    for (const Ending& ending : {
             Ending{"content", 1, "250 taken" + tests::then_drop},
             Ending{"content", 1, "250 taken\r\n421 4.4.2 idle for too long"},
             Ending{"content", 1, "250 taken\r\n421 4.4.2 idle for too long" + tests::then_drop},
             Ending{"MAIL", 2, tests::drop_connection},
             Ending{"MAIL", 2, "421 4.3.2 shutting down"},
             Ending{"MAIL", 2, "421 4.3.2 shutting down" + tests::then_drop},
             Ending{"MAIL", 2, "452 4.5.3 too many mails"},
             Ending{"MAIL", 2, "554 5.7.0 too many mails"},
             Ending{"RCPT", 2, tests::drop_connection},
             Ending{"RCPT", 2, "421 4.3.2 shutting down" + tests::then_drop},
             Ending{"DATA", 2, tests::drop_connection},
         }) {
        const SmtpServer server(answering(ending.stage, ending.time, ending.reply));
        EXPECT_EQ(send(server).verdict, Verdict::delivered);
        const Outcome outcome = send(server);
        EXPECT_EQ(outcome.verdict, Verdict::delivered)
            << ending.stage << " " << ending.reply << ": " << outcome.reason;
        EXPECT_EQ(outcome.reason, "");
        EXPECT_EQ(server.connections(), 2) << ending.stage << " " << ending.reply;
        EXPECT_EQ(server.mails().size(), 2U) << ending.stage << " " << ending.reply;
        kept_.close();
    }
}

TEST_F(KeptMail, FailsInTheWordsOfTheNewConnection) {
    SmtpServer server;
    send(server);
    server.set_script([](const std::string& stage, const std::string& /*argument*/) {
        return stage == "MAIL" ? tests::drop_connection : stage == "greeting" ? "421 not today" : "";
    });
    const Outcome outcome = send(server);
    EXPECT_EQ(outcome.verdict, Verdict::postponed);
    EXPECT_EQ(outcome.reason, "421 not today");
    EXPECT_TRUE(outcome.is_server_down);
    EXPECT_EQ(kept_.place(), "");
}

// The server may have it: that is for another try to find out.
TEST_F(KeptMail, ThatMayHaveGotThroughIsNotSentAtOnceAgain) {
    for (const std::string& end : {tests::drop_connection, std::string("421 4.3.2 shutting down")}) {
        const SmtpServer server(answering("content", 2, end));
        send(server);
        const Outcome outcome = send(server);
        EXPECT_EQ(outcome.verdict, Verdict::postponed);
        EXPECT_EQ(outcome.reason, end == tests::drop_connection
                                      ? "it closed the connection while it was to take the mail"
                                      : end);
        EXPECT_EQ(server.connections(), 1);
        EXPECT_EQ(kept_.place(), "");
    }
}

TEST_F(KeptMail, ThatIsRefusedForItsReceiverIsNotSentAgain) {
    const SmtpServer server(answering("RCPT", 2, "550 5.1.1 nobody"));
    send(server);
    const Outcome outcome = send(server);
    EXPECT_EQ(outcome.verdict, Verdict::refused);
    EXPECT_EQ(outcome.reason, "550 5.1.1 nobody");
    EXPECT_EQ(server.connections(), 1);
    EXPECT_EQ(kept_.place(), "") << "who knows what the server makes of the next mail";
}

TEST_F(KeptMail, WaitsForASilentServerOnce) {
    const SmtpServer server(answering("MAIL", 2, tests::stay_silent));
    send(server);
    const Outcome outcome = send(server);
    EXPECT_EQ(outcome.verdict, Verdict::postponed);
    EXPECT_TRUE(outcome.reason.ends_with(" while it was to answer MAIL")) << outcome.reason;
    EXPECT_EQ(server.connections(), 1);
}

TEST_F(KeptMail, EndsWhenAStopIsRequested) {
    const SmtpServer server(answering("MAIL", 2, tests::stay_silent));
    send(server);
    std::stop_source stop;
    stop.request_stop();
    EXPECT_EQ(send_by_smtp(job_, {"127.0.0.1", server.port(), "", false}, limits_, stop.get_token(), kept_)
                  .verdict,
              Verdict::stopped);
}

TEST_F(KeptMail, GoesOverANewConnectionWhenTheSettingsHaveChanged) {
    const SmtpServer server;
    int connections = 0;
    for (const char* text :
         {"# nothing", "encryption off", "encryption off\ncertificate-name b.example.net",
          "encryption off\nauthorities /nowhere/a.pem", "encryption offered\nauthorities /nowhere/a.pem"}) {
        settings(text);
        for (int i = 0; i < 2; ++i) {
            EXPECT_EQ(send(server).verdict, Verdict::delivered) << text;
        }
        EXPECT_EQ(server.connections(), ++connections) << text;
        EXPECT_EQ(count(server, "QUIT"), connections - 1) << text;
    }
    settings("user ada\nsecret enigma");
    EXPECT_EQ(send(server).verdict, Verdict::postponed) << "no login goes over a connection in the clear";
    settings("user ada");
    EXPECT_EQ(send(server).verdict, Verdict::postponed) << "settings that do not count";
    EXPECT_EQ(server.connections(), connections + 1);
}

TEST_F(KeptMail, GoesOverANewConnectionWhenOthersVouchForTheServer) {
    const SmtpServer server;
    limits_.authorities = folder_ / "authorities.pem";
    std::ofstream(limits_.authorities) << "one";
    send(server);
    send(server);
    EXPECT_EQ(server.connections(), 1);
    std::ofstream(limits_.authorities) << "another";
    EXPECT_EQ(send(server).verdict, Verdict::delivered);
    EXPECT_EQ(server.connections(), 2);
}

TEST_F(KeptMail, DoesNotGoInTheClearOnceTheServerIsKnownToEncrypt) {
    const SmtpServer server;
    send(server);
    const Outcome outcome = send(server, true);
    EXPECT_EQ(outcome.verdict, Verdict::postponed);
    EXPECT_TRUE(outcome.reason.starts_with("it does not offer encryption (STARTTLS) any more"))
        << outcome.reason;
    EXPECT_EQ(server.mails().size(), 1U);
}

TEST_F(KeptMail, GoesOverSoManyAndForSoLong) {
    const SmtpServer server;
    limits_.keep_for_messages = 2;
    for (int i = 0; i < 4; ++i) {
        send(server);
    }
    EXPECT_EQ(server.connections(), 2);
    EXPECT_EQ(count(server, "QUIT"), 2);
    limits_.keep_for_messages = 100;
    for (auto* limit : {&limits_.keep_for, &limits_.keep_idle}) {
        const auto before = std::exchange(*limit, std::chrono::milliseconds(0));
        const int connections = server.connections();
        send(server);
        send(server);
        EXPECT_EQ(server.connections(), connections + 2);
        *limit = before;
    }
}

TEST_F(KeptMail, LeavesTheConnectionToOneServerForAnother) {
    const SmtpServer first;
    const SmtpServer second;
    send(first);
    send(second);
    EXPECT_EQ(count(first, "QUIT"), 1);
    EXPECT_EQ(count(second, "QUIT"), 0);
    EXPECT_EQ(first.mails().size() + second.mails().size(), 2U);
}

std::string answer(const std::string& status) {
    return "HTTP/1.1 " + status + "\r\nContent-Length: 2\r\n\r\nok";
}

class KeptPost : public testing::Test {
 protected:
    Outcome post(const HttpServer& server, const std::string& path = "/") {
        return post_by_http(job(server, path), limits_, {}, kept_);
    }
    static DeliveryJob job(const HttpServer& server, const std::string& path) {
        DeliveryJob job;
        job.carrier = Carrier::http;
        job.receiver = "http://127.0.0.1:" + std::to_string(server.port()) + path;
        job.content_type = "text/plain; charset=utf-8";
        job.key = "7.1.1700000000.0a@switch1";
        job.content = std::make_shared<const std::string>(std::string(20'000, 'x'));
        return job;
    }

    TransferLimits limits_ = short_limits();
    KeptConnection kept_;
};

TEST_F(KeptPost, GoesOverOneConnectionOneAfterTheOther) {
    const HttpServer server([](std::size_t /*number*/) { return answer("200 OK"); });
    for (const char* path : {"/a", "/b?c", "/"}) {
        EXPECT_EQ(post(server, path).verdict, Verdict::delivered);
        EXPECT_TRUE(server.requests().back().starts_with(std::string("POST ") + path + " HTTP/1.1\r\n"));
        EXPECT_TRUE(server.requests().back().ends_with("\r\n\r\n" + std::string(20'000, 'x')));
    }
    EXPECT_EQ(server.connections(), 1);
}

TEST_F(KeptPost, GoesOverANewConnectionWhenTheServerHasEndedTheOldOne) {
    const HttpServer server(
        [](std::size_t number) { return number == 2 ? tests::drop_connection : answer("200 OK"); });
    post(server);
    const Outcome outcome = post(server);
    EXPECT_EQ(outcome.verdict, Verdict::delivered) << outcome.reason;
    EXPECT_EQ(server.connections(), 2);
    EXPECT_EQ(server.requests().size(), 2U);
}

TEST_F(KeptPost, FailsInTheWordsOfTheNewConnection) {
    const HttpServer server(
        [](std::size_t number) { return number > 1 ? tests::drop_connection : answer("200 OK"); });
    post(server);
    const Outcome outcome = post(server);
    EXPECT_EQ(outcome.verdict, Verdict::postponed);
    EXPECT_EQ(server.connections(), 2);
    EXPECT_EQ(outcome.reason, tests::attempt_alone(job(server, "/"), limits_).reason);
}

TEST_F(KeptPost, ThatIsAnsweredIsNotSentAgain) {
    const HttpServer server(
        [](std::size_t number) { return answer(number == 1 ? "200 OK" : "503 Service Unavailable"); });
    post(server);
    EXPECT_EQ(post(server).reason, "HTTP status 503");
    EXPECT_EQ(server.connections(), 1);
    EXPECT_EQ(kept_.place(), "");
    post(server);
    EXPECT_EQ(server.connections(), 2);
}

TEST_F(KeptPost, WaitsForASilentServerOnce) {
    const HttpServer server(
        [](std::size_t number) { return number == 1 ? answer("200 OK") : tests::stay_silent; });
    post(server);
    EXPECT_EQ(post(server).verdict, Verdict::postponed);
    EXPECT_EQ(server.connections(), 1);
    EXPECT_EQ(server.requests().size(), 2U);
}

TEST_F(KeptPost, KeepsNoConnectionThatTheServerCloses) {
    const HttpServer server("HTTP/1.1 200 OK");
    EXPECT_EQ(post(server).verdict, Verdict::delivered);
    EXPECT_EQ(kept_.place(), "");
}

TEST_F(KeptPost, GoesOverANewConnectionForAnotherLoginInTheAddress) {
    const HttpServer server([](std::size_t /*number*/) { return answer("200 OK"); });
    DeliveryJob one = job(server, "/");
    post_by_http(one, limits_, {}, kept_);
    one.receiver.insert(std::string("http://").size(), "ada:enigma@");
    post_by_http(one, limits_, {}, kept_);
    EXPECT_EQ(server.connections(), 2);
    EXPECT_EQ(server.requests().at(0).find("Authorization"), std::string::npos);
    EXPECT_NE(server.requests().at(1).find("Authorization"), std::string::npos);
}

TEST_F(KeptPost, GoesThroughTheProxyWithTheLoginOfTheMoment) {
    TemporaryFolder folder;
    limits_.server_folder = folder.path();
    const auto lay_down = [&](const std::string& text) {
        std::ofstream(folder / "127.0.0.1.proxy") << text;
        ASSERT_EQ(::chmod((folder / "127.0.0.1.proxy").c_str(), 0600), 0);
    };
    const HttpServer proxy([](std::size_t number) {
        return answer(number < 4 ? "200 OK" : "407 Proxy Authentication Required");
    });
    DeliveryJob through = job(proxy, "/");
    through.receiver = "http://collector.example.net/";
    through.http = {.proxy = "127.0.0.1", .proxy_port = proxy.port(), .vrf_name = ""};
    const auto send = [&] { return post_by_http(through, limits_, {}, kept_); };
    lay_down("user ada\nsecret one");
    EXPECT_EQ(send().verdict, Verdict::delivered);
    EXPECT_EQ(send().through, "the proxy 127.0.0.1:" + std::to_string(proxy.port()));
    EXPECT_EQ(proxy.connections(), 1);
    lay_down("user ada\nsecret two");
    EXPECT_EQ(send().verdict, Verdict::delivered);
    EXPECT_EQ(proxy.connections(), 2);
    EXPECT_EQ(send().reason, "HTTP status 407: the login in its settings is refused there");
    EXPECT_EQ(proxy.connections(), 2);
}

}  // namespace
}  // namespace callhome::service
