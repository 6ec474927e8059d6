#include "requests_fixture.h"

namespace callhome::service {
namespace {

using protocol::AlertRecord;
using protocol::DeliveryLogRecord;
using protocol::MessageKeyRecord;
using protocol::MessageLogRecord;
using protocol::SendMessageRecord;

SendMessageRecord message_of_type(std::string_view type) {
    SendMessageRecord record{};
    write_text(record.type, type);
    return record;
}

AlertRecord failure_alert() {
    AlertRecord record{};
    write_text(record.alert, "SUP_FAILURE");
    write_text(record.source, "system manager");
    write_text(record.text, "it failed");
    record.severity = protocol::severity_of_its_name;
    return record;
}

class MessagesTest : public RequestsTest {
 protected:
    MessagesTest() { store.set_enabled(true); }

    SendMessageRecord late_record() const {
        SendMessageRecord record{};
        EXPECT_EQ(caller.late_body.size(), sizeof(record));
        std::memcpy(&record, caller.late_body.data(), std::min(sizeof(record), caller.late_body.size()));
        return record;
    }
};

TEST_F(MessagesTest, AMessageIsSentWithWhatWasTyped) {
    SendMessageRecord record = message_of_type("SW_CRASH");
    write_text(record.parameter_1, "first");
    write_text(record.parameter_2, "second");
    EXPECT_EQ(send(Opcode::send_message, Operation::set, record), std::nullopt) << "the answer comes later";
    ASSERT_EQ(fake_messages().sent.size(), 1U);
    const MessageRequest& sent = fake_messages().sent.front();
    EXPECT_EQ(sent.type, "SW_CRASH");
    EXPECT_EQ(sent.parameter_1, "first");
    EXPECT_EQ(sent.parameter_2, "second");
    EXPECT_EQ(sent.requested_by, "ada");
    EXPECT_FALSE(caller.late_status);
    fake_messages().unanswered.front()(Status::ok, "Successfully sent to a@example.net\n");
    EXPECT_EQ(caller.late_status, Status::ok);
    EXPECT_STREQ(late_record().type, "SW_CRASH");
    EXPECT_STREQ(late_record().reply_text, "Successfully sent to a@example.net\n");
}

TEST_F(MessagesTest, ALongReplyIsCutAtALineEnd) {
    std::string text;
    for (int line = 0; line < 100; ++line) {
        text += "Successfully sent to somebody" + std::to_string(line) + "@example.net\n";
    }
    fake_messages().answer = {Status::ok, text};
    send(Opcode::send_message, Operation::set, message_of_type("test"));
    const std::string reply_text = read_text(late_record().reply_text);
    EXPECT_GT(reply_text.size(), 1'900U);
    EXPECT_EQ(reply_text.back(), '\n');
    EXPECT_TRUE(text.starts_with(reply_text));
}

TEST_F(MessagesTest, ARefusalKeepsItsStatusAndItsText) {
    fake_messages().answer = {Status::message_in_progress, "another operator's test is on its way"};
    send(Opcode::send_message, Operation::set, message_of_type("test"));
    EXPECT_EQ(caller.late_status, Status::message_in_progress);
    EXPECT_STREQ(late_record().reply_text, "another operator's test is on its way");
}

TEST_F(MessagesTest, WhileTheFeatureIsOffNothingIsSent) {
    store.set_enabled(false);
    const auto answer = ask(Opcode::send_message, Operation::set, message_of_type("test"));
    EXPECT_EQ(answer.status, Status::not_sent);
    EXPECT_STREQ(answer.record->type, "test");
    EXPECT_STREQ(answer.record->reply_text,
                 "call home is disabled; enter 'enable' in the call-home mode first");
    EXPECT_EQ(send(Opcode::post_alert, Operation::set, failure_alert()), Status::not_sent);
    EXPECT_EQ(reply_text(), "call home is disabled; enter 'enable' in the call-home mode first");
    EXPECT_TRUE(fake_messages().sent.empty());
    EXPECT_TRUE(fake_messages().alerts.empty());
}

TEST_F(MessagesTest, AMessageNeedsAType) {
    for (const char* type : {"", "a b", "a\n"}) {
        EXPECT_EQ(send(Opcode::send_message, Operation::set, message_of_type(type)),
                  Status::malformed_request);
    }
}

TEST_F(MessagesTest, AMessageThatCannotBeRecordedIsNotSent) {
    fake_messages().storage_error = "disk full";
    EXPECT_EQ(send(Opcode::send_message, Operation::set, message_of_type("test")), Status::storage_failed);
    EXPECT_TRUE(reply.body().empty());
}

TEST_F(MessagesTest, AnAlertAnswersWithItsOutcomeAsText) {
    EXPECT_EQ(send(Opcode::post_alert, Operation::set, failure_alert()), std::nullopt);
    ASSERT_EQ(fake_messages().alerts.size(), 1U);
    const AlertRequest& alert = fake_messages().alerts.front();
    EXPECT_EQ(alert.alert, "SUP_FAILURE");
    EXPECT_EQ(alert.source, "system manager");
    EXPECT_EQ(alert.text, "it failed");
    EXPECT_EQ(alert.requested_by, "ada");
    EXPECT_EQ(alert.severity, protocol::severity_of_its_name);
    fake_messages().unanswered.front()(Status::ok, "Successfully sent");
    EXPECT_EQ(std::string(reinterpret_cast<const char*>(caller.late_body.data()), caller.late_body.size()),
              "Successfully sent");
    EXPECT_EQ(send(Opcode::post_alert, Operation::set, AlertRecord{}), Status::malformed_request);
}

TEST_F(MessagesTest, AnAlertOfTheSystemLogBringsItsSeverity) {
    AlertRecord record = failure_alert();
    write_text(record.alert, protocol::syslog_alert);
    record.severity = 2;
    EXPECT_EQ(send(Opcode::post_alert, Operation::set, record), std::nullopt);
    ASSERT_EQ(fake_messages().alerts.size(), 1U);
    EXPECT_EQ(fake_messages().alerts.front().severity, 2U);
}

TEST_F(MessagesTest, MessagesAreWalkedById) {
    EXPECT_EQ(ask(Opcode::message_log, Operation::get_next, MessageLogRecord{}).status,
              Status::no_further_entry);
    MessageLogRecord record{};
    record.id = 7;
    write_text(record.subject, "test");
    fake_messages().messages = {record};
    const auto answer = ask(Opcode::message_log, Operation::get_next, MessageLogRecord{});
    EXPECT_EQ(+answer.record->id, 7U);
    EXPECT_STREQ(answer.record->subject, "test");
    EXPECT_EQ(ask(Opcode::message_log, Operation::get_next, record).status, Status::no_further_entry);
}

TEST_F(MessagesTest, ReceiversAreWalkedOfOneMessageOrOfAll) {
    DeliveryLogRecord one{};
    one.id = 1;
    one.message_id = 7;
    DeliveryLogRecord two = one;
    two.id = 2;
    two.message_id = 8;
    fake_messages().deliveries = {one, two};
    EXPECT_EQ(+ask(Opcode::delivery_log, Operation::get_next, DeliveryLogRecord{}).record->id, 1U);
    EXPECT_EQ(ask(Opcode::delivery_log, Operation::get_next, one).status, Status::no_further_entry);
    one.message_id = 0;
    EXPECT_EQ(+ask(Opcode::delivery_log, Operation::get_next, one).record->id, 2U);
}

TEST_F(MessagesTest, AMessageIsShownAsItsReceiversSeeIt) {
    const MessageKeyRecord key{.id = 7};
    EXPECT_EQ(send(Opcode::message_text, Operation::get, key), Status::not_found);
    fake_messages().text = std::string(3'000'000, 'm');
    EXPECT_EQ(send(Opcode::message_text, Operation::get, key), Status::ok);
    EXPECT_EQ(reply_text(), *fake_messages().text);
}

}  // namespace
}  // namespace callhome::service
