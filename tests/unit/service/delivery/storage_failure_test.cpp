// Disks that are full, do not synchronise or are damaged: nothing is acknowledged that is not kept, the
// service says so, and goes on by itself when it can.
#include <gtest/gtest.h>

#include <algorithm>

#include "delivery/queue.h"
#include "faulty_vfs.h"
#include "message_service_fixture.h"
#include "store/storage_watch.h"

namespace callhome::service {
namespace {

using protocol::Status;
using tests::FaultyVfs;
using tests::MessageServiceTest;

constexpr std::int64_t now = 1'700'000'000;
constexpr int most_faults = 500;

NewMessage long_message() {
    NewMessage message;
    message.profile = "ops";
    message.content = std::string(20'000, 'x');
    message.receivers = {"ada@example.com", "bob@example.com"};
    return message;
}

// What a fault does, at the n-th write or sync.
struct Fault {
    const char* name;
    void (*begin)(FaultyVfs& disk, int count);
};

const std::array faults{
    Fault{"DiskFull", [](FaultyVfs& disk, int count) { disk.fail_writes_from(count, SQLITE_FULL); }},
    Fault{"WriteError",
          [](FaultyVfs& disk, int count) { disk.fail_writes_from(count, SQLITE_IOERR_WRITE); }},
    Fault{"SyncError", [](FaultyVfs& disk, int count) { disk.fail_syncs_from(count, SQLITE_IOERR_FSYNC); }},
};

class QueueOnAFailingDisk : public testing::TestWithParam<Fault> {};

TEST_P(QueueOnAFailingDisk, KeepsExactlyWhatItHasAcknowledged) {
    FaultyVfs disk;
    const TemporaryFolder folder;
    std::set<std::int64_t> acknowledged;
    std::optional<Database> database(std::in_place, folder.path() / "callhome.db");
    std::optional<Queue> queue(std::in_place, *database);
    // Until the fault would come after all that is written.
    int failures = 1;
    int count = 0;
    while (failures > 0 && count < most_faults) {
        failures = 0;
        // Else what is written between the messages would grow with each of them.
        database->connection().exec("PRAGMA wal_checkpoint(TRUNCATE)");
        GetParam().begin(disk, ++count);
        for (int i = 0; i < 3; ++i) {
            try {
                for (const auto& ids :
                     queue->record(std::vector{long_message()}, {now, 0}, 1000).deliveries) {
                    acknowledged.insert(ids.begin(), ids.end());
                }
            } catch (const SQLite::Exception&) {
                ++failures;
            }
        }
        disk.heal();
        std::set<std::int64_t> kept;
        for (auto one = queue->delivery_after(0, 0); one; one = queue->delivery_after(one->id, 0)) {
            kept.insert(one->id);
        }
        ASSERT_EQ(kept, acknowledged) << "fault " << count;
        ASSERT_EQ(queue->waiting_messages(), acknowledged.size() / 2) << "fault " << count;
    }
    EXPECT_EQ(failures, 0);
    EXPECT_GE(count, 3);
    EXPECT_GE(acknowledged.size(), 6U);
    queue.reset();
    database.reset();
    database.emplace(folder.path() / "callhome.db");
    queue.emplace(*database);
    EXPECT_EQ(queue->waiting_messages(), acknowledged.size() / 2);
    EXPECT_EQ(database->connection().execAndGet("PRAGMA integrity_check").getString(), "ok");
}

INSTANTIATE_TEST_SUITE_P(Of, QueueOnAFailingDisk, testing::ValuesIn(faults),
                         [](const auto& instance) { return instance.param.name; });

class StorageFailureTest : public MessageServiceTest {
 protected:
    void start_watched() {
        start();
        watch_.emplace(io_, *database_, std::chrono::milliseconds(1), [this] {
            ++recoveries_;
            service_->look_again();
        });
        watch_->when_told([this](const std::string& reason) { told_.push_back(reason); });
    }
    StorageHealth& health() { return database_->health(); }
    ~StorageFailureTest() override {
        watch_.reset();
        stop();
    }

    FaultyVfs disk_;
    std::optional<StorageWatch> watch_;
    int recoveries_ = 0;
    std::vector<std::string> told_;
};

TEST_F(StorageFailureTest, IsToldToWhoAsksAndIsOverByItself) {
    start_watched();
    disk_.fail_writes_from(1, SQLITE_FULL);
    EXPECT_EQ(send("test").status, Status::storage_failed);
    EXPECT_EQ(server_.connections(), 0);
    EXPECT_TRUE(health().is_degraded());
    EXPECT_NE(health().reason().find("make room on its disk"), std::string::npos) << health().reason();
    // It is tried again and again, in vain.
    const int writes = disk_.writes();
    EXPECT_TRUE(run_until([&] { return disk_.writes() > writes + 3; }));
    EXPECT_TRUE(health().is_degraded());
    EXPECT_EQ(recoveries_, 0);

    disk_.heal();
    EXPECT_TRUE(run_until([&] { return recoveries_ == 1; }));
    EXPECT_FALSE(health().is_degraded());
    EXPECT_EQ(told_.back(), "");
    EXPECT_EQ(send("test").status, Status::ok);
    EXPECT_EQ(server_.mails().size(), 1U);
}

TEST_F(StorageFailureTest, OfTheSynchronisationAcknowledgesNothing) {
    start_watched();
    disk_.fail_syncs_from(1, SQLITE_IOERR_FSYNC);
    EXPECT_EQ(send("test").status, Status::storage_failed);
    EXPECT_NE(health().reason().find("check its disk"), std::string::npos) << health().reason();
    EXPECT_EQ(server_.connections(), 0);
    disk_.heal();
    EXPECT_TRUE(run_until([&] { return !health().is_degraded(); }));
    EXPECT_FALSE(service_->message_after(0));
    EXPECT_EQ(send("test").status, Status::ok);
}

TEST_F(StorageFailureTest, WhileAResultIsToBeRecordedSendsNothingTwice) {
    start_watched();
    std::atomic<bool> reached = false;
    server_.set_script([&](const std::string& stage, const std::string& /*argument*/) {
        if (stage == "content" && !reached.exchange(true)) {
            disk_.fail_writes_from(1, SQLITE_FULL);
        }
        return tests::good_answer;
    });
    std::optional<tests::Reply> reply;
    service_->send({"test", "", "", ""}, into(reply));
    EXPECT_TRUE(run_until([&] { return health().is_degraded(); }));
    EXPECT_FALSE(reply);
    disk_.heal();
    EXPECT_EQ(wait_for(reply).status, Status::ok);
    EXPECT_EQ(server_.mails().size(), 1U);
    EXPECT_EQ(state(), protocol::DeliveryState::delivered);
}

// An answer waits for the disk, and the disk is not asked for each alone.
TEST_F(StorageFailureTest, IsRiskedOnceForEventsThatComeTogether) {
    constexpr int events = 20;
    settings_.workers = 1;
    start_watched();
    std::vector<std::optional<tests::Reply>> replies(events);
    const auto raise_all = [&] {
        for (std::optional<tests::Reply>& reply : replies) {
            reply.reset();
            service_->alert({"SUP_FAILURE", std::to_string(&reply - replies.data()), "failed", ""},
                            into(reply));
        }
    };
    const auto are_all_answered = [&] {
        return std::ranges::all_of(replies, [](const auto& reply) { return reply.has_value(); });
    };
    disk_.fail_syncs_from(1, SQLITE_IOERR_FSYNC);
    raise_all();
    ASSERT_TRUE(run_until(are_all_answered));
    for (const auto& reply : replies) {
        EXPECT_EQ(reply->status, Status::storage_failed);
    }
    EXPECT_EQ(server_.connections(), 0);
    EXPECT_FALSE(service_->message_after(0));
    disk_.heal();
    ASSERT_TRUE(run_until([&] { return !health().is_degraded(); }));
    const int before = disk_.syncs();
    raise_all();
    ASSERT_TRUE(run_until([&] { return server_.connections() > 0; }));
    EXPECT_LT(disk_.syncs() - before, events / 2);
    ASSERT_TRUE(run_until(are_all_answered));
    for (const auto& reply : replies) {
        EXPECT_EQ(reply->status, Status::ok) << reply->text;
    }
    EXPECT_EQ(server_.mails().size(), static_cast<std::size_t>(events));
}

TEST_F(StorageFailureTest, ByDamageIsToldAndNotSaidToBeOver) {
    start_watched();
    health().failed(SQLite::Exception("database disk image is malformed", SQLITE_CORRUPT));
    EXPECT_NE(health().reason().find("put a copy of it back"), std::string::npos) << health().reason();
    for (int turn = 0; turn < 20; ++turn) {
        io_.restart();
        io_.run_one_for(std::chrono::milliseconds(5));
    }
    EXPECT_TRUE(health().is_degraded());
    EXPECT_EQ(recoveries_, 0);
}

TEST_F(StorageFailureTest, ForWantOfRoomOnTheDiskEndsWhenThereIsSome) {
    std::optional<std::uint64_t> free = 0;
    settings_.queue.free_bytes = [&](const std::filesystem::path& /*folder*/) { return free; };
    start_watched();
    const tests::Reply reply = send("test");
    EXPECT_EQ(reply.status, Status::limit_reached);
    EXPECT_EQ(reply.text, "The disk of the service is too full: 0 MiB are free, 16 MiB have to stay free");
    EXPECT_EQ(health().reason(), reply.text);
    free = std::uint64_t{16} << 20U;
    EXPECT_TRUE(run_until([&] { return !health().is_degraded(); }));
    free.reset();
    EXPECT_EQ(send("test").status, Status::ok);
}

TEST(StorageHealth, ToldTwiceOfTheSameIsNoChange) {
    StorageHealth health;
    int changes = 0;
    health.when_changed([&] { ++changes; });
    health.failed(Trouble::disk_room, "full");
    health.failed(Trouble::disk_room, "full");
    EXPECT_EQ(changes, 1);
    EXPECT_EQ(health.failures(), 2U);
    health.failed(SQLite::Exception("disk I/O error", SQLITE_IOERR));
    EXPECT_EQ(health.reason(),
              "the database fails: disk I/O error; check its disk and the rights of its folder; full");
    health.works(Trouble::disk_room);
    EXPECT_TRUE(health.is_degraded());
    health.works(Trouble::database);
    EXPECT_FALSE(health.is_degraded());
    EXPECT_EQ(health.reason(), "");
    EXPECT_EQ(changes, 4);
}

}  // namespace
}  // namespace callhome::service
