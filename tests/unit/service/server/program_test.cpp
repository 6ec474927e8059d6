// callhomed as a process: how it starts, says that it is ready, and ends.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <functional>
#include <sstream>

#include "protocol/records/feature.h"
#include "socket_client.h"
#include "temporary_folder.h"

namespace callhome::service {
namespace {

using protocol::Opcode;
using protocol::Operation;
using protocol::Status;
using protocol::SwitchRecord;

class Program {
 public:
    struct Place {
        std::filesystem::path log;
        std::function<void()> prepare;  // runs in the new process
    };

    Program(std::vector<std::string> arguments, const Place& place) {
        std::array<int, 2> ready{};
        if (::pipe2(ready.data(), O_CLOEXEC) != 0) {
            throw std::runtime_error("pipe2");
        }
        process_ = ::fork();
        if (process_ == 0) {
            const int log = ::open(place.log.c_str(), O_WRONLY | O_CREAT | O_TRUNC, S_IRUSR | S_IWUSR);
            ::dup2(log, STDOUT_FILENO);
            ::dup2(log, STDERR_FILENO);
            constexpr int inherited = 9;
            ::dup2(ready[1], inherited);
            if (place.prepare) {
                place.prepare();
            }
            arguments.insert(arguments.begin(), "callhomed");
            arguments.insert(arguments.end(), {"--ready-fd", std::to_string(inherited)});
            std::vector<char*> pointers;
            pointers.reserve(arguments.size() + 1);
            for (std::string& argument : arguments) {
                pointers.push_back(argument.data());
            }
            pointers.push_back(nullptr);
            ::execv(CALLHOMED, pointers.data());
            ::_exit(127);
        }
        ::close(ready[1]);
        char byte = 0;
        is_ready_ = ::read(ready[0], &byte, 1) == 1;
        // Ready is said once, and then the descriptor is let go.
        is_ready_ = is_ready_ && ::read(ready[0], &byte, 1) == 0;
        ::close(ready[0]);
    }

    ~Program() {
        if (process_ > 0) {
            ::kill(process_, SIGKILL);
            ::waitpid(process_, nullptr, 0);
        }
    }
    Program(const Program&) = delete;
    Program& operator=(const Program&) = delete;

    bool is_ready() const { return is_ready_; }
    void signal(int number) const { ::kill(process_, number); }
    int wait() {
        int status = 0;
        ::waitpid(process_, &status, 0);
        process_ = -1;
        return WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
    }

 private:
    pid_t process_ = -1;
    bool is_ready_ = false;
};

class ProgramTest : public testing::Test {
 protected:
    std::vector<std::string> own_places(std::vector<std::string> more = {}) const {
        std::vector<std::string> arguments{"--socket", socket(), "--state-folder",
                                           (folder / "state").string()};
        arguments.insert(arguments.end(), more.begin(), more.end());
        return arguments;
    }
    std::string socket() const { return (folder / "socket").string(); }
    std::string log() const {
        std::stringstream text;
        text << std::ifstream(folder / "log").rdbuf();
        return text.str();
    }
    void expect_answer(const std::filesystem::path& path) const {
        SocketClient client(path);
        const auto answer = client.ask(frame_of(Opcode::traps, Operation::get, SwitchRecord{}));
        ASSERT_TRUE(answer);
        EXPECT_EQ(answer->status(), Status::ok);
    }

