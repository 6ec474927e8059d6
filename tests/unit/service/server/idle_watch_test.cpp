#include "server/idle_watch.h"

#include <gtest/gtest.h>

#include <vector>

namespace callhome::service {
namespace {

constexpr std::chrono::milliseconds moment{1};
constexpr std::chrono::minutes too_long{10};
constexpr std::chrono::seconds guard{60};

class IdleWatchTest : public testing::Test {
 protected:
    IdleWatch::Questions questions() {
        return {.has_clients = [this] { return clients > 0; },
                .is_busy =
                    [this] {
                        ++asked;
                        return asked <= busy_answers;
                    }};
    }
    std::function<void()> end() {
        return [this] {
            ++ends;
            io.stop();
        };
    }

    asio::io_context io;
    int clients = 0;
    int asked = 0;
    int busy_answers = 0;
    int ends = 0;
};

TEST_F(IdleWatchTest, EndsWhenNoFirstClientComes) {
    const IdleWatch watch(
        io, {.for_first_client = moment, .after_last_client = too_long, .while_busy = too_long},
        questions(), end());
    io.run_for(guard);
    EXPECT_EQ(ends, 1);
}

TEST_F(IdleWatchTest, EndsAfterTheLastClient) {
    IdleWatch watch(io, {.for_first_client = too_long, .after_last_client = moment, .while_busy = too_long},
                    questions(), end());
    watch.last_client_has_gone();
    io.run_for(guard);
    EXPECT_EQ(ends, 1);
}

TEST_F(IdleWatchTest, WaitsForAQueueThatIsDueSoon) {
    busy_answers = 3;
    const IdleWatch watch(io,
                          {.for_first_client = moment, .after_last_client = too_long, .while_busy = moment},
                          questions(), end());
    io.run_for(guard);
    EXPECT_EQ(asked, 4);
    EXPECT_EQ(ends, 1);
}

TEST_F(IdleWatchTest, StaysWhileSomebodyIsThere) {
    clients = 1;
    IdleWatch watch(io, {.for_first_client = moment, .after_last_client = moment, .while_busy = moment},
                    questions(), end());
    io.run_for(guard);  // comes back at once: nothing is waited for any more
    EXPECT_EQ(ends, 0);
    clients = 0;
    watch.last_client_has_gone();
    io.restart();
    io.run_for(guard);
    EXPECT_EQ(ends, 1);
}

}  // namespace
}  // namespace callhome::service
