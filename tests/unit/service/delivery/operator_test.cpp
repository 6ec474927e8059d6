// What an operator does about messages: giving up what waits, sending again, looking before sending.
#include <gtest/gtest.h>

#include "delivery/message_statistics.h"
#include "delivery/queue.h"
#include "message_service_fixture.h"
#include "messages/resent_message.h"
#include "shell_script.h"

namespace callhome::service {
namespace {

using protocol::DeliveryState;
using protocol::Status;
using tests::HttpServer;
using tests::MessageServiceTest;

std::string value_of(const std::string& mail, const std::string& header) {
    const std::size_t at = mail.find("\n" + header + ": ");
    if (at == std::string::npos) {
        return "";
    }
    const std::size_t begin = at + header.size() + 3;
    return mail.substr(begin, mail.find_first_of("\r\n", begin) - begin);
}

class OperatorTest : public MessageServiceTest {
 protected:
    OperatorTest() { events_.commands = shell_.settings(); }
    void start() {
        database_.emplace(folder_.path() / "callhome.db");
        (void)statistics();
        service_.emplace(io_, *database_, configuration_, settings_, events_);
    }
    MessageStatistics statistics() { return MessageStatistics(*database_, settings_.now); }
    MessageStatistics::OfProfile ops() { return statistics().of_profile("ops"); }
    void answer_receivers(const std::string& reply) {
        server_.set_script([=](const std::string& stage, const std::string& /*argument*/) {
            return stage == "RCPT" ? reply : tests::good_answer;
        });
    }
    protocol::MessageLogRecord message(std::uint32_t id) const { return *service_->message_after(id - 1); }

    struct Preview {
        Status status;
        std::string why;
        std::vector<NewMessage> messages;
    };
    Preview preview(const std::string& type, const std::string& profile = "") {
        std::optional<Preview> came;
        service_->preview({type, profile, "ada"}, [&](Status status, const std::string& why,
                                                      const std::vector<NewMessage>& messages) {
            came = Preview{status, why, messages};
        });
        EXPECT_FALSE(came.has_value()) << "never from within the call";
        EXPECT_TRUE(run_until([&] { return came.has_value(); }));
        return came.value_or(Preview{Status::transport_failed, "no answer", {}});
    }

