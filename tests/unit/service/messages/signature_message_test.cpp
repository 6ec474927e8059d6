#include <gtest/gtest.h>

#include "message_service_fixture.h"
#include "messages/text_format.h"

namespace callhome::service {
namespace {

using protocol::Status;
using tests::Reply;

class SignatureMessage : public tests::MessageServiceTest {
 protected:
    SignatureMessage() {
        report_.id = 17;
        report_.name = "link-flapping";
        report_.revision = "3";
        report_.trigger = "kernel: eth0: link down";
        report_.subject = "Link flapping on switch1";
        report_.text = "The port lost its link.\nLook at the cable.";
        report_.alert_group = "Diagnostic";
        report_.outputs = {{"show callhome", "  first\n\n  second\x01\n", ""},
                           {"show version", "", ""},
                           {"show history", "half a li", "ended after 30 seconds"}};
    }

    MessageContent content() const {
        const MessageType& type = *find_message_type(signature_message, Origin::signature);
        return compose_content({&type, {}, {}, {}, &report_}, {"1.2@switch1", 1}, "ops",
                               tests::sample_configuration(), tests::sample_inventory());
    }
    Reply send_report() {
        std::optional<Reply> reply;
        service_->report(report_, into(reply));
        return wait_for(reply);
    }
    void subscribe_to(const std::string& group) {
        configuration_.profiles.front().alert_groups = {{1, group}};
    }

    SignatureReport report_;
};

TEST_F(SignatureMessage, TellsOfTheEventAndShowsTheOutputOfEachCommand) {
    constexpr std::size_t large = 100'000;
    const std::string text = format_full_text(content(), large);
    EXPECT_TRUE(text.starts_with("Link flapping on switch1\n\nMessage\n")) << text;
    for (const char* part :
         {"\nSignature:            17 link-flapping, revision 3\n",
          "\nTrigger:              kernel: eth0: link down\n",
          "\nText:                 The port lost its link.\n                      Look at the cable.\n",
          "\nOutput of show callhome\n-----------------------\n    first\n  \n    second \n",
          "\nOutput of show version\n----------------------\n  (no output)\n",
          "\nOutput of show history\n----------------------\n  half a li\n  (ended after 30 seconds)\n"}) {
        EXPECT_NE(text.find(part), std::string::npos) << part << " is missing in\n" << text;
    }
}

TEST_F(SignatureMessage, IsShortForAPager) {
    const std::string text = format_short_text(content(), 4000);
    EXPECT_TRUE(text.starts_with("Link flapping on switch1\nSeverity: warning\nTime: ")) << text;
    EXPECT_NE(text.find("\nTrigger: kernel: eth0: link down\n"), std::string::npos) << text;
    EXPECT_EQ(text.find("Output of"), std::string::npos) << text;
}

TEST_F(SignatureMessage, GoesThroughTheQueueToWhoSubscribesToItsGroup) {
    subscribe_to("Diagnostic");
    start();
    EXPECT_EQ(send_report().status, Status::ok);
    ASSERT_EQ(server_.mails().size(), 1U);
    EXPECT_NE(server_.mails()[0].content.find("Subject: Link flapping on switch1"), std::string::npos);
    EXPECT_STREQ(service_->message_after(0)->type, "diagnostic-signature");
}

TEST_F(SignatureMessage, GoesToTheProfileOfSignaturesWhateverItSubscribesTo) {
    subscribe_to("crash");
    report_.profile = "ops";
    start();
    EXPECT_EQ(send_report().status, Status::ok);
    EXPECT_EQ(server_.mails().size(), 1U);
}

TEST_F(SignatureMessage, ThatNobodyTakesIsRefusedWithTheReason) {
    subscribe_to("crash");
    start();
    const Reply reply = send_report();
    EXPECT_EQ(reply.status, Status::not_sent);
    EXPECT_NE(reply.text.find("takes messages of the alert group Diagnostic"), std::string::npos)
        << reply.text;
}

TEST_F(SignatureMessage, NeitherWaitsForAnOperatorsMessageNorHoldsOneUp) {
    start();
    std::optional<Reply> operators;
    std::optional<Reply> first;
    std::optional<Reply> second;
    service_->report(report_, into(first));
    EXPECT_FALSE(std::filesystem::exists(settings_.marker));
    service_->send({"test", "", "", "ada"}, into(operators));
    service_->report(report_, into(second));
    EXPECT_EQ(wait_for(first).status, Status::ok);
    EXPECT_EQ(wait_for(operators).status, Status::ok);
    EXPECT_EQ(wait_for(second).status, Status::ok);
    EXPECT_EQ(server_.mails().size(), 3U);
}

TEST_F(SignatureMessage, IsRefusedWhileTheQueueIsFull) {
    settings_.queue.messages = 0;
    start();
    EXPECT_EQ(send_report().status, Status::limit_reached);
}

}  // namespace
}  // namespace callhome::service
