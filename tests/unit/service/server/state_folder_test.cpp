#include "state_folder.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <fstream>

#include "server/listener.h"
#include "temporary_folder.h"

namespace callhome::service {
namespace {

using std::filesystem::perms;

TEST(StateFolder, IsMadeWithAllAboveItAndPrivate) {
    const TemporaryFolder folder;
    const StateFolder state(folder / "a/b/state");
    EXPECT_EQ(std::filesystem::status(folder / "a/b/state").permissions(), perms::owner_all);
    EXPECT_EQ(state.database(), folder / "a/b/state/callhome.db");
}

TEST(StateFolder, BecomesPrivateWhenItWasNot) {
    const TemporaryFolder folder;
    std::filesystem::create_directory(folder / "state");
    std::filesystem::permissions(folder / "state", perms::all);
    const StateFolder state(folder / "state/");
    EXPECT_EQ(std::filesystem::status(folder / "state").permissions(), perms::owner_all);
}

TEST(StateFolder, IsForOneProcessAtATime) {
    const TemporaryFolder folder;
    {
        const StateFolder first(folder / "state");
        EXPECT_THROW(StateFolder(folder / "state"), AlreadyRunning);
    }
    EXPECT_NO_THROW(StateFolder(folder / "state"));
}

TEST(StateFolder, IsNoLinkAndNoFile) {
    const TemporaryFolder folder;
    std::filesystem::create_directory(folder / "elsewhere");
    std::filesystem::create_directory_symlink(folder / "elsewhere", folder / "link");
    std::ofstream(folder / "file") << "x";
    for (const char* name : {"link", "link/", "file"}) {
        EXPECT_THROW(StateFolder(folder / name), std::runtime_error) << name;
    }
    EXPECT_TRUE(std::filesystem::is_empty(folder / "elsewhere"));
}

TEST(StateFolder, OfSomebodyElseIsLeftAlone) {
    if (::geteuid() != 0) {
        GTEST_SKIP() << "only root can give a folder away";
    }
    const TemporaryFolder folder;
    std::filesystem::create_directory(folder / "state");
    ASSERT_EQ(::chown((folder / "state").c_str(), 65534, 65534), 0);
    EXPECT_THROW(StateFolder(folder / "state"), std::runtime_error);
    EXPECT_TRUE(std::filesystem::is_empty(folder / "state"));
}

TEST(StateFolder, DoesNotFollowALinkInPlaceOfItsLock) {
    const TemporaryFolder folder;
    std::filesystem::create_directory(folder / "state");
    std::filesystem::create_symlink(folder / "target", folder / "state/lock");
    EXPECT_THROW(StateFolder(folder / "state"), std::exception);
    EXPECT_FALSE(std::filesystem::exists(folder / "target"));
}

}  // namespace
}  // namespace callhome::service
