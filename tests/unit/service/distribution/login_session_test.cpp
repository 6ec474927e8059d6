#include "distribution/login_session.h"

#include <gtest/gtest.h>

#include "login_child.h"

namespace callhome::service {
namespace {

TEST(LoginSession, IsThatOfTheProcess) {
    const LoginChild child;
    EXPECT_EQ(login_session_of(child.process()).leader, child.process());
    EXPECT_NE(login_session_of(child.process()), login_session_of(::getpid()));
    EXPECT_EQ(login_session_of(::getpid()).leader, ::getsid(0));
}

TEST(LoginSession, LivesAsLongAsItsLeader) {
    LoginChild child;
    const LoginSession session = child.session();
    EXPECT_FALSE(has_ended(session));
    child.kill();
    EXPECT_TRUE(has_ended(session)) << "its parent has not taken notice yet";
    child.end();
    EXPECT_TRUE(has_ended(session));
}

TEST(LoginSession, IsNotOneWhoseLeaderHasTheSameNumberByNow) {
    const LoginChild child;
    LoginSession earlier = child.session();
    ASSERT_NE(earlier.started, 0U);
    --earlier.started;
    EXPECT_TRUE(has_ended(earlier));
}

TEST(LoginSession, OutOfSightIsNotKnownToHaveEnded) {
    EXPECT_EQ(login_session_of(0), LoginSession{}) << "not our own";
    EXPECT_EQ(login_session_of(-1), LoginSession{});
    EXPECT_FALSE(has_ended({}));
}

}  // namespace
}  // namespace callhome::service
