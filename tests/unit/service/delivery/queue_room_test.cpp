// What the queue holds, what goes when it is full, and what it makes of an older database.
#include <gtest/gtest.h>

#include <limits>

#include "delivery/message_statistics.h"
#include "delivery/queue.h"
#include "temporary_folder.h"

namespace callhome::service {
namespace {

using protocol::DeliveryState;

constexpr std::int64_t now = 1'700'000'000;
constexpr int routine = 1;
constexpr int notice = 2;
constexpr int critical = 6;
constexpr std::uint64_t plenty = std::uint64_t{1} << 40U;

class QueueRoomTest : public testing::Test {
 protected:
    QueueRoomTest() {
        limits_.messages = 3;
        limits_.free_bytes = [this](const std::filesystem::path& /*folder*/) { return free_; };
        open();
    }
    void open() {
        queue_.reset();
        database_.reset();
        database_.emplace(folder_.path() / "callhome.db");
        queue_.emplace(*database_);
    }
    RecordedMessages record(int severity, std::size_t size = 10,
                            std::vector<std::string> receivers = {"ada@example.com"},
                            const std::set<std::int64_t>& under_way = {}) {
        NewMessage message;
        message.profile = "ops";
        message.content = std::string(size, 'x');
        message.severity = severity;
        message.receivers = std::move(receivers);
        return queue_->record(std::vector{message}, {now, now * 1000}, keep_, limits_, under_way);
    }
    void deliver(std::int64_t id) {
        queue_->update(std::vector{DeliveryUpdate{id, DeliveryState::delivered, 1, 0, now, "done"}});
    }
    // Ids of the messages that somebody waits for.
    std::vector<std::uint32_t> waiting() const {
        std::vector<std::uint32_t> ids;
        for (auto message = queue_->message_after(0); message;
             message = queue_->message_after(message->id)) {
            if (message->waiting > 0) {
                ids.push_back(message->id);
            }
        }
        return ids;
    }
    using Ids = std::vector<std::uint32_t>;

