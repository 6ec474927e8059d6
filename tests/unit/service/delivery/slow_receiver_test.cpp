// A receiver that takes its time delays nobody else; a server that encrypts is remembered.
#include <gtest/gtest.h>

#include "delivery/queue.h"
#include "message_service_fixture.h"

namespace callhome::service {
namespace {

using protocol::DeliveryState;
using protocol::Status;
using tests::HttpServer;
using tests::MessageServiceTest;

class SlowReceiverTest : public MessageServiceTest {
 protected:
    void post_to(const std::vector<std::string>& urls) {
        Profile& profile = configuration_.profiles.front();
        profile.transport_methods = protocol::transport_http;
        profile.urls.clear();
        for (const std::string& url : urls) {
            profile.urls.push_back({static_cast<std::uint32_t>(profile.urls.size() + 1), url});
        }
    }
    static std::string url_of(const tests::ScriptedServer& server, int number = 0) {
        return "http://127.0.0.1:" + std::to_string(server.port()) + "/" + std::to_string(number);
    }
};

TEST_F(SlowReceiverTest, DoesNotDelayAnotherHostHoweverMuchWaitsForIt) {
    const HttpServer slow(tests::stay_silent);
    const HttpServer quick("HTTP/1.1 200 OK");
    std::vector<std::string> urls;
    for (int i = 0; i < 30; ++i) {
        urls.push_back(url_of(slow, i));
    }
    urls.push_back(url_of(quick));
    post_to(urls);
    settings_.workers = 6;
    settings_.workers_per_host = 2;
    settings_.transfer.response = std::chrono::seconds(300);
    settings_.transfer.total = std::chrono::seconds(300);
    start();
    service_->send({"test", "", "", ""}, [](Status, const std::string&) {});
    EXPECT_TRUE(run_until(
        [&] { return service_->message_after(0) && service_->message_after(0)->delivered == 1; }));
    EXPECT_EQ(quick.requests().size(), 1U);
    EXPECT_LE(slow.connections(), 2);
}

TEST_F(SlowReceiverTest, DoesNotDelayTheMail) {
    const HttpServer slow(tests::stay_silent);
    post_to({url_of(slow, 1), url_of(slow, 2), url_of(slow, 3), url_of(slow, 4)});
    configuration_.profiles.push_back(
        tests::profile_of("mail", protocol::MessageFormat::short_text, {"ada@example.com"}));
    settings_.workers = 3;
    settings_.workers_per_host = 2;
    settings_.transfer.response = std::chrono::seconds(300);
    settings_.transfer.total = std::chrono::seconds(300);
    start();
    service_->send({"test", "", "", ""}, [](Status, const std::string&) {});
    EXPECT_TRUE(run_until([&] { return server_.mails().size() == 1; }));
}

TEST_F(SlowReceiverTest, GetsTheSameKeyWithEachTry) {
    std::atomic<int> answers = 0;
    const HttpServer web([&](const HttpServer::Write& write) {
        write(++answers == 1 ? "HTTP/1.1 503 Later\r\nContent-Length: 0\r\n\r\n"
                             : "HTTP/1.1 200 OK\r\nContent-Length: 0\r\n\r\n");
    });
    post_to({url_of(web), url_of(web, 1)});
    start();
    EXPECT_EQ(send("test").status, Status::ok);
    restart();
    clock_ += 60;
    EXPECT_TRUE(run_until([&] { return service_->message_after(0)->delivered == 2; }));
    std::map<std::string, std::set<std::string>> keys;  // by path
    for (const std::string& request : web.requests()) {
        const std::string name = "\r\nIdempotency-Key: ";
        const std::size_t at = request.find(name);
        ASSERT_NE(at, std::string::npos) << request;
        const std::size_t begin = at + name.size();
        keys[request.substr(0, request.find(" HTTP"))].insert(
            request.substr(begin, request.find("\r\n", begin) - begin));
    }
    EXPECT_EQ(web.requests().size(), 3U);
    ASSERT_EQ(keys.size(), 2U);
    EXPECT_EQ(keys.begin()->second.size(), 1U);
    EXPECT_EQ(keys.rbegin()->second.size(), 1U);
    EXPECT_NE(keys.begin()->second, keys.rbegin()->second);
}

TEST_F(SlowReceiverTest, WaitsNoLongerAfterARestart) {
    server_.set_script([](const std::string& stage, const std::string& /*argument*/) {
        return stage == "RCPT" ? "450 later" : tests::good_answer;
    });
    settings_.retry.most_cut = 25;
    settings_.retry.random = [](std::int64_t most) { return most; };
    start();
    send("test");
    const auto due = service_->delivery_after(0, 0)->next_attempt_at;
    EXPECT_EQ(due, clock_ + 45);
    clock_ += 30;
    restart();
    EXPECT_EQ(service_->delivery_after(0, 0)->next_attempt_at, due);
    clock_ += 15;
    EXPECT_TRUE(run_until([&] { return service_->delivery_after(0, 0)->attempts == 2; }));
}

TEST_F(SlowReceiverTest, ThatIsAMailServerWhichIsDownRestsAWhile) {
    const tests::SmtpServer down(
        [](const std::string& /*stage*/, const std::string& /*argument*/) { return "421 not today"; });
    configuration_.mail_servers = {{"127.0.0.1", {}, down.port(), 1, "", 0},
                                   {"127.0.0.1", {}, server_.port(), 2, "", 0}};
    start();
    for (int i = 0; i < 3; ++i) {
        EXPECT_EQ(send("test").status, Status::ok);
    }
    EXPECT_EQ(down.connections(), 1);
    EXPECT_EQ(server_.mails().size(), 3U);
}

TEST_F(SlowReceiverTest, ThatIsAMailServerWhichIsDownIsAskedAgainAfterItsRest) {
    std::atomic<bool> is_down = true;
    tests::SmtpServer first([&](const std::string& stage, const std::string& /*argument*/) {
        return is_down && stage == "greeting" ? "421 not now" : tests::good_answer;
    });
    configuration_.mail_servers = {{"127.0.0.1", {}, first.port(), 1, "", 0},
                                   {"127.0.0.1", {}, server_.port(), 2, "", 0}};
    settings_.server_rest = std::chrono::milliseconds(0);
    start();
    send("test");
    is_down = false;
    send("test");
    EXPECT_EQ(first.mails().size(), 1U);
    EXPECT_EQ(server_.mails().size(), 1U);
}

TEST_F(SlowReceiverTest, ThatHasEncryptedIsNotWrittenToInTheClear) {
    start();
    Queue(*database_).add_encrypting_server(through());
    restart();
    const tests::Reply reply = send("test");
    EXPECT_EQ(reply.status, Status::not_sent);
    EXPECT_NE(reply.text.find("it does not offer encryption (STARTTLS) any more"), std::string::npos)
        << reply.text;
    EXPECT_TRUE(server_.mails().empty());
}

}  // namespace
}  // namespace callhome::service
