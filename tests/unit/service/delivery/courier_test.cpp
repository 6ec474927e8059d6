// Who carries what, and what becomes of connections that nobody needs any more.
#include "delivery/courier.h"

#include <gtest/gtest.h>

#include <atomic>
#include <map>
#include <semaphore>

#include "scripted_server.h"

namespace callhome::service {
namespace {

using tests::SmtpServer;

constexpr std::chrono::seconds in_vain{60};

class CourierTest : public testing::Test {
 protected:
    static TransferLimits limits() {
        TransferLimits limits;
        limits.keep_idle = std::chrono::minutes(10);
        return limits;
    }
    void start(const TransferLimits& limits = CourierTest::limits()) {
        courier_ = std::make_unique<Courier>(workers, limits, [this](std::int64_t id, Outcome outcome) {
            const std::lock_guard lock(mutex_);
            outcomes_[id] = outcome.verdict;
            came_.notify_all();
        });
    }
    void submit(std::int64_t id, const SmtpServer& server) {
        DeliveryJob job;
        job.delivery_id = id;
        job.receiver = "ada@example.com";
        job.sender = "switch1@example.com";
        job.own_name = "switch1";
        job.routes = {{"127.0.0.1", server.port(), ""}};
        job.content = std::make_shared<const std::string>("Subject: x\r\n\r\nhello\r\n");
        courier_->submit(std::move(job));
    }
    void wait_for(std::size_t outcomes) {
        std::unique_lock lock(mutex_);
        ASSERT_TRUE(came_.wait_for(lock, in_vain, [&] { return outcomes_.size() >= outcomes; }));
    }

    static constexpr std::size_t workers = 4;
    std::mutex mutex_;
    std::condition_variable came_;
    std::map<std::int64_t, Verdict> outcomes_;
    std::unique_ptr<Courier> courier_;  // last: its threads use the above
};

TEST_F(CourierTest, GivesTheNextMailToWhoHasAConnection) {
    const SmtpServer one;
    const SmtpServer other;
    start();
    for (std::int64_t id = 0; id < 20; ++id) {
        submit(id, id % 2 == 0 ? one : other);
        wait_for(static_cast<std::size_t>(id) + 1);
    }
    EXPECT_EQ(one.connections(), 1);
    EXPECT_EQ(other.connections(), 1);
    EXPECT_EQ(one.mails().size() + other.mails().size(), 20U);
}

TEST_F(CourierTest, HasNotMoreConnectionsThanWorkers) {
    const SmtpServer one;
    const SmtpServer other;
    start();
    for (std::int64_t id = 0; id < 200; ++id) {
        submit(id, id % 3 == 0 ? one : other);
    }
    wait_for(200);
    for (const auto& [id, verdict] : outcomes_) {
        EXPECT_EQ(verdict, Verdict::delivered) << id;
    }
    EXPECT_EQ(one.mails().size() + other.mails().size(), 200U);
    EXPECT_LT(one.connections() + other.connections(), 100) << "connections are kept";
}

// As long as the other server has nothing, each mail for the first one draws another one after it.
TEST_F(CourierTest, LetsNobodyWaitForeverBehindThoseOfAnotherPlace) {
    SmtpServer busy;
    const SmtpServer other;
    std::atomic<std::int64_t> last_id = 0;
    start();
    busy.set_script([&](const std::string& stage, const std::string& /*argument*/) {
        if (stage == "content" && other.mails().empty()) {
            submit(++last_id, busy);
        }
        return tests::good_answer;
    });
    for (std::size_t i = 0; i < 2 * workers; ++i) {
        submit(++last_id, busy);
    }
    submit(0, other);
    std::unique_lock lock(mutex_);
    EXPECT_TRUE(came_.wait_for(lock, in_vain, [&] { return outcomes_.contains(0); }));
    EXPECT_TRUE(came_.wait_for(lock, in_vain,
                               [&] { return outcomes_.size() == static_cast<std::size_t>(last_id) + 1; }));
}

TEST_F(CourierTest, SaysGoodbyeWhenNothingMoreComes) {
    std::counting_semaphore goodbyes(0);
    const SmtpServer server([&](const std::string& stage, const std::string& /*argument*/) {
        if (stage == "QUIT") {
            goodbyes.release();
        }
        return tests::good_answer;
    });
    TransferLimits soon = limits();
    soon.keep_idle = std::chrono::milliseconds(20);
    start(soon);
    for (int connections = 1; connections <= 2; ++connections) {
        submit(connections, server);
        EXPECT_TRUE(goodbyes.try_acquire_for(in_vain));
        EXPECT_EQ(server.connections(), connections);
    }
    wait_for(2);
    EXPECT_EQ(outcomes_[2], Verdict::delivered);
}

TEST_F(CourierTest, EndsSoonAlsoWhereNobodyAnswersItsGoodbye) {
    const SmtpServer server([](const std::string& stage, const std::string& /*argument*/) {
        return stage == "QUIT" ? tests::stay_silent : tests::good_answer;
    });
    start();
    for (std::size_t i = 1; i <= workers; ++i) {
        submit(static_cast<std::int64_t>(i), server);
    }
    wait_for(workers);
    const auto begin = std::chrono::steady_clock::now();
    courier_.reset();
    EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(10));
    EXPECT_EQ(server.commands().back(), "QUIT");
}

}  // namespace
}  // namespace callhome::service
