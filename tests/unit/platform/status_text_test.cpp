#include <gtest/gtest.h>

#include <cerrno>
#include <string>

#include "platform/interface.h"
#include "protocol/status.h"

namespace callhome::platform {
namespace {

TEST(StatusTextTest, EachStatusHasItsOneText) {
    for (const auto& [status, text] : protocol::status_texts) {
        EXPECT_STREQ(::sys_err_to_str(static_cast<std::int32_t>(status)), text);
        EXPECT_EQ(std::string(text).find_first_of("\n%"), std::string::npos) << text;
    }
}

TEST(StatusTextTest, SystemErrorsHaveTheTextsOfTheSystem) {
    EXPECT_STREQ(::sys_err_to_str(ENOENT), "No such file or directory");
    EXPECT_STREQ(::sys_err_to_str(ETIMEDOUT), "Connection timed out");
}

TEST(StatusTextTest, AnyOtherCodeIsNamedByItsNumber) {
    EXPECT_STREQ(::sys_err_to_str(0x403B00FF), "Unknown error 0x403B00FF");
    EXPECT_STREQ(::sys_err_to_str(100'000), "Unknown error 0x000186A0");
    EXPECT_STREQ(::sys_err_to_str(-2), "Unknown error 0xFFFFFFFE");
    EXPECT_STREQ(::sys_err_to_str(INT32_MIN), "Unknown error 0x80000000");
}

}  // namespace
}  // namespace callhome::platform