    tests::ShellScript shell_;
    EventSettings events_;
};

TEST_F(OperatorTest, GivesUpAllThatWaitsAndItIsCountedAsLost) {
    start();
    answer_receivers("450 later");
    send("test");
    send("test");
    EXPECT_EQ(service_->queue_state().deliveries, 2U);
    const auto cleared = service_->clear_queue("ada");
    EXPECT_EQ(cleared.given_up, 2U);
    EXPECT_EQ(cleared.under_way, 0U);
    EXPECT_EQ(state(), DeliveryState::failed);
    EXPECT_STREQ(service_->delivery_after(0, 0)->last_result, "given up: the queue was cleared by ada");
    EXPECT_EQ(ops().lost, 2U);
    EXPECT_EQ(statistics().of(DeliveryState::failed).count, 2U);
    EXPECT_EQ(service_->queue_state().messages, 0U);
    EXPECT_EQ(service_->queue_state().bytes, 0U);
    EXPECT_EQ(service_->queue_state().dropped, 0U) << "nothing had to make room";
    EXPECT_FALSE(service_->busy_soon());
    EXPECT_EQ(service_->clear_queue("ada").given_up, 0U);
}

TEST_F(OperatorTest, CutsNothingThatIsUnderWay) {
    std::atomic<bool> may_go_on = false;
    server_.set_script([&](const std::string& stage, const std::string& /*argument*/) {
        while (stage == "RCPT" && !may_go_on) {
            std::this_thread::yield();
        }
        return tests::good_answer;
    });
    settings_.workers = 1;
    configuration_.profiles.front().email_addresses.push_back({2, "second@example.com"});
    start();
    std::optional<tests::Reply> reply;
    service_->send({"test", "", "", "ada"}, into(reply));
    EXPECT_TRUE(run_until([&] { return server_.connections() == 1; }));
    const auto cleared = service_->clear_queue("ada");
    EXPECT_EQ(cleared.given_up, 1U);
    EXPECT_EQ(cleared.under_way, 1U);
    may_go_on = true;
    const tests::Reply answer = wait_for(reply);
    EXPECT_EQ(answer.status, Status::ok);
    EXPECT_NE(answer.text.find("given up: the queue was cleared by ada"), std::string::npos) << answer.text;
    EXPECT_EQ(message(1).delivered, 1U);
    EXPECT_EQ(message(1).failed, 1U);
}

TEST_F(OperatorTest, MakesWhatWaitsDueNow) {
    start();
    answer_receivers("450 later");
    send("test");
    answer_receivers(tests::good_answer);
    const auto [status, resent] = service_->resend(1);
    EXPECT_EQ(status, Status::ok);
    EXPECT_EQ(resent.due_now, 1U);
    EXPECT_EQ(resent.new_message, 0U);
    EXPECT_STREQ(resent.why_not, "");
    EXPECT_TRUE(run_until([&] { return message(1).delivered == 1; })) << "without a minute having passed";
    EXPECT_EQ(ops().recovered, 1U);
}

TEST_F(OperatorTest, SendsAgainWhatWasRefusedAndItIsLostNoMore) {
    start();
    answer_receivers("550 nobody");
    send("test");
    EXPECT_EQ(ops().lost, 1U);
    answer_receivers(tests::good_answer);
    EXPECT_EQ(service_->resend(1).second.due_now, 1U);
    EXPECT_EQ(ops().lost, 0U);
    EXPECT_TRUE(run_until([&] { return message(1).delivered == 1; }));
    EXPECT_EQ(ops().sent, 1U);
    EXPECT_EQ(ops().recovered, 1U) << "it had failed before";
    EXPECT_EQ(server_.mails().size(), 1U);
}

TEST_F(OperatorTest, GivesWhatWasGivenUpAllItsTriesAgain) {
    settings_.retry.give_up_after = std::chrono::seconds(60);
    start();
    answer_receivers("450 later");
    send("test");
    clock_ += 60;
    EXPECT_TRUE(run_until([&] { return state() == DeliveryState::failed; }));
    EXPECT_EQ(service_->resend(1).first, Status::ok);
    EXPECT_TRUE(run_until([&] { return service_->delivery_after(0, 0)->attempts == 1; }));
    EXPECT_EQ(state(), DeliveryState::waiting) << "the next try comes in a minute";
}

TEST_F(OperatorTest, SendsWhoHasTheMessageANewOneThatSaysSo) {
    start();
    send("test");
    const auto [status, resent] = service_->resend(1);
    EXPECT_EQ(status, Status::ok);
    EXPECT_EQ(resent.due_now, 0U);
    EXPECT_EQ(resent.new_message, 2U);
    EXPECT_EQ(resent.receivers, 1U);
    EXPECT_TRUE(run_until([&] { return server_.mails().size() == 2; }));
    const std::string first = server_.mails()[0].content;
    const std::string second = server_.mails()[1].content;
    EXPECT_FALSE(value_of(first, "Message-Id").empty());
    EXPECT_NE(value_of(first, "Message-Id"), value_of(second, "Message-Id"));
    EXPECT_EQ(value_of(second, "References"), value_of(first, "Message-Id"));
    EXPECT_TRUE(value_of(second, "Subject").starts_with("Sent again: Call home: Test message")) << second;
    EXPECT_EQ(value_of(second, "To"), value_of(first, "To"));
    EXPECT_TRUE(std::string(message(2).subject).starts_with("Sent again: Call home"));
    EXPECT_EQ(message(2).size, message(1).size);
    // "<1.STAMP>" without the number of the message among those of its event.
    const std::string old_id = value_of(first, "Message-Id").substr(3);
    const std::string stamp = old_id.substr(0, old_id.size() - 1);
    EXPECT_NE(first.substr(first.find("\r\n\r\n")).find(stamp), std::string::npos) << first;
    EXPECT_EQ(second.substr(second.find("\r\n\r\n")).find(stamp), std::string::npos)
        << "the text tells of its own identity";
}

TEST_F(OperatorTest, SendsXmlByHttpAgainUnderAnotherKey) {
    const HttpServer web("HTTP/1.1 200 OK");
    Profile& profile = configuration_.profiles.front();
    profile.transport_methods = protocol::transport_http;
    profile.format = protocol::MessageFormat::xml;
    profile.urls = {{1, "http://127.0.0.1:" + std::to_string(web.port()) + "/"}};
    start();
    send("test");
    EXPECT_EQ(service_->resend(1).second.new_message, 2U);
    EXPECT_TRUE(run_until([&] { return web.requests().size() == 2; }));
    const auto id_of = [&](std::size_t request) {
        const std::string text = web.requests().at(request);
        const std::size_t begin = text.find("<id>") + 4;
        return text.substr(begin, text.find("</id>") - begin);
    };
    EXPECT_FALSE(id_of(0).empty());
    EXPECT_NE(id_of(0), id_of(1));
    EXPECT_EQ(id_of(0).size(), id_of(1).size()) << "no longer than its profile lets it be";
    EXPECT_NE(web.requests()[1].find(id_of(1), web.requests()[1].find("\r\n\r\n")), std::string::npos);
}

TEST_F(OperatorTest, DoesBothForAMessageThatOnlySomeHave) {
    configuration_.profiles.front().email_addresses.push_back({2, "second@example.com"});
    start();
    server_.set_script([](const std::string& stage, const std::string& argument) {
        return stage == "RCPT" && argument.find("second") != std::string::npos ? "550 nobody"
                                                                               : tests::good_answer;
    });
    send("test");
    answer_receivers(tests::good_answer);
    const auto [status, resent] = service_->resend(1);
    EXPECT_EQ(status, Status::ok);
    EXPECT_EQ(resent.due_now, 1U);
    EXPECT_EQ(resent.new_message, 2U);
    EXPECT_EQ(resent.receivers, 1U);
    EXPECT_TRUE(run_until([&] { return message(1).delivered == 2 && message(2).delivered == 1; }));
    EXPECT_EQ(server_.mails().size(), 3U);
}

TEST_F(OperatorTest, SaysWhyAMessageCannotBeSentAgain) {
    settings_.queue.messages = 1;
    start();
    EXPECT_EQ(service_->resend(7).first, Status::not_found);
    answer_receivers("450 later");
    send("test");
    send("test");
    const auto [status, resent] = service_->resend(1);
    EXPECT_EQ(status, Status::not_sent);
    EXPECT_STREQ(resent.why_not, "its text is gone: it was dropped from a full queue");
}

TEST_F(OperatorTest, SendsNothingAgainForWhichTheQueueHasNoRoom) {
    settings_.queue.messages = 1;
    start();
    answer_receivers("550 nobody");
    send("test");
    answer_receivers("450 later");
    send("test");
    const auto [status, resent] = service_->resend(1);
    EXPECT_EQ(status, Status::not_sent);
    EXPECT_STREQ(resent.why_not, "Too many messages wait in the queue; see 'show callhome queue'");
    EXPECT_EQ(state(), DeliveryState::failed);
}

TEST_F(OperatorTest, ShowsAMessageWithoutSendingOrRecordingIt) {
    configuration_.privacy.high = true;
    configuration_.profiles.push_back(
        tests::profile_of("second", protocol::MessageFormat::short_text, {"bob@example.com"}));
    configuration_.profiles.back().message_size = 100;
    start();
    const Preview shown = preview("test");
    EXPECT_EQ(shown.status, Status::ok);
    ASSERT_EQ(shown.messages.size(), 2U);
    EXPECT_EQ(shown.messages[0].profile, "ops");
    EXPECT_EQ(shown.messages[0].receivers, std::vector<std::string>{"ops@example.com"});
    EXPECT_NE(shown.messages[0].content.find("Subject: Call home: Test message"), std::string::npos);
    EXPECT_NE(shown.messages[0].content.find("masked-"), std::string::npos) << "as it would be sent";
    EXPECT_LE(shown.messages[1].size, 100U);
    EXPECT_FALSE(service_->message_after(0));
    EXPECT_FALSE(service_->busy_soon());
    EXPECT_EQ(server_.connections(), 0);
    EXPECT_EQ(preview("SUP_FAILURE").messages.size(), 2U) << "an event, too";
}

TEST_F(OperatorTest, ShowsTheOutputOfTheCommandsThatGoWithIt) {
    configuration_.user_commands = {{1, "test", "show clock"}};
    start();
    const Preview shown = preview("test");
    ASSERT_EQ(shown.messages.size(), 1U);
    EXPECT_NE(shown.messages[0].content.find("show clock"), std::string::npos);
}

TEST_F(OperatorTest, ShowsWhatOneProfileWouldGet) {
    configuration_.profiles.push_back(
        tests::profile_of("second", protocol::MessageFormat::short_text, {"bob@example.com"}, "crash"));
    start();
    EXPECT_EQ(preview("test", "second").messages.size(), 1U) << "a test goes to everybody";
    const Preview other = preview("inventory", "second");
    EXPECT_EQ(other.status, Status::not_sent);
    EXPECT_EQ(other.why, "The profile second takes no inventory messages, or has nobody to send them to");
    EXPECT_EQ(preview("inventory", "nobody").status, Status::not_found);
    EXPECT_EQ(preview("frobnicate").status, Status::malformed_request);
    configuration_.profiles.clear();
    EXPECT_EQ(preview("inventory").status, Status::not_sent);
    EXPECT_NE(preview("inventory").why, "");
}

TEST_F(OperatorTest, KnowsWhereTheNewestMessagesBegin) {
    start();
    for (int i = 0; i < 3; ++i) {
        send("test");
    }
    EXPECT_EQ(service_->id_before_last(1), 2U);
    EXPECT_EQ(service_->id_before_last(2), 1U);
    EXPECT_EQ(service_->id_before_last(3), 0U);
    EXPECT_EQ(service_->id_before_last(0xFFFFFFFF), 0U);
}

// As an older version has recorded it.
TEST(ResentMessage, HasAnIdentityAlsoWhereTheFirstHadNone) {
    NewMessage message;
    message.carrier = Carrier::http;
    message.subject = "a subject";
    message.content = "a text";
    const auto copy = resent(message, 1'700'000'000);
    ASSERT_TRUE(copy);
    EXPECT_TRUE(copy->key.starts_with("1.1700000000.")) << copy->key;
    EXPECT_EQ(copy->content, "a text");
    const auto third = resent(*copy, 1'700'000'001);
    ASSERT_TRUE(third);
    EXPECT_NE(third->key, copy->key);
    EXPECT_EQ(third->subject, "Sent again: a subject") << "said once";
}

}  // namespace
}  // namespace callhome::service
