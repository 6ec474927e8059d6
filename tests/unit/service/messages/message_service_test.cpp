#include "messages/message_service.h"

#include <gtest/gtest.h>

#include <fstream>

#include "message_service_fixture.h"

namespace callhome::service {
namespace {

using protocol::DeliveryState;
using protocol::Status;
using tests::MessageServiceTest;
using tests::patience;
using tests::Reply;
using tests::SmtpServer;

SmtpServer::Script refusing_at(const std::string& stage, const std::string& reply) {
    return [=](const std::string& at, const std::string& /*argument*/) {
        return at == stage ? reply : tests::good_answer;
    };
}

std::string message_id_of(const std::string& mail) {
    const std::string name = "Message-Id: <";
    const std::size_t at = mail.find(name);
    return at == std::string::npos ? ""
                                   : mail.substr(at + name.size(), mail.find('>', at) - at - name.size());
}

TEST_F(MessageServiceTest, SendsATestMessageAndSaysSo) {
    start();
    const Reply reply = send("test");
    EXPECT_EQ(reply.status, Status::ok);
    EXPECT_EQ(
        reply.text,
        "Successfully sent test callhome message to ops@example.com (profile ops) through " + through());
    ASSERT_EQ(server_.mails().size(), 1U);
    EXPECT_NE(server_.mails()[0].content.find("Subject: Call home: Test message from "), std::string::npos);
    EXPECT_TRUE(server_.mails()[0].sender.starts_with("MAIL FROM:<callhome@")) << server_.mails()[0].sender;
    EXPECT_EQ(state(), DeliveryState::delivered);
}

TEST_F(MessageServiceTest, SendsEveryTypeInEveryFormat) {
    start();
    for (const auto format : {protocol::MessageFormat::xml, protocol::MessageFormat::full_text,
                              protocol::MessageFormat::short_text}) {
        configuration_.profiles.front().format = format;
        for (const char* type :
             {"test", "inventory", "PERIODIC_CONFIGURATION", "TEMO-normal", "SW_CRASH", "OBX_ALERT"}) {
            EXPECT_EQ(send(type).status, Status::ok) << type;
        }
    }
    EXPECT_EQ(server_.mails().size(), 18U);
}

TEST_F(MessageServiceTest, SendsAnAlert) {
    start();
    std::optional<Reply> reply;
    service_->alert({"SUP_FAILURE", "system manager", "the supervisor has failed", "ada"}, into(reply));
    EXPECT_EQ(wait_for(reply).status, Status::ok);
    ASSERT_EQ(server_.mails().size(), 1U);
    EXPECT_NE(server_.mails()[0].content.find("the supervisor has failed"), std::string::npos);
}

TEST_F(MessageServiceTest, RefusesTypesThatItDoesNotKnow) {
    start();
    EXPECT_EQ(send("nonsense").status, Status::malformed_request);
    EXPECT_EQ(send("SUP_FAILURE").status, Status::malformed_request);
    std::optional<Reply> reply;
    service_->alert({"test", "", "", ""}, into(reply));
    EXPECT_EQ(wait_for(reply).status, Status::malformed_request);
    EXPECT_FALSE(service_->message_after(0));
}

TEST_F(MessageServiceTest, SaysWhatToConfigureWhenNobodyTakesAMessage) {
    configuration_.profiles.front().alert_groups = {{1, "crash"}};
    start();
    const Reply reply = send("inventory");
    EXPECT_EQ(reply.status, Status::not_sent);
    EXPECT_NE(reply.text.find("alert group inventory"), std::string::npos) << reply.text;
    EXPECT_FALSE(service_->message_after(0));
}

TEST_F(MessageServiceTest, AnswersOneLineForEachReceiver) {
    configuration_.profiles.front().email_addresses = {{1, "good@example.com"}, {2, "bad@example.com"}};
    configuration_.profiles.push_back(
        tests::profile_of("second", protocol::MessageFormat::short_text, {"slow@example.com"}));
    server_.set_script([](const std::string& stage, const std::string& argument) -> std::string {
        if (stage == "RCPT" && argument.find("bad@") != std::string::npos) {
            return "550 5.1.1 no such user";
        }
        return stage == "RCPT" && argument.find("slow@") != std::string::npos ? "450 4.2.1 busy" : "";
    });
    start();
    const Reply reply = send("test");
    EXPECT_EQ(reply.status, Status::ok);
    EXPECT_EQ(
        reply.text,
        "Successfully sent test callhome message to good@example.com (profile ops) through " + through() +
            "\nThe test callhome message to bad@example.com (profile ops) was refused by " + through() +
            ": 550 5.1.1 no such user; it will not be tried again"
            "\nCould not send the test callhome message to slow@example.com (profile second): " +
            through() + ": 450 4.2.1 busy; it stays in the queue, next try in 60 seconds");
}

TEST_F(MessageServiceTest, TriesAgainAfterAPauseWithTheSameMessageId) {
    server_.set_script(refusing_at("content", "451 later"));
    start();
    EXPECT_EQ(send("test").status, Status::not_sent);
    EXPECT_EQ(service_->delivery_after(0, 0)->next_attempt_at, clock_ + 60);
    EXPECT_TRUE(service_->busy_soon());
    const auto composed = service_->message_text(1);

    server_.set_script({});
    clock_ += 59;
    for (int turn = 0; turn < 20; ++turn) {
        io_.restart();
        io_.run_one_for(std::chrono::milliseconds(50));
    }
    EXPECT_EQ(server_.connections(), 1);
    clock_ += 1;
    EXPECT_TRUE(run_until([&] { return state() == DeliveryState::delivered; }));
    EXPECT_EQ(service_->delivery_after(0, 0)->attempts, 2U);
    ASSERT_EQ(server_.mails().size(), 1U);
    EXPECT_FALSE(message_id_of(server_.mails()[0].content).empty());
    EXPECT_EQ(message_id_of(server_.mails()[0].content), message_id_of(composed.value()));
    EXPECT_FALSE(service_->busy_soon());
}

TEST_F(MessageServiceTest, GivesUpWhenThePausesComeToTheLimit) {
    server_.set_script(refusing_at("RCPT", "450 never"));
    settings_.retry.give_up_after = std::chrono::minutes(7);  // 1 + 2 + 4
    start();
    EXPECT_EQ(send("test").status, Status::not_sent);
    for (const int minutes : {1, 2, 4}) {
        const auto before = service_->delivery_after(0, 0)->attempts;
        clock_ += std::chrono::seconds(std::chrono::minutes(minutes)).count();
        EXPECT_TRUE(run_until([&] { return service_->delivery_after(0, 0)->attempts > before; }));
    }
    EXPECT_EQ(state(), DeliveryState::failed);
    EXPECT_EQ(service_->delivery_after(0, 0)->next_attempt_at, 0U);
    EXPECT_STREQ(service_->delivery_after(0, 0)->last_result, (through() + ": 450 never").c_str());
}

TEST_F(MessageServiceTest, IsNotMisledByAClockThatJumps) {
    server_.set_script(refusing_at("RCPT", "450 later"));
    clock_ = 100;  // a switch without a clock of its own
    start();
    send("test");
    clock_ = 1'700'000'000;
    EXPECT_TRUE(run_until([&] { return service_->delivery_after(0, 0)->attempts == 2; }));
    EXPECT_EQ(state(), DeliveryState::waiting);
    clock_ = 1'000'000'000;
    EXPECT_TRUE(
        run_until([&] { return service_->delivery_after(0, 0)->next_attempt_at <= 1'000'003'600; }));
}

TEST_F(MessageServiceTest, TakesUpAfterARestartWhatAnEarlierRunHasLeft) {
    server_.set_script(refusing_at("greeting", "421 not now"));
    start();
    EXPECT_EQ(send("test").status, Status::not_sent);
    stop();
    server_.set_script({});
    clock_ += 60;
    start();
    EXPECT_TRUE(run_until([&] { return state() == DeliveryState::delivered; }));
    EXPECT_EQ(server_.mails().size(), 1U);
}

TEST_F(MessageServiceTest, SendsAgainWhatWasUnderWayWhenItEnded) {
    std::atomic<bool> reached = false;
    server_.set_script([&](const std::string& stage, const std::string& /*argument*/) {
        reached = reached || stage == "RCPT";
        return stage == "RCPT" ? tests::stay_silent : tests::good_answer;
    });
    settings_.transfer.response = std::chrono::seconds(30);
    start();
    service_->send({"test", "", "", ""}, [](Status, const std::string&) { FAIL(); });
    EXPECT_TRUE(run_until([&] { return reached.load(); }));
    const auto composed = service_->message_text(1);
    stop();
    server_.set_script({});
    start();
    EXPECT_EQ(service_->delivery_after(0, 0)->attempts, 0U);
    EXPECT_TRUE(run_until([&] { return state() == DeliveryState::delivered; }));
    EXPECT_EQ(message_id_of(server_.mails().at(0).content), message_id_of(composed.value()));
}

TEST_F(MessageServiceTest, AnswersInTimeWhileAServerHangs) {
    server_.set_script(refusing_at("content", tests::stay_silent));
    settings_.answer_within = std::chrono::milliseconds(20);
    start();
    const Reply reply = send("test");
    EXPECT_EQ(reply.status, Status::not_sent);
    EXPECT_EQ(reply.text,
              "The test callhome message to ops@example.com (profile ops) is still being sent; "
              "see 'show callhome queue'");
    EXPECT_TRUE(run_until([&] { return service_->delivery_after(0, 0)->attempts == 1; }));
    EXPECT_EQ(state(), DeliveryState::waiting);
}

TEST_F(MessageServiceTest, ProcessesOneRequestAtATime) {
    start();
    std::optional<Reply> first;
    std::optional<Reply> second;
    service_->send({"test", "", "", ""}, into(first));
    service_->send({"test", "", "", ""}, into(second));
    EXPECT_EQ(wait_for(second).status, Status::message_in_progress);
    EXPECT_EQ(wait_for(first).status, Status::ok);
    EXPECT_EQ(send("test").status, Status::ok);
}

TEST_F(MessageServiceTest, RaisesTheMarkerWhileItProcesses) {
    start();
    std::optional<Reply> reply;
    service_->send({"test", "", "", ""}, into(reply));
    EXPECT_TRUE(std::filesystem::exists(settings_.marker));
    wait_for(reply);
    EXPECT_FALSE(std::filesystem::exists(settings_.marker));
}

TEST_F(MessageServiceTest, RemovesTheMarkerOfARunThatWasKilled) {
    std::ofstream(settings_.marker) << "";
    start();
    EXPECT_FALSE(std::filesystem::exists(settings_.marker));
}

TEST_F(MessageServiceTest, GoesOnWithoutAMarker) {
    settings_.marker = "/nowhere-at-all/processing_mesg";
    start();
    EXPECT_EQ(send("test").status, Status::ok);
}

TEST_F(MessageServiceTest, KeepsAMessageForWhichNoServerIsConfigured) {
    configuration_.mail_servers.clear();
    start();
    const Reply reply = send("test");
    EXPECT_EQ(reply.status, Status::not_sent);
    EXPECT_NE(reply.text.find("transport email mail-server HOST"), std::string::npos) << reply.text;
    EXPECT_NE(reply.text.find("next try in 60 seconds"), std::string::npos) << reply.text;
    use(server_);
    clock_ += 60;
    EXPECT_TRUE(run_until([&] { return state() == DeliveryState::delivered; }));
}

TEST_F(MessageServiceTest, UsesTheSingleServerWhenTheOthersFail) {
    const tests::ClosedPort closed;
    configuration_.mail_servers = {{"127.0.0.1", {}, closed.number(), 1, "", 0}};
    configuration_.mail.smtp_server = "127.0.0.1";
    configuration_.mail.port = server_.port();
    start();
    const Reply reply = send("test");
    EXPECT_EQ(reply.status, Status::ok);
    EXPECT_NE(reply.text.find("\nA mail server failed, and another one took the mail: 127.0.0.1:" +
                              std::to_string(closed.number()) + ": "),
              std::string::npos)
        << reply.text;
}

TEST_F(MessageServiceTest, TellsOfAFailedServerOnceForAllReceivers) {
    const tests::ClosedPort closed;
    configuration_.mail_servers = {{"127.0.0.1", {}, closed.number(), 1, "no-such-vrf", 0}};
    configuration_.mail.smtp_server = "127.0.0.1";
    configuration_.mail.port = server_.port();
    configuration_.profiles.front().email_addresses = {{1, "ada@example.com"}, {2, "bob@example.com"}};
    start();
    const std::string text = send("test").text;
    const std::size_t first = text.find("A mail server failed");
    ASSERT_NE(first, std::string::npos) << text;
    EXPECT_EQ(text.find("A mail server failed", first + 1), std::string::npos) << text;
    EXPECT_EQ(server_.mails().size(), 2U);
}

TEST_F(MessageServiceTest, TellsWhyEachServerFailed) {
    const tests::ClosedPort closed;
    configuration_.mail_servers = {{"127.0.0.1", {}, closed.number(), 1, "", 0},
                                   {"127.0.0.2", {}, closed.number(), 2, "no-such-vrf", 0}};
    start();
    const std::string text = send("test").text;
    const std::string port = std::to_string(closed.number());
    const std::size_t first = text.find(": 127.0.0.1:" + port + ": ");
    const std::size_t second =
        text.find("; 127.0.0.2:" + port + ": the VRF no-such-vrf does not exist; it stays");
    EXPECT_NE(first, std::string::npos) << text;
    EXPECT_NE(second, std::string::npos) << text;
    EXPECT_LT(first, second) << text;
}

TEST_F(MessageServiceTest, SendsNothingThatItCouldNotRecord) {
    start();
    database_->connection().exec(
        "CREATE TRIGGER full BEFORE INSERT ON deliveries BEGIN SELECT RAISE(ABORT, 'disk full'); END");
    EXPECT_EQ(send("test").status, Status::storage_failed);
    EXPECT_EQ(server_.connections(), 0);
    EXPECT_FALSE(std::filesystem::exists(settings_.marker));
    database_->connection().exec("DROP TRIGGER full");
    EXPECT_EQ(send("test").status, Status::ok);
}

TEST_F(MessageServiceTest, DoesNotSendAgainWhenAResultCannotBeRecorded) {
    start();
    database_->connection().exec(
        "CREATE TRIGGER full BEFORE UPDATE OF state ON deliveries BEGIN SELECT RAISE(ABORT, 'disk full'); "
        "END");
    std::optional<Reply> reply;
    service_->send({"test", "", "", ""}, into(reply));
    EXPECT_TRUE(run_until([&] { return !server_.mails().empty(); }));
    for (int turn = 0; turn < 20; ++turn) {
        io_.restart();
        io_.run_one_for(std::chrono::milliseconds(50));
    }
    EXPECT_EQ(server_.mails().size(), 1U);
    EXPECT_FALSE(reply);
    database_->connection().exec("DROP TRIGGER full");
    EXPECT_EQ(wait_for(reply).status, Status::ok);
    EXPECT_EQ(state(), DeliveryState::delivered);
    EXPECT_EQ(server_.mails().size(), 1U);
}

TEST_F(MessageServiceTest, DropsTheOldestForANewOneWhenTheQueueIsFull) {
    server_.set_script(refusing_at("RCPT", "450 later"));
    settings_.queue.messages = 2;
    start();
    for (int i = 0; i < 3; ++i) {
        EXPECT_EQ(send("test").status, Status::not_sent);
    }
    EXPECT_EQ(state(), DeliveryState::failed);
    EXPECT_STREQ(service_->delivery_after(0, 0)->last_result, "dropped: the queue was full");
    EXPECT_EQ(service_->message_after(1)->waiting, 1U);
    EXPECT_EQ(service_->message_after(2)->waiting, 1U);
}

TEST_F(MessageServiceTest, RefusesWhatTheQueueCannotHoldAtAll) {
    settings_.queue.bytes = 10;
    start();
    const Reply reply = send("test");
    EXPECT_EQ(reply.status, Status::limit_reached);
    EXPECT_EQ(reply.text,
              "The messages that wait in the queue are too long in all; see 'show callhome queue'");
    EXPECT_FALSE(service_->message_after(0));
}

TEST_F(MessageServiceTest, DeliversToManyReceiversAndFitsTheReply) {
    Profile& profile = configuration_.profiles.front();
    profile.email_addresses.clear();
    for (std::uint32_t i = 1; i <= 100; ++i) {
        profile.email_addresses.push_back({i, "receiver" + std::to_string(i) + "@example.com"});
    }
    start();
    const Reply reply = send("test");
    EXPECT_EQ(reply.status, Status::ok);
    EXPECT_LT(reply.text.size(), sizeof(protocol::SendMessageRecord::reply_text));
    EXPECT_EQ(server_.mails().size(), 100U);
    EXPECT_EQ(service_->message_after(0)->delivered, 100U);
}

TEST_F(MessageServiceTest, PostsToTheUrlsOfAProfile) {
    const tests::HttpServer web("HTTP/1.1 200 OK");
    Profile& profile = configuration_.profiles.front();
    profile.transport_methods = protocol::transport_http;
    profile.format = protocol::MessageFormat::xml;
    const std::string url = "http://127.0.0.1:" + std::to_string(web.port()) + "/";
    profile.urls = {{1, url}};
    start();
    const Reply reply = send("test");
    EXPECT_EQ(reply.status, Status::ok);
    EXPECT_EQ(reply.text, "Successfully sent test callhome message to " + url + " (profile ops)");
    ASSERT_EQ(web.requests().size(), 1U);
    EXPECT_NE(web.requests()[0].find("Content-Type: application/xml; charset=utf-8"), std::string::npos);
    EXPECT_NE(web.requests()[0].find("<callHomeMessage xmlns=\"urn:callhome:message:1\""),
              std::string::npos);
}

TEST_F(MessageServiceTest, ShowsTheMessageAsItsReceiversSeeIt) {
    configuration_.mail.from = "from@example.com";
    start();
    send("test");
    const std::string text = service_->message_text(1).value_or("");
    EXPECT_NE(text.find("From: from@example.com\n"), std::string::npos) << text;
    EXPECT_EQ(text.find('\r'), std::string::npos);
    EXPECT_FALSE(service_->message_text(2));
    EXPECT_FALSE(service_->message_text(0));
}

TEST_F(MessageServiceTest, LetsNoFieldIntoTheMailsHeaderOrTheConversation) {
    const std::string hostile = "x\r\nBcc: eve@example.com\r\nRCPT TO:<eve@example.com>";
    for (auto& [name, value] : configuration_.contact) {
        value = hostile;
    }
    configuration_.mail.from = configuration_.mail.reply_to = configuration_.mail.return_receipt = hostile;
    configuration_.profiles.front().email_addresses.push_back({2, hostile});
    configuration_.profiles.push_back(
        tests::profile_of(hostile, protocol::MessageFormat::full_text, {"bob@example.com"}));
    start();
    const Reply reply = send({"SW_CRASH", hostile, hostile, hostile});
    EXPECT_EQ(reply.status, Status::ok);
    for (const std::string& command : server_.commands()) {
        EXPECT_EQ(command.find("eve"), std::string::npos) << command;
    }
    ASSERT_EQ(server_.mails().size(), 2U);
    for (const tests::ReceivedMail& mail : server_.mails()) {
        const std::string head = mail.content.substr(0, mail.content.find("\r\n\r\n"));
        EXPECT_EQ(head.find("eve"), std::string::npos) << head;
    }
}

TEST_F(MessageServiceTest, EndsWithoutWaitingForAServerThatHangs) {
    std::atomic<bool> reached = false;
    server_.set_script([&](const std::string& /*stage*/, const std::string& /*argument*/) {
        reached = true;
        return tests::stay_silent;
    });
    settings_.transfer.response = std::chrono::seconds(300);
    settings_.transfer.total = std::chrono::seconds(300);
    start();
    service_->send({"test", "", "", ""}, [](Status, const std::string&) {});
    EXPECT_TRUE(run_until([&] { return reached.load(); }));
    const auto begin = std::chrono::steady_clock::now();
    stop();
    EXPECT_LT(std::chrono::steady_clock::now() - begin, patience);
}

}  // namespace
}  // namespace callhome::service
