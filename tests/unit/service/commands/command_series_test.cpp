#include "commands/command_series.h"

#include <gtest/gtest.h>

#include <optional>
#include <utility>

#include "shell_script.h"

namespace callhome::service {
namespace {

using std::chrono::milliseconds;
using tests::ShellScript;
using Outputs = std::vector<CommandOutput>;

class CommandSeriesTest : public testing::Test {
 protected:
    void start(std::size_t at_once = CommandSeries::no_limit) {
        series_.emplace(io_, shell_.settings(), at_once);
    }
    Outputs run(const std::vector<std::string>& commands, const SeriesLimits& limits = {}) {
        std::optional<Outputs> outputs;
        series_->run(commands, limits, into(outputs));
        EXPECT_TRUE(wait_for(outputs));
        return outputs.value_or(Outputs{});
    }
    static CommandSeries::Done into(std::optional<Outputs>& outputs) {
        return [&outputs](Outputs done) {
            EXPECT_FALSE(outputs.has_value());
            outputs = std::move(done);
        };
    }
    bool wait_for(const std::optional<Outputs>& outputs) {
        return tests::run_until(io_, [&] { return outputs.has_value(); });
    }

    ShellScript shell_;
    asio::io_context io_;
    std::optional<CommandSeries> series_;
};

TEST_F(CommandSeriesTest, GivesTheOutputsInTheOrderOfTheCommands) {
    start();
    const Outputs outputs = run({"show one", "show two", "show three"});
    ASSERT_EQ(outputs.size(), 3U);
    EXPECT_EQ(outputs[0].command, "show one");
    EXPECT_EQ(outputs[0].output, "show one\n");
    EXPECT_EQ(outputs[2].output, "show three\n");
    EXPECT_EQ(outputs[2].remark, "");
}

TEST_F(CommandSeriesTest, OfNoCommandsIsOverAtOnce) {
    start();
    std::optional<Outputs> outputs;
    series_->run({}, {}, into(outputs));
    EXPECT_TRUE(outputs.has_value());
}

TEST_F(CommandSeriesTest, GoesOnBehindACommandThatFailed) {
    shell_.write("echo \"$4\"; [ \"$4\" = 'show two' ]");
    start();
    const Outputs outputs = run({"show one", "reload", "show two"});
    ASSERT_EQ(outputs.size(), 3U);
    EXPECT_EQ(outputs[0].output, "show one\n");
    EXPECT_EQ(outputs[0].remark, "ended with status 1");
    EXPECT_EQ(outputs[1].remark, "only show commands are run");
    EXPECT_EQ(outputs[2].remark, "");
}

TEST_F(CommandSeriesTest, BoundsTheOutputOfEachCommandAndOfAll) {
    shell_.write("echo 0123456789");
    start();
    const Outputs each = run({"show one", "show two"}, {.command_output = 4});
    ASSERT_EQ(each.size(), 2U);
    EXPECT_EQ(each[0].output, "0123");
    EXPECT_EQ(each[1].output, "0123");
    EXPECT_EQ(each[1].remark, "ended after 4 bytes of output");
    const Outputs all = run({"show one", "show two"}, {.command_output = 100, .output = 15});
    ASSERT_EQ(all.size(), 2U);
    EXPECT_EQ(all[0].output, "0123456789\n");
    EXPECT_EQ(all[1].output, "0123");
}

TEST_F(CommandSeriesTest, SharesItsTimeSoThatOneThatHangsLeavesTheOthersTheirs) {
    shell_.write("if [ \"$4\" = 'show two' ]; then " + shell_.waiting() + "; fi; echo \"$4\"");
    start();
    const Outputs outputs = run({"show one", "show two", "show three"}, {.time = milliseconds(3000)});
    ASSERT_EQ(outputs.size(), 3U);
    EXPECT_EQ(outputs[0].output, "show one\n");
    EXPECT_EQ(outputs[1].output, "");
    EXPECT_TRUE(outputs[1].remark.starts_with("ended after 1")) << outputs[1].remark;
    EXPECT_EQ(outputs[2].output, "show three\n");
}

TEST_F(CommandSeriesTest, SaysOfEachCommandThatThereWasNoTimeLeftForIt) {
    start();
    const Outputs outputs = run({"show one", "show two"}, {.time = milliseconds(0)});
    ASSERT_EQ(outputs.size(), 2U);
    for (const CommandOutput& output : outputs) {
        EXPECT_EQ(output.remark, "not run: the time for the commands of the message was over");
        EXPECT_EQ(output.output, "");
    }
}

TEST_F(CommandSeriesTest, WaitsForItsTurn) {
    shell_.write("if [ \"$4\" = 'show one' ]; then " + shell_.waiting() + "; fi; echo \"$4\"");
    start(1);
    std::optional<Outputs> first;
    std::optional<Outputs> second;
    series_->run({"show one"}, {}, into(first));
    series_->run({"show two"}, {}, into(second));
    io_.restart();
    io_.run_one_for(milliseconds(50));
    EXPECT_FALSE(second.has_value());
    shell_.release();
    EXPECT_TRUE(wait_for(second));
    EXPECT_TRUE(first.has_value());
}

TEST_F(CommandSeriesTest, GetsItsTurnInTimeBehindOneThatHangs) {
    shell_.write(shell_.waiting());
    start(1);
    std::optional<Outputs> first;
    std::optional<Outputs> second;
    series_->run({"show one"}, {.time = milliseconds(200)}, into(first));
    series_->run({"show two"}, {.time = milliseconds(200)}, into(second));
    EXPECT_TRUE(wait_for(second));
    ASSERT_TRUE(first.has_value());
    EXPECT_EQ(first->at(0).remark, "ended after 0.2 s");
    EXPECT_NE(second->at(0).remark, "");
}

TEST_F(CommandSeriesTest, LeavesOutTheRestWhenItIsNotWantedAnyMore) {
    start();
    bool is_wanted = true;
    std::optional<Outputs> outputs;
    series_->run({"show one", "show two"}, {}, into(outputs),
                 [&] { return std::exchange(is_wanted, false); });
    EXPECT_TRUE(wait_for(outputs));
    EXPECT_EQ(outputs->size(), 1U);
}

TEST_F(CommandSeriesTest, EndsWithItsCommands) {
    shell_.write(shell_.waiting());
    start();
    series_->run({"show one"}, {}, [](const Outputs&) { ADD_FAILURE() << "it has no end"; });
    io_.poll();
    series_.reset();
    io_.restart();
    io_.poll();
}

}  // namespace
}  // namespace callhome::service
