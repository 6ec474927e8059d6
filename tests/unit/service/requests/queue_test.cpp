// How deliveries have fared, and what an operator does about them: the requests.
#include "protocol/records/delivery.h"

#include "delivery/queue.h"
#include "protocol/frame.h"
#include "requests_fixture.h"

namespace callhome::service {
namespace {

using protocol::ClearQueueRecord;
using protocol::MessageTailRecord;
using protocol::PreviewHead;
using protocol::PreviewRequestRecord;
using protocol::PreviewTotals;
using protocol::ProfileStatisticsRecord;
using protocol::QueueStateRecord;
using protocol::ResendRecord;

PreviewRequestRecord preview_of(std::string_view type, std::string_view profile = "") {
    PreviewRequestRecord record{};
    write_text(record.type, type);
    write_text(record.profile, profile);
    return record;
}

ProfileStatisticsRecord figures_of(std::string_view profile) {
    ProfileStatisticsRecord record{};
    write_text(record.profile, profile);
    return record;
}

NewMessage message_for(std::string profile, std::vector<std::string> receivers, std::string content) {
    NewMessage message;
    message.profile = std::move(profile);
    message.subject = "a subject";
    message.receivers = std::move(receivers);
    message.size = content.size();
    message.content = std::move(content);
    return message;
}

class QueueRequestsTest : public RequestsTest {
 protected:
    QueueRequestsTest() { store.set_enabled(true); }

