#include "service_location.h"

#include <gtest/gtest.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <unistd.h>

#include <fstream>
#include <stdexcept>

#include "fake_service.h"
#include "temporary_folder.h"

namespace callhome::platform {
namespace {

namespace fs = std::filesystem;

class ServiceLocationTest : public testing::Test {
 protected:
    void SetUp() override {
        fs::create_directory(session_);
        ::setenv("HOME", home_.c_str(), 1);
        ::setenv("XDG_RUNTIME_DIR", session_.c_str(), 1);
        ::unsetenv("XDG_STATE_HOME");
    }

    ServiceLocation find(const std::optional<std::string>& option = std::nullopt) const {
        return find_service_beside(system_, option, "/usr/lib/callhome");
    }
    std::string complaint(const std::optional<std::string>& option = std::nullopt) const {
        try {
            find(option);
            return "none";
        } catch (const std::runtime_error& error) {
            return error.what();
        }
    }
    static mode_t mode_of(const fs::path& path) {
        struct stat found {};
        EXPECT_EQ(::stat(path.c_str(), &found), 0) << path;
        constexpr mode_t permissions = 0777;
        return found.st_mode & permissions;
    }

    TemporaryFolder folder_;
    fs::path home_ = folder_.path() / "home", session_ = folder_.path() / "session";
    fs::path system_ = folder_.path() / "system.sock";
};

TEST_F(ServiceLocationTest, TheNamedSocketComesFirst) {
    const FileDescriptor listener = test::listening_socket(system_);
    const ServiceLocation found = find("/srv/other.sock");
    EXPECT_EQ(found.socket, "/srv/other.sock");
    EXPECT_TRUE(found.program.empty());
    EXPECT_TRUE(found.state_folder.empty());
}

TEST_F(ServiceLocationTest, TheSystemsServiceComesBeforeOnesOwn) {
    const FileDescriptor listener = test::listening_socket(system_);
    const ServiceLocation found = find();
    EXPECT_EQ(found.socket, system_);
    EXPECT_TRUE(found.program.empty());
}

TEST_F(ServiceLocationTest, AFileThatIsNoSocketIsNoService) {
    std::ofstream(system_) << "x";
    EXPECT_NE(find().socket, system_);
}

TEST_F(ServiceLocationTest, OnesOwnServiceHasPrivateFolders) {
    const ServiceLocation found = find();
    EXPECT_EQ(found.socket, session_ / "callhome/callhomed.sock");
    EXPECT_EQ(found.program, "/usr/lib/callhome/callhomed");
    EXPECT_EQ(found.state_folder, home_ / ".local/state/callhome");
    EXPECT_EQ(mode_of(found.state_folder), 0700U);
    EXPECT_EQ(mode_of(found.socket.parent_path()), 0700U);
}

TEST_F(ServiceLocationTest, TheStateFolderCanBeChosen) {
    ::setenv("XDG_STATE_HOME", (folder_.path() / "state").c_str(), 1);
    EXPECT_EQ(find().state_folder, folder_.path() / "state/callhome");
}

TEST_F(ServiceLocationTest, ARelativeFolderDoesNotCount) {
    ::setenv("XDG_STATE_HOME", "state", 1);
    ::setenv("XDG_RUNTIME_DIR", "session", 1);
    EXPECT_EQ(find().state_folder, home_ / ".local/state/callhome");
    EXPECT_EQ(find().socket, home_ / ".local/state/callhome/callhomed.sock");
}

TEST_F(ServiceLocationTest, WithoutASessionFolderTheSocketStandsInTheStateFolder) {
    const fs::path expected = home_ / ".local/state/callhome/callhomed.sock";
    ::unsetenv("XDG_RUNTIME_DIR");
    EXPECT_EQ(find().socket, expected);
    ::setenv("XDG_RUNTIME_DIR", (folder_.path() / "missing").c_str(), 1);
    EXPECT_EQ(find().socket, expected);
}

TEST_F(ServiceLocationTest, AFolderBehindALinkIsNotTaken) {
    fs::create_directory(folder_.path() / "elsewhere");
    fs::create_directory_symlink(folder_.path() / "elsewhere", session_ / "callhome");
    EXPECT_EQ(find().socket, home_ / ".local/state/callhome/callhomed.sock");
    ::setenv("XDG_STATE_HOME", session_.c_str(), 1);
    EXPECT_NE(complaint().find("not a folder of yours"), std::string::npos) << complaint();
}

TEST_F(ServiceLocationTest, AFolderOfAnotherUserIsNotTaken) {
    if (::geteuid() != 0) {
        GTEST_SKIP() << "only root can give a folder away";
    }
    constexpr uid_t stranger = 65534;
    ASSERT_EQ(::chown(session_.c_str(), stranger, stranger), 0);
    EXPECT_EQ(find().socket, home_ / ".local/state/callhome/callhomed.sock");
}

TEST_F(ServiceLocationTest, WhereNoFolderCanBeMadeTheRemedyIsNamed) {
    std::ofstream(home_.native()) << "a file, no folder";
    EXPECT_NE(complaint().find("set XDG_STATE_HOME"), std::string::npos) << complaint();
}

TEST_F(ServiceLocationTest, APathTooLongForASocketSaysSo) {
    const std::string long_name(120, 'x');
    EXPECT_NE(complaint("/tmp/" + long_name).find("longer than 107 characters"), std::string::npos);
    EXPECT_NE(complaint("").find("--socket needs"), std::string::npos);
    ::setenv("XDG_STATE_HOME", (folder_.path() / long_name).c_str(), 1);
    EXPECT_EQ(complaint(), "none") << "the socket is elsewhere";
    ::unsetenv("XDG_RUNTIME_DIR");
    EXPECT_NE(complaint().find("set XDG_RUNTIME_DIR"), std::string::npos);
}

}  // namespace
}  // namespace callhome::platform
