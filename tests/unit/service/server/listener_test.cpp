#include "server/listener.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <fstream>

#include "socket_client.h"
#include "temporary_folder.h"

namespace callhome::service {
namespace {

mode_t mode_of(const std::filesystem::path& path) {
    struct stat status {};
    EXPECT_EQ(::lstat(path.c_str(), &status), 0);
    return status.st_mode & 07777U;
}

TEST(Listener, IsOpenToItsUserOnly) {
    const TemporaryFolder folder;
    const Listener listener(folder / "run/socket", SocketAccess::own_user);
    EXPECT_EQ(mode_of(folder / "run"), 0700U);
    EXPECT_EQ(mode_of(folder / "run/socket"), 0600U);
}

TEST(Listener, OfTheSystemIsOpenToAll) {
    const TemporaryFolder folder;
    const Listener listener(folder / "run/socket", SocketAccess::everyone);
    EXPECT_EQ(mode_of(folder / "run"), 0755U);
    EXPECT_EQ(mode_of(folder / "run/socket"), 0666U);
}

TEST(Listener, TakesItsSocketAwayAtTheEnd) {
    const TemporaryFolder folder;
    { const Listener listener(folder / "socket", SocketAccess::own_user); }
    EXPECT_FALSE(std::filesystem::exists(folder / "socket"));
}

TEST(Listener, ReplacesASocketThatNobodyListensOn) {
    const TemporaryFolder folder;
    {
        Listener dead(folder / "first", SocketAccess::own_user);
        std::filesystem::rename(folder / "first", folder / "socket");
        ::close(dead.release());
    }
    ASSERT_TRUE(std::filesystem::exists(folder / "socket"));
    const Listener listener(folder / "socket", SocketAccess::own_user);
    EXPECT_NO_THROW(SocketClient(folder / "socket"));
}

TEST(Listener, LeavesASocketThatSomebodyListensOn) {
    const TemporaryFolder folder;
    const Listener first(folder / "socket", SocketAccess::own_user);
    EXPECT_THROW(Listener(folder / "socket", SocketAccess::own_user), AlreadyRunning);
    EXPECT_NO_THROW(SocketClient(folder / "socket"));
}

TEST(Listener, LeavesAFileOrLinkThatIsNoSocket) {
    const TemporaryFolder folder;
    std::ofstream(folder / "file") << "precious";
    std::filesystem::create_symlink(folder / "file", folder / "link");
    for (const char* name : {"file", "link"}) {
        EXPECT_THROW(Listener(folder / name, SocketAccess::own_user), std::runtime_error);
    }
    EXPECT_EQ(std::filesystem::file_size(folder / "file"), 8U);
    EXPECT_TRUE(std::filesystem::is_symlink(folder / "link"));
}

TEST(Listener, SaysWhenThePathIsTooLong) {
    const TemporaryFolder folder;
    try {
        const Listener listener(folder / std::string(200, 'x').c_str(), SocketAccess::own_user);
        FAIL() << "it was taken";
    } catch (const std::runtime_error& error) {
        EXPECT_NE(std::string(error.what()).find("at most 107 bytes"), std::string::npos) << error.what();
    }
}

}  // namespace
}  // namespace callhome::service
