#include "service_start.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <stdlib.h>
#include <sys/file.h>
#include <sys/stat.h>

#include <barrier>
#include <cerrno>
#include <fstream>
#include <iterator>
#include <thread>

#include "service_link.h"
#include "temporary_folder.h"

namespace callhome::platform {
namespace {

namespace fs = std::filesystem;
using namespace std::chrono_literals;

const std::string switched_on("\0\0\0\1\0", 5);
constexpr auto patience = 30s;

Request feature_request() {
    return {static_cast<std::uint32_t>(protocol::Opcode::feature_state),
            static_cast<std::uint32_t>(protocol::Operation::get), std::as_bytes(std::span(switched_on))};
}

class ServiceStartTest : public testing::Test {
 protected:
    void behave(const char* mode) { ::setenv("FAKE_CALLHOMED_MODE", mode, 1); }
    void SetUp() override { behave("well"); }

    std::string content_of(const char* file) const {
        std::ifstream stream(folder_.path() / file);
        return {std::istreambuf_iterator<char>(stream), {}};
    }
    long starts() const {
        const std::string lines = content_of("starts");
        return std::count(lines.begin(), lines.end(), '\n');
    }
    // The words of the failure to reach a service; "none" when one answers.
    std::string complaint(std::chrono::seconds timeout = patience) const {
        ServiceLink link(location_);
        try {
            link.exchange(feature_request(), timeout);
            return "none";
        } catch (const LinkError& error) {
            EXPECT_EQ(error.number(), ECONNREFUSED);
            return error.what();
        }
    }
    void expect_complaint(const char* words, std::chrono::seconds timeout = patience) const {
        const std::string text = complaint(timeout);
        EXPECT_NE(text.find(words), std::string::npos) << text;
    }

    TemporaryFolder folder_;
    ServiceLocation location_{.socket = folder_.path() / "callhomed.sock",
                              .program = FAKE_CALLHOMED,
                              .state_folder = folder_.path()};
};

TEST_F(ServiceStartTest, TheFirstRequestStartsTheService) {
    ServiceLink link(location_);
    const Reply reply = link.exchange(feature_request(), patience);
    EXPECT_EQ(std::string(reinterpret_cast<const char*>(reply.record.get()), reply.length), switched_on);
    EXPECT_EQ(starts(), 1);
}

TEST_F(ServiceStartTest, TheServiceIsDetachedFromTheTerminal) {
    ServiceLink link(location_);
    link.exchange(feature_request(), patience);
    EXPECT_EQ(content_of("process"), "leads its session, reads /dev/null\n");
}

TEST_F(ServiceStartTest, ARunningServiceIsSharedWithOtherShells) {
    ServiceLink first(location_), second(location_);
    first.exchange(feature_request(), patience);
    second.exchange(feature_request(), patience);
    EXPECT_EQ(starts(), 1);
}

TEST_F(ServiceStartTest, ShellsThatStartAtTheSameTimeShareOneService) {
    constexpr int shells = 8;
    std::barrier all_at_once(shells);
    std::atomic<int> answered = 0;
    std::vector<std::thread> threads;
    threads.reserve(shells);
    for (int i = 0; i < shells; ++i) {
        threads.emplace_back([&] {
            ServiceLink link(location_);
            all_at_once.arrive_and_wait();
            try {
                link.exchange(feature_request(), patience);
                ++answered;
            } catch (const LinkError& error) {
                ADD_FAILURE() << error.what();
            }
            all_at_once.arrive_and_wait();  // the service ends with its last client
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(answered, shells);
    EXPECT_EQ(starts(), 1);
}

TEST_F(ServiceStartTest, AnotherServiceThatIsJustComingUpIsWaitedFor) {
    // Another one holds the state folder, so what is started ends at once, and comes to listen later.
    const FileDescriptor lock(
        ::open((folder_.path() / "callhomed.lock").c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600));
    ASSERT_EQ(::flock(lock.get(), LOCK_EX), 0);
    int asked = 0;
    start_service(location_, Deadline(patience), [&](const Deadline&) { return ++asked == 3; });
    EXPECT_EQ(asked, 3);
    EXPECT_EQ(starts(), 2);
}

TEST_F(ServiceStartTest, AServiceThatCannotRunLeavesTheReasonInItsLog) {
    behave("breaks");
    expect_complaint("ended at once");
    EXPECT_EQ(content_of("callhomed.log").substr(0, 24), "the database is damaged\n");
    struct stat log {};
    ASSERT_EQ(::stat(log_of(location_).c_str(), &log), 0);
    constexpr mode_t permissions = 0777;
    EXPECT_EQ(log.st_mode & permissions, 0600U);
}

TEST_F(ServiceStartTest, AServiceThatIsNeverReadyIsNotWaitedForLongerThanTheRequestMayTake) {
    behave("says nothing");
    const auto start = std::chrono::steady_clock::now();
    expect_complaint("not ready yet", 1s);
    EXPECT_LT(std::chrono::steady_clock::now() - start, 9s);
    const std::string pid = content_of("starts");
    ::kill(static_cast<pid_t>(std::stol(pid)), SIGTERM);
}

TEST_F(ServiceStartTest, AMissingProgramIsNamed) {
    location_.program = folder_.path() / "missing";
    expect_complaint(
        (location_.program.native() + " cannot be started (No such file or directory)").c_str());
}

TEST_F(ServiceStartTest, ALogBehindALinkIsNotWritten) {
    std::ofstream(folder_.path() / "precious") << "keep this\n";
    fs::create_symlink(folder_.path() / "precious", log_of(location_));
    expect_complaint("cannot be opened");
    fs::remove(log_of(location_));
    fs::create_hard_link(folder_.path() / "precious", log_of(location_));
    expect_complaint("is not a file of yours");
    EXPECT_EQ(content_of("precious"), "keep this\n");
    EXPECT_EQ(starts(), 0);
}

TEST_F(ServiceStartTest, OnlyOnesOwnServiceIsStarted) {
    location_.program.clear();
    ServiceLink link(location_);
    EXPECT_THROW(link.exchange(feature_request(), patience), LinkError);
    EXPECT_EQ(starts(), 0);
}

TEST_F(ServiceStartTest, OpenFilesOfTheShellStayWithTheShell) {
    // Low numbers are taken in all orders; the service's own three streams and its pipe are still right.
    constexpr int open_files_of_shell = 20;
    std::vector<FileDescriptor> files;
    files.reserve(open_files_of_shell);
    for (int i = 0; i < open_files_of_shell; ++i) {
        files.emplace_back(::open("/dev/null", O_RDONLY));  // inheritable on purpose
    }
    ServiceLink link(location_);
    link.exchange(feature_request(), patience);
    const fs::path open_files = fs::path("/proc") / std::to_string(std::stol(content_of("starts"))) / "fd";
    std::size_t null_devices = 0;
    for (const auto& entry : fs::directory_iterator(open_files)) {
        std::error_code error;
        null_devices += fs::read_symlink(entry.path(), error) == "/dev/null" ? 1U : 0U;
    }
    EXPECT_EQ(null_devices, 1U) << "standard input, and none of the shell's";
}

}  // namespace
}  // namespace callhome::platform
