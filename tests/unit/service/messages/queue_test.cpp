#include "delivery/queue.h"

#include <gtest/gtest.h>

#include "temporary_folder.h"

namespace callhome::service {
namespace {

using namespace std::string_literals;

using protocol::DeliveryState;

constexpr std::int64_t now = 1'700'000'000;
constexpr std::size_t keep_all = 1000;

NewMessage sample_message(std::vector<std::string> receivers = {"ada@example.com", "bob@example.com"}) {
    NewMessage message;
    message.type = "test";
    message.profile = "ops";
    message.subject = "A subject";
    message.format = protocol::MessageFormat::short_text;
    message.sender = "switch1@example.com";
    message.size = 5;
    message.content = "he\0lo\xFF"s;
    message.receivers = std::move(receivers);
    return message;
}

class QueueTest : public testing::Test {
 protected:
    void reopen() {
        queue_.reset();
        database_.reset();
        open();
    }
    void open() {
        database_.emplace(folder_.path() / "callhome.db");
        queue_.emplace(*database_);
    }
    std::vector<std::int64_t> record(const NewMessage& message, std::size_t kept = keep_all) {
        return queue_->record(std::vector{message}, {now, now * 1000}, kept).deliveries.front();
    }
    void update(const DeliveryUpdate& update) { queue_->update(std::vector{update}); }
    void finish(std::int64_t delivery, DeliveryState state = DeliveryState::delivered) {
        update({delivery, state, 1, 0, now, "done"});
    }
    void SetUp() override { open(); }

