#include "commands/command_runner.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <optional>

#include "shell_script.h"

namespace callhome::service {
namespace {

using tests::ShellScript;

constexpr std::size_t plenty = 100'000;

class CommandRunnerTest : public testing::Test {
 protected:
    void start(const CommandSettings& settings) { runner_.emplace(io_, settings); }
    CommandResult run(const std::string& command = "show version", std::size_t most = plenty) {
        if (!runner_) {
            start(shell_.settings());
        }
        std::optional<CommandResult> result;
        runner_->run(command, {.output = most}, [&](CommandResult done) { result = std::move(done); });
        EXPECT_FALSE(result.has_value()) << "answered from within the call";
        EXPECT_TRUE(tests::run_until(io_, [&] { return result.has_value(); }));
        return result.value_or(CommandResult{});
    }
    CommandResult run_script(const std::string& script, std::size_t most = plenty) {
        shell_.write(script);
        return run("show version", most);
    }

    asio::io_context io_;
    ShellScript shell_;
    std::optional<CommandRunner> runner_;
};

TEST_F(CommandRunnerTest, HandsTheCommandToTheShell) {
    const CommandResult result = run_script("for word; do echo \"<$word>\"; done");
    EXPECT_EQ(result.ending, CommandEnding::done);
    EXPECT_EQ(result.output, "<--socket>\n</run/some.sock>\n<-c>\n<show version>\n");
    EXPECT_EQ(result.reason, "");
}

TEST_F(CommandRunnerTest, TakesBothStreamsAndSaysThatTheShellFailed) {
    const CommandResult result = run_script("echo one; echo two >&2; exit 3");
    EXPECT_EQ(result.ending, CommandEnding::failed);
    EXPECT_EQ(result.output, "one\ntwo\n");
    EXPECT_EQ(result.reason, "ended with status 3");
    EXPECT_EQ(run_script("kill -TERM $$").reason, "ended by signal 15");
}

TEST_F(CommandRunnerTest, RunsShowCommandsOnly) {
    for (const char* command :
         {"reload", "shown", "", " show version", "show version\nreload", "sh version"}) {
        const CommandResult result = run(command);
        EXPECT_EQ(result.ending, CommandEnding::not_started) << command;
        EXPECT_EQ(result.reason, "only show commands are run") << command;
    }
    EXPECT_EQ(run("show").ending, CommandEnding::done);
}

TEST_F(CommandRunnerTest, IsNoShell) {
    EXPECT_EQ(run("show $(id) `id` ; id | id > /tmp/x").output, "show $(id) `id` ; id | id > /tmp/x\n");
}

TEST_F(CommandRunnerTest, GivesTheCommandNoEnvironment) {
    ASSERT_EQ(::setenv("CALLHOME_SECRET", "leaked", 1), 0);
    // A shell adds PWD and the like to what its own children get.
    const CommandResult result = run_script("echo here; tr '\\0' '\\n' </proc/self/environ");
    ::unsetenv("CALLHOME_SECRET");
    EXPECT_TRUE(result.output.starts_with("here\n")) << result.output;
    EXPECT_EQ(result.output.find("leaked"), std::string::npos) << result.output;
}

// The shell reads its script through the descriptor 10.
TEST_F(CommandRunnerTest, GivesTheCommandNoInputAndNoDescriptor) {
    const int inherited = ::open("/dev/null", O_RDONLY);  // without O_CLOEXEC
    const CommandResult result = run_script(
        "number=3; while [ $number -lt 64 ]; do "
        "if [ $number -ne 10 ] && [ -e /proc/$$/fd/$number ]; then echo $number; fi; "
        "number=$((number + 1)); done; cat; pwd");
    ::close(inherited);
    EXPECT_LT(inherited, 64);
    EXPECT_EQ(result.output, "/\n");
}

TEST_F(CommandRunnerTest, RunsAsNobodyWhereThisProcessIsRootAndWritesNoFiles) {
    const CommandResult result = run_script("id -u; ulimit -f; ulimit -c; id -G");
    const bool is_root = ::geteuid() == 0;
    const std::string user = is_root ? "65534" : std::to_string(::getuid());
    EXPECT_TRUE(result.output.starts_with(user + "\n0\n0\n")) << result.output;
    EXPECT_EQ(is_root, result.output == "65534\n0\n0\n65534\n") << result.output;
}

TEST_F(CommandRunnerTest, RunsNothingAsRoot) {
    if (::geteuid() != 0) {
        GTEST_SKIP() << "only root has a choice";
    }
    CommandSettings settings = shell_.settings();
    for (const auto& [user, reason] :
         {std::pair{"root", "commands are not run as root"},
          std::pair{"no-such-user", "there is no user no-such-user to run commands"}}) {
        settings.user = user;
        start(settings);
        const CommandResult result = run();
        EXPECT_EQ(result.ending, CommandEnding::not_started);
        EXPECT_EQ(result.reason, reason);
    }
}

TEST_F(CommandRunnerTest, SaysWhyAProgramCannotBeStarted) {
    CommandSettings settings = shell_.settings();
    settings.program = "/nowhere/callhome";
    start(settings);
    const CommandResult result = run();
    EXPECT_EQ(result.ending, CommandEnding::not_started);
    EXPECT_EQ(result.reason, "/nowhere/callhome cannot be started: No such file or directory");
    EXPECT_EQ(result.output, "");
}

TEST_F(CommandRunnerTest, EndsACommandThatPrintsTooMuch) {
    const CommandResult result = run_script("while :; do echo 0123456789; done", 25);
    EXPECT_EQ(result.ending, CommandEnding::too_much);
    EXPECT_EQ(result.output, "0123456789\n0123456789\n012");
    EXPECT_EQ(result.reason, "ended after 25 bytes of output");
    EXPECT_EQ(run_script("printf 0123456789", 10).ending, CommandEnding::done);
}

// Processes that hold the one end of a pipe in the file system; the other end shows when all have gone.
class CommandGroup : public CommandRunnerTest {
 protected:
    CommandGroup() {
        EXPECT_EQ(::mkfifo(path_.c_str(), 0666), 0);
        EXPECT_EQ(::chmod(path_.c_str(), 0666), 0);
        read_end_ = ::open(path_.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
    }
    ~CommandGroup() override { ::close(read_end_); }

    // Of a child of the command, which says so when it is there.
    std::string hold() const { return "(exec 9>" + path_.string() + "; echo here >&9; exec sleep 1000) &"; }
    bool is_held() {
        std::array<char, 64> bytes;
        is_held_ = is_held_ || ::read(read_end_, bytes.data(), bytes.size()) > 0;
        return is_held_;
    }
    bool is_let_go() const {
        pollfd end{read_end_, 0, 0};
        constexpr int patience = 30'000;
        return ::poll(&end, 1, patience) == 1 && (end.revents & POLLHUP) != 0;
    }

    std::filesystem::path path_ = shell_.folder() / "held";
    int read_end_ = -1;
    bool is_held_ = false;
};

TEST_F(CommandGroup, IsEndedAsAWholeWhenItTakesTooLong) {
    CommandSettings settings = shell_.settings();
    settings.time = std::chrono::milliseconds(1500);
    start(settings);
    const CommandResult result = run_script(hold() + " echo before; wait");
    EXPECT_EQ(result.ending, CommandEnding::too_long);
    EXPECT_EQ(result.output, "before\n");
    EXPECT_EQ(result.reason, "ended after 1.5 s");
    EXPECT_TRUE(is_let_go());
}

TEST_F(CommandRunnerTest, GivesACommandNoMoreThanItsOwnTime) {
    std::optional<CommandResult> result;
    start(shell_.settings());
    shell_.write("echo before; " + shell_.waiting());
    runner_->run("show version", {.output = plenty, .time = std::chrono::milliseconds(1500)},
                 [&](CommandResult done) { result = std::move(done); });
    ASSERT_TRUE(tests::run_until(io_, [&] { return result.has_value(); }));
    EXPECT_EQ(result->ending, CommandEnding::too_long);
    EXPECT_EQ(result->output, "before\n");
    EXPECT_EQ(result->reason, "ended after 1.5 s");
}

TEST_F(CommandGroup, LeavesNothingBehind) {
    const CommandResult result = run_script(hold() + " read line <" + path_.string() + "; echo done");
    EXPECT_EQ(result.ending, CommandEnding::done) << result.output;
    EXPECT_TRUE(is_let_go());
}

TEST_F(CommandGroup, EndsWithItsRunner) {
    shell_.write(hold() + " wait");
    start(shell_.settings());
    runner_->run("show version", {.output = plenty},
                 [](const CommandResult&) { ADD_FAILURE() << "it has no end"; });
    EXPECT_TRUE(tests::run_until(io_, [this] { return is_held(); }));
    runner_.reset();
    EXPECT_TRUE(is_let_go());
    io_.restart();
    io_.poll();
}

TEST_F(CommandRunnerTest, RunsSeveralSideBySide) {
    // Each waits until the other one has come.
    ASSERT_EQ(::mkfifo((shell_.folder() / "meet").c_str(), 0666), 0);
    ASSERT_EQ(::chmod((shell_.folder() / "meet").c_str(), 0666), 0);
    const std::string meet = (shell_.folder() / "meet").string();
    shell_.write("if [ \"$4\" = 'show one' ]; then echo hello >" + meet + "; else read line <" + meet +
                 "; fi; echo met");
    start(shell_.settings());
    std::vector<std::string> outputs;
    for (const char* command : {"show one", "show two"}) {
        runner_->run(command, {.output = plenty},
                     [&](const CommandResult& result) { outputs.push_back(result.output); });
    }
    EXPECT_TRUE(tests::run_until(io_, [&] { return outputs.size() == 2; }));
    EXPECT_EQ(outputs, (std::vector<std::string>{"met\n", "met\n"}));
}

}  // namespace
}  // namespace callhome::service