    TemporaryFolder folder;
    Program::Place place{.log = folder / "log", .prepare = {}};
};

TEST_F(ProgramTest, AnswersOnceItIsReadyAndEndsInOrder) {
    for (const int number : {SIGTERM, SIGINT}) {
        Program program(own_places(), place);
        ASSERT_TRUE(program.is_ready()) << log();
        expect_answer(socket());
        program.signal(number);
        EXPECT_EQ(program.wait(), 0) << log();
        EXPECT_FALSE(std::filesystem::exists(socket()));
    }
}

TEST_F(ProgramTest, ASecondOneOnTheSameStateSaysSoAndLeavesTheFirstAlone) {
    Program first(own_places(), place);
    ASSERT_TRUE(first.is_ready());
    Program second(own_places(), {.log = folder / "second", .prepare = {}});
    EXPECT_FALSE(second.is_ready());
    EXPECT_EQ(second.wait(), 3);
    expect_answer(socket());
}

TEST_F(ProgramTest, WhatWasAcknowledgedSurvivesAKill) {
    {
        Program program(own_places(), place);
        ASSERT_TRUE(program.is_ready());
        SocketClient client(socket());
        const SwitchRecord on{.enabled = 1, .trailing_flag = 0};
        EXPECT_EQ(client.ask(frame_of(Opcode::traps, Operation::set, on))->status(), Status::ok);
        program.signal(SIGKILL);
        EXPECT_EQ(program.wait(), -SIGKILL);
    }
    ASSERT_TRUE(std::filesystem::exists(socket())) << "the stale socket is there";
    Program program(own_places(), place);
    ASSERT_TRUE(program.is_ready()) << log();
    SocketClient client(socket());
    const auto answer = client.ask(frame_of(Opcode::traps, Operation::get, SwitchRecord{}));
    ASSERT_EQ(answer->body.size(), sizeof(SwitchRecord));
    EXPECT_EQ(answer->body[3], std::byte{1});
}

TEST_F(ProgramTest, EndsWithItsLastClientWhenAskedTo) {
    Program program(own_places({"--exit-when-idle"}), place);
    ASSERT_TRUE(program.is_ready());
    expect_answer(socket());
    EXPECT_EQ(program.wait(), 0) << log();
    EXPECT_FALSE(std::filesystem::exists(socket()));
}

TEST_F(ProgramTest, FindsItsPlacesInTheEnvironment) {
    place.prepare = [this] {
        ::setenv("XDG_RUNTIME_DIR", (folder / "run").c_str(), 1);
        ::setenv("XDG_STATE_HOME", (folder / "home").c_str(), 1);
    };
    std::filesystem::create_directory(folder / "run");
    const Program program({}, place);
    ASSERT_TRUE(program.is_ready()) << log();
    expect_answer(folder / "run/callhome/callhomed.sock");
    EXPECT_TRUE(std::filesystem::exists(folder / "home/callhome/callhome.db"));
}

TEST_F(ProgramTest, PutsItsSocketBesideTheStateWithoutARuntimeFolder) {
    place.prepare = [this] {
        ::unsetenv("XDG_RUNTIME_DIR");
        ::unsetenv("XDG_STATE_HOME");
        ::setenv("HOME", folder.path().c_str(), 1);
    };
    const Program program({}, place);
    ASSERT_TRUE(program.is_ready()) << log();
    expect_answer(folder / ".local/state/callhome/callhomed.sock");
}

TEST_F(ProgramTest, RefusesAStateFolderThatIsALink) {
    std::filesystem::create_directory(folder / "elsewhere");
    std::filesystem::create_directory_symlink(folder / "elsewhere", folder / "state");
    Program program(own_places(), place);
    EXPECT_FALSE(program.is_ready());
    EXPECT_EQ(program.wait(), 1);
    EXPECT_NE(log().find("is a link or no folder"), std::string::npos) << log();
}

TEST_F(ProgramTest, SaysWhatToDoWithADatabaseThatIsNone) {
    std::filesystem::create_directory(folder / "state");
    constexpr std::size_t one_page = 4096;
    std::ofstream(folder / "state/callhome.db") << std::string(one_page, 'x');
    Program program(own_places(), place);
    EXPECT_EQ(program.wait(), 1);
    EXPECT_NE(log().find((folder / "state").string() + " cannot be used"), std::string::npos) << log();
    EXPECT_NE(log().find("move it away"), std::string::npos) << log();
}

TEST_F(ProgramTest, ListsItsOptionsForReaders) {
    Program program({"--help"}, place);
    EXPECT_EQ(program.wait(), 0);
    for (const char* line : {"--log-level LEVEL ", "debug, info, warning, error, off",
                             "--first-retry SECONDS ", "--socket PATH "}) {
        EXPECT_NE(log().find(line), std::string::npos) << log();
    }
    EXPECT_EQ(log().find("INT"), std::string::npos) << log();
}

TEST_F(ProgramTest, SaysWhatIsWrongWithItsOptions) {
    for (const std::vector<std::string>& wrong : {std::vector<std::string>{"--log-level", "loud"},
                                                  {"--log-level", "4"},
                                                  {"--nonsense"},
                                                  {"stray"}}) {
        Program program(own_places(wrong), place);
        EXPECT_EQ(program.wait(), 2) << log();
        EXPECT_FALSE(log().empty());
    }
    Program program({"--version"}, place);
    EXPECT_EQ(program.wait(), 0);
    EXPECT_EQ(log(), "callhomed " CALLHOME_VERSION "\n");
}

TEST_F(ProgramTest, LogsWhatItsLevelLetsThrough) {
    const std::array<std::pair<const char*, bool>, 5> levels{
        {{"debug", true}, {"info", true}, {"warning", false}, {"error", false}, {"off", false}}};
    for (const auto& [level, tells] : levels) {
        Program program(own_places({"--log-level", level}), place);
        ASSERT_TRUE(program.is_ready()) << level << ": " << log();
        program.signal(SIGTERM);
        EXPECT_EQ(program.wait(), 0) << level;
        EXPECT_EQ(log().find("listening on") != std::string::npos, tells) << level << ": " << log();
    }
}

TEST_F(ProgramTest, TakesTheSocketThatTheServiceManagerPasses) {
    const int listening = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    std::strncpy(address.sun_path, socket().c_str(), sizeof(address.sun_path) - 1);
    ASSERT_EQ(::bind(listening, reinterpret_cast<const sockaddr*>(&address), sizeof(address)), 0);
    ASSERT_EQ(::listen(listening, 8), 0);
    place.prepare = [listening] {
        constexpr int first_passed = 3;
        if (listening == first_passed) {
            ::fcntl(listening, F_SETFD, 0);
        } else {
            ::dup2(listening, first_passed);
        }
        ::setenv("LISTEN_FDS", "1", 1);
        ::setenv("LISTEN_PID", std::to_string(::getpid()).c_str(), 1);
    };
    Program program({"--state-folder", (folder / "state").string()}, place);
    ASSERT_TRUE(program.is_ready()) << log();
    expect_answer(socket());
    program.signal(SIGTERM);
    EXPECT_EQ(program.wait(), 0);
    EXPECT_TRUE(std::filesystem::exists(socket())) << "it is not the service's to take away";
    ::close(listening);
}

}  // namespace
}  // namespace callhome::service