    TemporaryFolder folder_;
    std::optional<Database> database_;
    std::optional<Queue> queue_;
};

TEST_F(QueueTest, KeepsAMessageAndItsReceiversAcrossARestart) {
    record(sample_message());
    reopen();
    const auto message = queue_->message_after(0);
    ASSERT_TRUE(message);
    EXPECT_EQ(message->recorded_at, now);
    EXPECT_EQ(message->size, 5U);
    EXPECT_EQ(message->format, 3U);
    EXPECT_EQ(message->waiting, 2U);
    EXPECT_STREQ(message->type, "test");
    EXPECT_STREQ(message->profile, "ops");
    EXPECT_STREQ(message->subject, "A subject");
    const auto to_send = queue_->message_to_send(message->id);
    ASSERT_TRUE(to_send);
    EXPECT_EQ(to_send->content, sample_message().content);
    EXPECT_EQ(to_send->sender, "switch1@example.com");
    const auto due = queue_->next_due(now, {});
    ASSERT_TRUE(due);
    EXPECT_EQ(due->receiver, "ada@example.com");
    EXPECT_EQ(due->attempts, 0U);
}

TEST_F(QueueTest, RecordsAllMessagesOfARequestOrNone) {
    SQLite::Database& connection = database_->connection();
    connection.exec(
        "CREATE TRIGGER full BEFORE INSERT ON deliveries WHEN NEW.receiver = 'bad'"
        " BEGIN SELECT RAISE(ABORT, 'disk full'); END");
    EXPECT_THROW(queue_->record(std::vector{sample_message(), sample_message({"bad"})}, {now, 0}, keep_all),
                 SQLite::Exception);
    EXPECT_FALSE(queue_->message_after(0));
    EXPECT_FALSE(queue_->delivery_after(0, 0));
}

TEST_F(QueueTest, OffersWhatIsDueAndNotUnderWay) {
    const auto ids = record(sample_message());
    EXPECT_FALSE(queue_->next_due(now - 1, {}));
    EXPECT_EQ(queue_->next_due(now, {ids[0]})->id, ids[1]);
    EXPECT_FALSE(queue_->next_due(now, {ids[0], ids[1]}));
    EXPECT_EQ(queue_->earliest(), now);
    EXPECT_FALSE(queue_->earliest_after(now));
    EXPECT_EQ(queue_->earliest_after(now - 1), now);
}

TEST_F(QueueTest, OffersFirstTriesBeforeRepeatedOnes) {
    const auto old = record(sample_message({"old@example.com"}));
    update({old[0], DeliveryState::waiting, 1, now - 100, now - 200, "later"});
    const auto fresh = record(sample_message({"fresh@example.com"}));
    EXPECT_EQ(queue_->next_due(now, {})->id, fresh[0]);
    EXPECT_EQ(queue_->next_due(now, {fresh[0]})->id, old[0]);
}

TEST_F(QueueTest, RemembersWhatAnAttemptCameTo) {
    const auto ids = record(sample_message());
    update({ids[0], DeliveryState::waiting, 3, now + 240, now + 1, "mx:25: 450 busy"});
    finish(ids[1]);
    reopen();
    const auto first = queue_->delivery_after(0, 0);
    ASSERT_TRUE(first);
    EXPECT_EQ(first->state, static_cast<std::uint32_t>(DeliveryState::waiting));
    EXPECT_EQ(first->attempts, 3U);
    EXPECT_EQ(first->next_attempt_at, now + 240);
    EXPECT_EQ(first->last_attempt_at, now + 1);
    EXPECT_STREQ(first->receiver, "ada@example.com");
    EXPECT_STREQ(first->last_result, "mx:25: 450 busy");
    EXPECT_FALSE(queue_->next_due(now + 239, {}));
    EXPECT_TRUE(queue_->next_due(now + 240, {}));
    EXPECT_EQ(queue_->message_after(0)->delivered, 1U);
    EXPECT_EQ(queue_->waiting_messages(), 1U);
}

TEST_F(QueueTest, WalksDeliveriesOfOneMessageOrOfAll) {
    record(sample_message());
    const auto second = record(sample_message({"carol@example.com"}));
    const std::uint32_t message = queue_->message_after(1)->id;
    EXPECT_EQ(queue_->delivery_after(0, message)->id, static_cast<std::uint32_t>(second[0]));
    EXPECT_FALSE(queue_->delivery_after(static_cast<std::uint32_t>(second[0]), message));
    EXPECT_EQ(queue_->delivery_after(2, 0)->id, static_cast<std::uint32_t>(second[0]));
    EXPECT_FALSE(queue_->delivery_after(0, 99));
}

TEST_F(QueueTest, WalksDeliveriesOfOneState) {
    const auto ids = record(sample_message());
    finish(ids[0]);
    const auto waiting = static_cast<std::uint32_t>(DeliveryState::waiting);
    EXPECT_EQ(queue_->delivery_after(0, 0, waiting)->id, static_cast<std::uint32_t>(ids[1]));
    EXPECT_FALSE(queue_->delivery_after(static_cast<std::uint32_t>(ids[1]), 0, waiting));
}

TEST_F(QueueTest, TellsOfEachDeliveryWhichProfileItIsFor) {
    const auto first = record(sample_message());
    NewMessage message = sample_message({"carol@example.com"});
    message.profile = "noc";
    const auto second = record(message);
    const std::uint32_t id = queue_->message_after(1)->id;
    finish(first[0]);
    const auto waiting = static_cast<std::uint32_t>(DeliveryState::waiting);
    EXPECT_STREQ(queue_->delivery_after(0, 0)->profile, "ops");
    EXPECT_STREQ(queue_->delivery_after(0, id)->profile, "noc");
    EXPECT_STREQ(queue_->delivery_after(static_cast<std::uint32_t>(first[1]), 0, waiting)->profile, "noc");
    EXPECT_EQ(queue_->delivery_after(0, 0, waiting)->id, static_cast<std::uint32_t>(first[1]));
    EXPECT_EQ(queue_->delivery_after(0, id)->id, static_cast<std::uint32_t>(second[0]));
}

TEST_F(QueueTest, CutsTextsToTheFieldsOfARecord) {
    NewMessage message = sample_message({std::string(300, 'r')});
    message.subject = std::string(255, 's') + "ü";
    message.profile = std::string(40, 'p');
    record(message);
    EXPECT_EQ(std::string(queue_->message_after(0)->subject), std::string(255, 's'));
    EXPECT_EQ(std::string(queue_->delivery_after(0, 0)->receiver), std::string(255, 'r'));
    EXPECT_EQ(std::string(queue_->delivery_after(0, 0)->profile), std::string(31, 'p'));
}

TEST_F(QueueTest, ForgetsTheOldestFinishedMessagesAndNoWaitingOne) {
    const auto waiting = record(sample_message());
    for (int i = 0; i < 5; ++i) {
        for (const std::int64_t id : record(sample_message(), 2)) {
            finish(id, i % 2 == 0 ? DeliveryState::delivered : DeliveryState::failed);
        }
    }
    record(sample_message(), 2);
    std::vector<std::uint32_t> ids;
    for (auto message = queue_->message_after(0); message; message = queue_->message_after(message->id)) {
        ids.push_back(message->id);
    }
    EXPECT_EQ(ids, (std::vector<std::uint32_t>{1, 5, 6, 7}));
    EXPECT_FALSE(queue_->delivery_after(0, 2));  // the receivers go with their message
    EXPECT_TRUE(queue_->delivery_after(0, 1));
}

TEST_F(QueueTest, NeverUsesAnIdAgain) {
    for (const std::int64_t id : record(sample_message())) {
        finish(id);
    }
    record(sample_message({}), 0);
    EXPECT_FALSE(queue_->message_after(0));
    record(sample_message(), 0);
    EXPECT_EQ(queue_->message_after(0)->id, 3U);
}

TEST_F(QueueTest, BringsForwardWhatAClockThatWasSetBackPutOff) {
    const auto ids = record(sample_message({"ada@example.com"}));
    update({ids[0], DeliveryState::waiting, 1, now + 60, now, "later"});
    const std::int64_t set_back = now - 1'000'000;
    queue_->bring_forward(set_back, 3600);
    EXPECT_EQ(queue_->earliest(), set_back + 3600);
    queue_->bring_forward(set_back, 7200);
    EXPECT_EQ(queue_->earliest(), set_back + 3600);
}

}  // namespace
}  // namespace callhome::service
