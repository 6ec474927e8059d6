#include "server/peer.h"

#include <gtest/gtest.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>

namespace callhome::service {
namespace {

constexpr uid_t service_user = 900;
constexpr uid_t somebody = 1000;
constexpr gid_t operators = 50;

struct Case {
    const char* who;
    PeerCredentials peer;
    std::optional<gid_t> group;
    bool may_change;
};

TEST(ChangePolicy, LetsRootTheServicesOwnUserAndTheGroupChangeThings) {
    const Case cases[] = {
        {"root", {.user = 0, .groups = {0}}, operators, true},
        {"root without the group on this system", {.user = 0, .groups = {0}}, std::nullopt, true},
        {"the service's own user", {.user = service_user, .groups = {900}}, operators, true},
        {"a member by the primary group", {.user = somebody, .groups = {operators}}, operators, true},
        {"a member by another group", {.user = somebody, .groups = {1000, 4, operators}}, operators, true},
        {"a stranger", {.user = somebody, .groups = {1000, 4}}, operators, false},
        {"a stranger in the group root", {.user = somebody, .groups = {0}}, operators, false},
        {"anyone, without the group on this system",
         {.user = somebody, .groups = {operators}},
         std::nullopt,
         false},
        {"a stranger without groups", {.user = somebody, .groups = {}}, std::nullopt, false},
    };
    for (const Case& one : cases) {
        const ChangePolicy policy{.service_user = service_user, .operators = one.group};
        EXPECT_EQ(policy.allows(one.peer), one.may_change) << one.who;
    }
}

TEST(ChangePolicy, OfThisProcessTrustsItsOwnUser) {
    EXPECT_EQ(ChangePolicy::of_this_process().service_user, ::geteuid());
}

TEST(PeerCredentials, AreThoseOfTheProcessAtTheOtherEnd) {
    int ends[2];
    ASSERT_EQ(::socketpair(AF_UNIX, SOCK_STREAM, 0, ends), 0);
    const auto credentials = read_credentials(ends[0]);
    ASSERT_TRUE(credentials);
    EXPECT_EQ(credentials->user, ::geteuid());
    EXPECT_NE(std::ranges::find(credentials->groups, ::getegid()), credentials->groups.end());
    EXPECT_EQ(credentials->session, login_session_of(::getpid()));
    ::close(ends[0]);
    ::close(ends[1]);
    EXPECT_FALSE(read_credentials(-1));
}

TEST(LoginName, IsTheUsersOrSaysItsNumber) {
    EXPECT_EQ(login_name_of(0), "root");
    EXPECT_EQ(login_name_of(4'000'000'000U), "user 4000000000");
}

}  // namespace
}  // namespace callhome::service