    TemporaryFolder folder_;
    QueueLimits limits_;
    std::size_t keep_ = 1000;
    std::optional<std::uint64_t> free_ = plenty;
    std::optional<Database> database_;
    std::optional<Queue> queue_;
};

TEST_F(QueueRoomTest, ComesFromTheOldestOfTheLeastGrave) {
    record(critical);
    record(notice);
    record(notice);
    const RecordedMessages recorded = record(critical);
    EXPECT_EQ(recorded.why_no_room, "");
    EXPECT_EQ(recorded.dropped, std::vector<std::int64_t>{2});
    EXPECT_EQ(waiting(), (Ids{1, 3, 4}));
    const auto dropped = queue_->delivery_after(1, 0);
    EXPECT_EQ(dropped->state, static_cast<std::uint32_t>(DeliveryState::failed));
    EXPECT_STREQ(dropped->last_result, "dropped: the queue was full");
    EXPECT_EQ(queue_->message_to_send(2)->content, "");
    EXPECT_EQ(queue_->dropped(), 1U);
}

TEST_F(QueueRoomTest, ComesFromNothingThatIsGraver) {
    for (int i = 0; i < 3; ++i) {
        record(critical);
    }
    const RecordedMessages recorded = record(notice);
    EXPECT_EQ(recorded.why_no_room, "Too many messages wait in the queue; see 'show callhome queue'");
    EXPECT_TRUE(recorded.deliveries.empty());
    EXPECT_EQ(waiting(), (Ids{1, 2, 3}));
    EXPECT_FALSE(queue_->message_after(3));
    EXPECT_EQ(queue_->dropped(), 0U);
}

TEST_F(QueueRoomTest, ComesFromNothingThatIsUnderWay) {
    record(notice);
    record(notice);
    record(notice);
    EXPECT_EQ(record(notice, 10, {"ada@example.com"}, {1, 2}).dropped, std::vector<std::int64_t>{3});
    EXPECT_NE(record(notice, 10, {"ada@example.com"}, {1, 2, 4}).why_no_room, "");
}

TEST_F(QueueRoomTest, IsNotTakenByWhatIsFinished) {
    for (int i = 0; i < 10; ++i) {
        const RecordedMessages recorded = record(notice);
        ASSERT_EQ(recorded.dropped, std::vector<std::int64_t>{});
        deliver(recorded.deliveries[0][0]);
    }
    EXPECT_EQ(queue_->waiting_messages(), 0U);
}

TEST_F(QueueRoomTest, IsLimitedInBytes) {
    limits_.messages = 1000;
    limits_.bytes = 1000;
    record(routine, 400);
    record(notice, 400);
    EXPECT_EQ(record(notice, 500).dropped, std::vector<std::int64_t>{1});
    EXPECT_EQ(waiting(), (Ids{2, 3}));
    EXPECT_EQ(record(notice, 1000).dropped, (std::vector<std::int64_t>{2, 3}));
    const RecordedMessages recorded = record(critical, 1001);
    EXPECT_EQ(recorded.why_no_room,
              "The messages that wait in the queue are too long in all; see 'show callhome queue'");
    EXPECT_EQ(waiting(), Ids{4}) << "what cannot find room at all costs nobody his place";
}

TEST_F(QueueRoomTest, IsLimitedByTheDisk) {
    limits_.free_disk = 10 << 20U;
    free_ = (10 << 20U) - 1;
    const RecordedMessages recorded = record(critical, 100'000);
    EXPECT_EQ(recorded.why_no_room,
              "The disk of the service is too full: 9 MiB are free, 10 MiB have to stay free");
    EXPECT_TRUE(recorded.is_disk_full);
    free_.reset();
    EXPECT_EQ(record(critical, 100'000).why_no_room, "") << "a disk that does not tell is no full one";
}

TEST_F(QueueRoomTest, OnAFullDiskComesFromFinishedMessagesFirst) {
    limits_.free_disk = 10 << 20U;
    deliver(record(critical, 200'000).deliveries[0][0]);
    record(notice, 200'000);
    free_ = 0;
    EXPECT_EQ(record(notice, 100'000).dropped, std::vector<std::int64_t>{});
    EXPECT_FALSE(queue_->delivery_after(0, 1)) << "the finished one has gone";
    EXPECT_EQ(record(notice, 190'000).dropped, std::vector<std::int64_t>{2});
    EXPECT_EQ(waiting(), (Ids{3, 4}));
}

TEST_F(QueueRoomTest, DropsOnlyThoseReceiversThatStillWait) {
    limits_.messages = 1;
    deliver(record(notice, 10, {"ada@example.com", "bob@example.com"}).deliveries[0][0]);
    EXPECT_EQ(record(notice).dropped, std::vector<std::int64_t>{2});
    EXPECT_EQ(queue_->message_after(0)->delivered, 1U);
    EXPECT_EQ(queue_->message_after(0)->failed, 1U);
}

TEST_F(QueueRoomTest, IsCountedTheSameAfterARestart) {
    record(notice);
    deliver(record(notice).deliveries[0][0]);
    record(notice);
    record(notice);
    record(notice);
    EXPECT_EQ(queue_->waiting_messages(), 3U);
    open();
    EXPECT_EQ(queue_->waiting_messages(), 3U);
    EXPECT_EQ(queue_->dropped(), 1U);
    EXPECT_EQ(MessageStatistics(*database_).dropped(), 1U);
}

TEST_F(QueueRoomTest, ForgetsFinishedMessagesWhateverWaits) {
    keep_ = 1;
    limits_.messages = 1000;
    record(notice);
    for (int i = 0; i < 4; ++i) {
        deliver(record(notice).deliveries[0][0]);
    }
    record(notice);
    Ids ids;
    for (auto message = queue_->message_after(0); message; message = queue_->message_after(message->id)) {
        ids.push_back(message->id);
    }
    EXPECT_EQ(ids, (Ids{1, 5, 6}));
}

TEST_F(QueueRoomTest, LetsAnUpdateChangeOnlyWhatStillWaits) {
    const auto id = record(notice).deliveries[0][0];
    deliver(id);
    queue_->update(std::vector{DeliveryUpdate{id, DeliveryState::waiting, 2, now + 60, now, "late"}});
    EXPECT_EQ(queue_->delivery_after(0, 0)->state, static_cast<std::uint32_t>(DeliveryState::delivered));
}

TEST_F(QueueRoomTest, PassesHostsThatHaveTheirShareOfCouriers) {
    limits_.messages = 1000;
    NewMessage message;
    message.carrier = Carrier::http;
    for (int i = 0; i < 200; ++i) {
        message.receivers.push_back("http://slow.example.net/" + std::to_string(i));
    }
    message.receivers.emplace_back("http://quick.example.net/");
    message.receivers.emplace_back("http://other.example.net/");
    const auto ids = queue_->record(std::vector{message}, {now, 0}, keep_, limits_).deliveries.at(0);
    const std::string slow = "slow.example.net:80";
    EXPECT_EQ(queue_->next_due(now, {})->lane, slow);
    EXPECT_EQ(queue_->next_due(now, {ids[0]}, {slow})->id, ids[200]);
    EXPECT_EQ(queue_->next_due(now, {ids[0], ids[200]}, {slow})->id, ids[201]);
    EXPECT_FALSE(queue_->next_due(now, {ids[0], ids[200], ids[201]}, {slow}));
    EXPECT_FALSE(queue_->next_due(now, {ids[0]}, {slow, "quick.example.net:80", "other.example.net:80"}));
    EXPECT_EQ(queue_->next_due(now, {ids[0]}, {"quick.example.net:80"})->id, ids[1]);
}

TEST_F(QueueRoomTest, PassesBusyHostsAmongManyOthers) {
    limits_.messages = 1000;
    NewMessage message;
    message.carrier = Carrier::http;
    message.receivers.assign(100, "http://busy.example.net/");
    for (int i = 0; i < 20; ++i) {
        message.receivers.push_back("http://host" + std::to_string(i) + ".example.net/");
    }
    const auto ids = queue_->record(std::vector{message}, {now, 0}, keep_, limits_).deliveries.at(0);
    const std::string busy = "busy.example.net:80";
    EXPECT_EQ(queue_->next_due(now, {ids[0]}, {busy})->id, ids[100]);
    EXPECT_EQ(queue_->next_due(now, {ids[0], ids[100]}, {busy, "host0.example.net:80"})->id, ids[101]);
    // A repeated one comes behind all first tries, also of hosts in front of its own.
    queue_->update(std::vector{DeliveryUpdate{ids[1], DeliveryState::waiting, 1, now - 60, now, "later"}});
    EXPECT_EQ(queue_->next_due(now, {ids[0]}, {})->id, ids[2]);
    for (std::size_t i = 100; i < ids.size(); ++i) {
        deliver(ids[i]);
    }
    EXPECT_FALSE(queue_->next_due(now, {ids[0]}, {busy}));
}

class QueueTogetherTest : public QueueRoomTest {
 protected:
    static RequestedMessages request(int severity, std::size_t size = 10, std::size_t count = 1) {
        NewMessage message;
        message.profile = "ops";
        message.content = std::string(size, 'x');
        message.severity = severity;
        message.receivers = {"ada@example.com"};
        return RequestedMessages(count, message);
    }
    std::vector<RecordedMessages> record_together(const std::vector<RequestedMessages>& requests,
                                                  const std::vector<DeliveryUpdate>& updates = {}) {
        return queue_->record_together(updates, requests,
                                       {.time = {now, now * 1000},
                                        .finished_kept = keep_,
                                        .limits = limits_,
                                        .under_way = under_way_});
    }
    std::set<std::int64_t> under_way_;
};

TEST_F(QueueTogetherTest, MakesRoomForOneRequestAfterTheOther) {
    record(routine);
    record(critical);
    // The second one finds no room, though it could drop the routine message, and leaves no trace.
    const auto recorded = record_together(
        {request(notice), request(notice, 10, 3), request(notice), request(routine), request(critical)});
    ASSERT_EQ(recorded.size(), 5U);
    EXPECT_EQ(recorded[0].deliveries.at(0), std::vector<std::int64_t>{3});
    EXPECT_EQ(recorded[1].why_no_room, "Too many messages wait in the queue; see 'show callhome queue'");
    EXPECT_TRUE(recorded[1].dropped.empty());
    EXPECT_TRUE(recorded[1].deliveries.empty());
    EXPECT_EQ(recorded[2].dropped, std::vector<std::int64_t>{1});
    EXPECT_EQ(recorded[2].deliveries.at(0), std::vector<std::int64_t>{4});
    EXPECT_NE(recorded[3].why_no_room, "");
    EXPECT_EQ(recorded[4].dropped, std::vector<std::int64_t>{3})
        << "what has just come goes like any other";
    EXPECT_EQ(waiting(), (Ids{2, 4, 5}));
    EXPECT_EQ(queue_->dropped(), 2U);
}

TEST_F(QueueTogetherTest, CountsWhatIsNotYetOnTheDisk) {
    limits_.messages = 1000;
    limits_.free_disk = 10 << 20U;
    free_ = (10 << 20U) + 250'000;
    const auto recorded = record_together({request(notice, 200'000), request(notice, 190'000)});
    EXPECT_EQ(recorded[0].why_no_room, "");
    EXPECT_EQ(recorded[1].dropped, std::vector<std::int64_t>{1});
    EXPECT_EQ(waiting(), Ids{2});
}

TEST_F(QueueTogetherTest, KeepsAllOrNothing) {
    const auto id = record(notice).deliveries[0][0];
    database_->connection().exec(
        "CREATE TRIGGER full BEFORE INSERT ON messages WHEN NEW.profile = 'bad'"
        " BEGIN SELECT RAISE(ABORT, 'disk full'); END");
    RequestedMessages bad = request(notice);
    bad.front().profile = "bad";
    const DeliveryUpdate update{id, DeliveryState::delivered, 1, 0, now, "done"};
    EXPECT_THROW(record_together({request(notice), bad}, {update}), SQLite::Exception);
    EXPECT_EQ(waiting(), Ids{1});
    record_together({request(notice), request(notice)}, {update});
    EXPECT_EQ(waiting(), (Ids{2, 3}));
}

TEST_F(QueueRoomTest, RemembersServersThatEncrypt) {
    EXPECT_TRUE(queue_->encrypting_servers().empty());
    queue_->add_encrypting_server("mx:25");
    queue_->add_encrypting_server("mx:25");
    open();
    EXPECT_EQ(queue_->encrypting_servers(), std::set<std::string>{"mx:25"});
}

// The queue as the service made it before it counted.
constexpr const char* older_queue = R"(
    CREATE TABLE messages (id INTEGER PRIMARY KEY AUTOINCREMENT, recorded_at INTEGER NOT NULL,
        type TEXT NOT NULL, profile TEXT NOT NULL, subject TEXT NOT NULL, format INTEGER NOT NULL,
        carrier INTEGER NOT NULL, size INTEGER NOT NULL, sender TEXT NOT NULL, content BLOB NOT NULL);
    CREATE TABLE deliveries (id INTEGER PRIMARY KEY AUTOINCREMENT,
        message_id INTEGER NOT NULL REFERENCES messages (id) ON DELETE CASCADE, receiver TEXT NOT NULL,
        state INTEGER NOT NULL, attempts INTEGER NOT NULL DEFAULT 0, next_attempt_at INTEGER NOT NULL,
        last_attempt_at INTEGER NOT NULL DEFAULT 0, last_result TEXT NOT NULL DEFAULT '');
    INSERT INTO messages VALUES (4, 1699999000, 'test', 'ops', 's', 2, 1, 5, 'a@b', x'68656c6c6f');
    INSERT INTO messages VALUES (9, 1699999100, 'test', 'ops', 's', 2, 2, 5, '', x'68656c6c6f');
    INSERT INTO deliveries VALUES (7, 4, 'ada@example.com', 2, 1, 0, 1699999001, 'delivered');
    INSERT INTO deliveries VALUES (8, 9, 'http://example.com', 1, 3, 1699999900, 1699999800, 'later');
)";

TEST(OlderQueue, IsTakenUpWithWhatItHolds) {
    const TemporaryFolder folder;
    Database database(folder.path() / "callhome.db");
    database.connection().exec(older_queue);
    Queue queue(database);
    EXPECT_EQ(queue.waiting_messages(), 1U);
    const auto due = queue.next_due(now, {});
    ASSERT_TRUE(due);
    EXPECT_EQ(due->id, 8);
    EXPECT_EQ(due->attempts, 3U);
    EXPECT_EQ(queue.message_to_send(9)->content, "hello");
    EXPECT_EQ(queue.message_to_send(9)->recorded_ms, 1'699'999'100'000);
    // It may have run once more since.
    database.connection().exec(
        "DELETE FROM queued_messages WHERE message_id = 9; UPDATE queue_totals SET waiting = 5");
    EXPECT_EQ(Queue(database).waiting_messages(), 1U);
    EXPECT_EQ(queue.message_to_send(9)->content, "hello");
    queue.update(std::vector{DeliveryUpdate{8, DeliveryState::delivered, 4, 0, now, "done"}});
    EXPECT_EQ(queue.waiting_messages(), 0U);
    queue.record(std::vector{NewMessage{}}, {now, 0}, 1);
    EXPECT_FALSE(queue.message_to_send(4));
    EXPECT_FALSE(queue.message_to_send(9));
    EXPECT_TRUE(queue.message_to_send(10));
}

}  // namespace
}  // namespace callhome::service