    // Takes a record off what came.
    template <typename Record>
    Record take() {
        Record record{};
        EXPECT_GE(caller.late_body.size(), sizeof record);
        if (caller.late_body.size() >= sizeof record) {
            std::memcpy(&record, caller.late_body.data(), sizeof record);
            caller.late_body.erase(caller.late_body.begin(), caller.late_body.begin() + sizeof record);
        }
        protocol::convert_byte_order(std::as_writable_bytes(std::span(&record, 1)),
                                     protocol::layout_of<Record>());
        return record;
    }
    std::string take_text(std::size_t length) {
        EXPECT_GE(caller.late_body.size(), length);
        const std::string text(reinterpret_cast<const char*>(caller.late_body.data()),
                               std::min(length, caller.late_body.size()));
        caller.late_body.erase(caller.late_body.begin(),
                               caller.late_body.begin() + static_cast<std::ptrdiff_t>(text.size()));
        return text;
    }
};

TEST_F(QueueRequestsTest, TheStateOfTheQueueTellsOfTheStorageToo) {
    fake_messages().queue_state.messages = 3;
    fake_messages().queue_state.most_bytes = 1000;
    auto answer = ask(Opcode::queue_state, Operation::get, QueueStateRecord{});
    EXPECT_EQ(answer.status, Status::ok);
    EXPECT_EQ(+answer.record->messages, 3U);
    EXPECT_EQ(+answer.record->most_bytes, 1000U);
    EXPECT_EQ(+answer.record->is_degraded, 0U);
    EXPECT_EQ(+answer.record->degraded_since, 0U);
    EXPECT_STREQ(answer.record->trouble, "");
    database.health().failed(Trouble::disk_room, "the disk is too full");
    answer = ask(Opcode::queue_state, Operation::get, QueueStateRecord{});
    EXPECT_EQ(+answer.record->is_degraded, 1U);
    EXPECT_EQ(+answer.record->degraded_since, database.health().since());
    EXPECT_STREQ(answer.record->trouble, "the disk is too full");
}

TEST_F(QueueRequestsTest, AProfileTellsHowItsMessagesHaveFared) {
    Queue queue(database);
    const auto ids =
        queue.record(std::vector{message_for("full_txt", {"a@example.com", "b@example.com"}, "x")},
                     {now, now * 1000}, 10);
    DeliveryUpdate update;
    update.id = ids.deliveries[0][0];
    update.attempts = 1;
    update.next_attempt_at = now + 60;
    update.last_attempt_at = now;
    update.last_result = update.error = "127.0.0.1:25: 450 later";
    queue.update(std::vector{update});
    update.state = protocol::DeliveryState::delivered;
    update.attempts = 2;
    update.last_attempt_at = now + 60;
    update.latency_ms = 60'500;
    update.error = "";
    queue.update(std::vector{update});
    const auto answer = ask(Opcode::profile_statistics, Operation::get, figures_of("full_txt"));
    EXPECT_EQ(answer.status, Status::ok);
    EXPECT_STREQ(answer.record->profile, "full_txt");
    EXPECT_EQ(+answer.record->sent, 1U);
    EXPECT_EQ(+answer.record->recovered, 1U);
    EXPECT_EQ(+answer.record->lost, 0U);
    EXPECT_EQ(+answer.record->waiting, 1U);
    EXPECT_EQ(+answer.record->since, now);
    EXPECT_EQ(+answer.record->last_success_at, now + 60);
    EXPECT_EQ(+answer.record->last_error_at, now);
    EXPECT_EQ(+answer.record->last_latency, 60'500U);
    EXPECT_EQ(+answer.record->mean_latency, 60'500U);
    EXPECT_EQ(+answer.record->most_latency, 60'500U);
    EXPECT_STREQ(answer.record->last_error, "127.0.0.1:25: 450 later");
}

TEST_F(QueueRequestsTest, AProfileOfWhichNothingWasSentHasZeros) {
    const auto answer = ask(Opcode::profile_statistics, Operation::get, figures_of("ZUVA-profile"));
    EXPECT_EQ(answer.status, Status::ok);
    EXPECT_EQ(+answer.record->sent, 0U);
    EXPECT_EQ(+answer.record->since, 0U);
    EXPECT_EQ(ask(Opcode::profile_statistics, Operation::get, figures_of("nobody")).status,
              Status::not_found);
}

TEST_F(QueueRequestsTest, AProfileThatIsGoneKeepsItsFigures) {
    Queue queue(database);
    const auto ids =
        queue.record(std::vector{message_for("gone", {"a@example.com"}, "x")}, {now, now * 1000}, 10);
    DeliveryUpdate refused;
    refused.id = ids.deliveries[0][0];
    refused.state = protocol::DeliveryState::failed;
    refused.last_attempt_at = now;
    queue.update(std::vector{refused});
    const auto answer = ask(Opcode::profile_statistics, Operation::get, figures_of("gone"));
    EXPECT_EQ(answer.status, Status::ok);
    EXPECT_EQ(+answer.record->lost, 1U);
}

TEST_F(QueueRequestsTest, TheQueueIsClearedInTheNameOfTheOperator) {
    fake_messages().cleared = {.given_up = 7, .under_way = 2};
    const auto answer = ask(Opcode::clear_queue, Operation::set, ClearQueueRecord{});
    EXPECT_EQ(answer.status, Status::ok);
    EXPECT_EQ(+answer.record->given_up, 7U);
    EXPECT_EQ(+answer.record->under_way, 2U);
    EXPECT_EQ(fake_messages().cleared_by, std::vector<std::string>{"ada"});
}

TEST_F(QueueRequestsTest, AQueueThatCannotBeClearedSaysThatItWasNot) {
    fake_messages().storage_error = "disk full";
    EXPECT_EQ(send(Opcode::clear_queue, Operation::set, ClearQueueRecord{}), Status::storage_failed);
}

TEST_F(QueueRequestsTest, WhoMayOnlyReadClearsResendsAndPreviewsNothing) {
    caller.allowed = false;
    EXPECT_EQ(send(Opcode::clear_queue, Operation::set, ClearQueueRecord{}), Status::permission_denied);
    EXPECT_EQ(send(Opcode::resend_message, Operation::set, ResendRecord{}), Status::permission_denied);
    EXPECT_EQ(send(Opcode::message_preview, Operation::get, preview_of("test")), Status::permission_denied);
    EXPECT_EQ(send(Opcode::queue_state, Operation::get, QueueStateRecord{}), Status::ok);
    EXPECT_TRUE(fake_messages().cleared_by.empty());
    EXPECT_TRUE(fake_messages().resent.empty());
    EXPECT_TRUE(fake_messages().previews.empty());
}

TEST_F(QueueRequestsTest, AResentMessageTellsWhatBecomesOfIt) {
    ResendRecord answered{};
    answered.due_now = 2;
    answered.new_message = 9;
    fake_messages().resend_answer = {Status::ok, answered};
    ResendRecord key{};
    key.message_id = 7;
    const auto answer = ask(Opcode::resend_message, Operation::set, key);
    EXPECT_EQ(answer.status, Status::ok);
    EXPECT_EQ(+answer.record->due_now, 2U);
    EXPECT_EQ(+answer.record->new_message, 9U);
    EXPECT_EQ(fake_messages().resent, std::vector<std::uint32_t>{7});
}

TEST_F(QueueRequestsTest, WhileTheFeatureIsOffNothingIsSentAgain) {
    store.set_enabled(false);
    const auto answer = ask(Opcode::resend_message, Operation::set, ResendRecord{});
    EXPECT_EQ(answer.status, Status::not_sent);
    EXPECT_STREQ(answer.record->why_not,
                 "call home is disabled; enter 'enable' in the call-home mode first");
    EXPECT_TRUE(fake_messages().resent.empty());
}

TEST_F(QueueRequestsTest, AWalkOverTheNewestMessagesBeginsBehindTheOthers) {
    for (std::uint32_t id = 3; id < 7; ++id) {
        fake_messages().messages.emplace_back().id = id;
    }
    const auto before_last = [&](std::uint32_t count) {
        return +ask(Opcode::message_tail, Operation::get, MessageTailRecord{.count = count, .before = 0})
                    .record->before;
    };
    EXPECT_EQ(before_last(1), 5U);
    EXPECT_EQ(before_last(3), 3U);
    EXPECT_EQ(before_last(4), 0U);
    EXPECT_EQ(before_last(0xFFFFFFFF), 0U);
}

TEST_F(QueueRequestsTest, APreviewHoldsEachMessageWithItsText) {
    EXPECT_EQ(send(Opcode::message_preview, Operation::get, preview_of("test", "ops")), std::nullopt);
    ASSERT_EQ(fake_messages().previews.size(), 1U);
    EXPECT_EQ(fake_messages().previews.front().type, "test");
    EXPECT_EQ(fake_messages().previews.front().profile, "ops");
    EXPECT_EQ(fake_messages().previews.front().requested_by, "ada");
    std::vector composed{message_for("ops", {"a@example.com", "b@example.com"}, "one\r\ntwo\r\n"),
                         message_for("web", {"https://example.com"}, "{}")};
    composed[1].carrier = Carrier::http;
    fake_messages().unanswered_previews.front()(Status::ok, "", composed);
    EXPECT_EQ(caller.late_status, Status::ok);
    const auto totals = take<PreviewTotals>();
    EXPECT_EQ(+totals.messages, 2U);
    EXPECT_EQ(+totals.left_out, 0U);
    const auto first = take<PreviewHead>();
    EXPECT_STREQ(first.profile, "ops");
    EXPECT_STREQ(first.subject, "a subject");
    EXPECT_STREQ(first.receivers, "a@example.com, b@example.com");
    EXPECT_EQ(+first.is_mail, 1U);
    EXPECT_EQ(+first.size, 10U);
    EXPECT_EQ(take_text(first.length), "one\ntwo\n");
    const auto second = take<PreviewHead>();
    EXPECT_STREQ(second.profile, "web");
    EXPECT_EQ(+second.is_mail, 0U);
    EXPECT_EQ(take_text(second.length), "{}");
    EXPECT_TRUE(caller.late_body.empty());
}

TEST_F(QueueRequestsTest, APreviewThatIsTooLongForOneReplySaysWhatItLeavesOut) {
    send(Opcode::message_preview, Operation::get, preview_of("test"));
    const std::vector composed(3, message_for("ops", {"a@example.com"}, std::string(8'000'000, 'x')));
    fake_messages().unanswered_previews.front()(Status::ok, "", composed);
    EXPECT_LE(caller.late_body.size(), protocol::largest_frame_body);
    const auto totals = take<PreviewTotals>();
    EXPECT_EQ(+totals.messages, 2U);
    EXPECT_EQ(+totals.left_out, 1U);
}

TEST_F(QueueRequestsTest, ReceiversThatDoNotFitAreLeftOutWhole) {
    send(Opcode::message_preview, Operation::get, preview_of("test"));
    const std::vector<std::string> many(100, std::string(100, 'r'));
    fake_messages().unanswered_previews.front()(Status::ok, "", {message_for("ops", many, "x")});
    (void)take<PreviewTotals>();
    EXPECT_EQ(read_text(take<PreviewHead>().receivers).size(), 10U * 100U + 9U * 2U);
}

TEST_F(QueueRequestsTest, APreviewThatIsRefusedGivesItsReason) {
    send(Opcode::message_preview, Operation::get, preview_of("test"));
    fake_messages().unanswered_previews.front()(Status::not_sent, "nobody takes it", {});
    EXPECT_EQ(caller.late_status, Status::not_sent);
    EXPECT_EQ(take_text(15), "nobody takes it");
    EXPECT_EQ(send(Opcode::message_preview, Operation::get, preview_of("")), Status::malformed_request);
    EXPECT_EQ(send(Opcode::message_preview, Operation::get, preview_of("a b")), Status::malformed_request);
}

}  // namespace
}  // namespace callhome::service
