#include "signatures/log_source.h"

#include <gtest/gtest.h>
#include <spdlog/sinks/ostream_sink.h>
#include <spdlog/spdlog.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <asio/post.hpp>
#include <atomic>
#include <cstring>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "signatures/log_matcher.h"
#include "temporary_folder.h"

namespace callhome::service {
namespace {

// What a program does that writes to syslog.
class Sender {
 public:
    explicit Sender(const std::filesystem::path& socket) : descriptor_(::socket(AF_UNIX, SOCK_DGRAM, 0)) {
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        std::strncpy(address.sun_path, socket.c_str(), sizeof(address.sun_path) - 1);
        EXPECT_EQ(::connect(descriptor_, reinterpret_cast<const sockaddr*>(&address), sizeof(address)), 0);
    }
    ~Sender() { ::close(descriptor_); }
    Sender(const Sender&) = delete;
    Sender& operator=(const Sender&) = delete;

    bool send(std::string_view text, int flags = 0) const {
        return ::send(descriptor_, text.data(), text.size(), flags | MSG_NOSIGNAL) ==
               static_cast<ssize_t>(text.size());
    }

 private:
    int descriptor_;
};

class LogSocketTest : public testing::Test {
 protected:
    void open(SocketAccess access = SocketAccess::own_user) {
        socket_.emplace(io_, path_, access, [this](std::string_view line) { lines_.emplace_back(line); });
    }
    void poll() {
        io_.restart();
        io_.poll();
    }

    TemporaryFolder folder_;
    std::filesystem::path path_ = folder_ / "log.sock";
    asio::io_context io_;
    std::vector<std::string> lines_;
    std::optional<LogSocket> socket_;
};

TEST_F(LogSocketTest, GivesEachLineOfADatagram) {
    open();
    const Sender sender(path_);
    sender.send("<13>Nov 21 17:05:07 ops: link down\n");
    poll();
    sender.send("one\ntwo");
    sender.send("");
    sender.send("<13>three");
    poll();
    EXPECT_EQ(lines_, (std::vector<std::string>{"ops: link down", "one", "two", "three"}));
}

TEST_F(LogSocketTest, CutsADatagramThatIsTooLong) {
    open();
    EXPECT_TRUE(Sender(path_).send(std::string(3 * longest_log_line, 'x')));
    poll();
    ASSERT_EQ(lines_.size(), 1U);
    EXPECT_EQ(lines_[0].size(), longest_log_line);
}

// The flood ends when something else has had its turn: if that never comes, neither does the end.
TEST_F(LogSocketTest, LetsOthersHaveTheirTurnInAFlood) {
    open();
    std::atomic<bool> had_its_turn = false;
    std::jthread flood([&] {
        const Sender sender(path_);
        while (!had_its_turn && sender.send("a line of a flood")) {
        }
    });
    while (lines_.size() < 1000) {
        poll();
    }
    asio::post(io_, [&] { had_its_turn = true; });
    while (!had_its_turn) {
        io_.restart();
        io_.run_one();
    }
    socket_.reset();  // who still waits to send is let go
}

TEST_F(LogSocketTest, HasTheRightsOfTheServicesSocketAndGoesWithIt) {
    struct stat status {};
    open();
    ASSERT_EQ(::lstat(path_.c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 07777U, 0600U);
    socket_.reset();
    EXPECT_FALSE(std::filesystem::exists(path_));
    open(SocketAccess::everyone);
    ASSERT_EQ(::lstat(path_.c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 07777U, 0666U);
}

TEST_F(LogSocketTest, TakesThePlaceOfOneThatWasLeftBehind) {
    ::close(bind_local_socket(path_, SOCK_DGRAM, SocketAccess::own_user, "--log-socket"));
    EXPECT_NO_THROW(open());
}

TEST_F(LogSocketTest, TakesNothingFromASocketThatIsInUse) {
    const int stream = bind_local_socket(path_, SOCK_STREAM, SocketAccess::own_user, "--socket");
    EXPECT_EQ(::listen(stream, 1), 0);
    EXPECT_THROW(open(), AlreadyRunning);
    EXPECT_TRUE(std::filesystem::exists(path_));
    ::close(stream);
}

class LogSourcesTest : public testing::Test {
 protected:
    LogSourcesTest() {
        spdlog::set_default_logger(std::make_shared<spdlog::logger>(
            "test", std::make_shared<spdlog::sinks::ostream_sink_mt>(log_)));
    }
    ~LogSourcesTest() override { spdlog::set_default_logger(log_before_); }

    TemporaryFolder folder_;
    asio::io_context io_;
    std::shared_ptr<spdlog::logger> log_before_ = spdlog::default_logger();
    std::ostringstream log_;
};

TEST_F(LogSourcesTest, ThatCannotBeOpenedAreWarningsOnly) {
    std::filesystem::create_directory(folder_ / "journal");
    folder_.write("occupied", "a file");
    LogSources sources(io_, {folder_ / "occupied", SocketAccess::own_user, folder_ / "journal"},
                       [](std::string_view) {});
    EXPECT_NE(log_.str().find("no log lines through a socket: there is a file that is not a socket"),
              std::string::npos)
        << log_.str();
    EXPECT_EQ(log_.str().find("journal"), std::string::npos) << "before anybody listens";
    sources.listen(true);
    EXPECT_NE(log_.str().find("nothing in the system journal that this service may read"),
              std::string::npos)
        << log_.str();
}

TEST_F(LogSourcesTest, TakeLinesWithoutAJournal) {
    int lines = 0;
    LogSources sources(io_, {folder_ / "log.sock", SocketAccess::own_user, folder_ / "nowhere"},
                       [&](std::string_view) { ++lines; });
    sources.listen(true);
    EXPECT_NE(log_.str().find("no lines of the system journal: the system journal cannot be opened"),
              std::string::npos)
        << log_.str();
    Sender(folder_ / "log.sock").send("a line");
    io_.poll();
    EXPECT_EQ(lines, 1);
    sources.listen(false);
}

}  // namespace
}  // namespace callhome::service
