#include <gtest/gtest.h>

#include <array>
#include <cstdio>
#include <string>

#include "platform/interface.h"

namespace callhome::platform {
namespace {

// What a piece of code writes to standard output.
template <typename Code>
std::string shown_by(Code code) {
    testing::internal::CaptureStdout();
    code();
    return testing::internal::GetCapturedStdout();
}

TEST(OutputTest, TuplesStandWhereTheFormatPutsThem) {
    EXPECT_EQ(shown_by([] {
                  void* handle = ::cli_reply_handle_from_param(nullptr);
                  ::cli_print(handle, "%-6s|%s\n", ::cli_tuple(1, "one"), ::cli_tuple(2, "two"), nullptr);
                  ::cli_print_send(handle);
              }),
              "one   |two\n");
}

TEST(OutputTest, TheTupleListIsNotReadBeyondItsEnd) {
    EXPECT_EQ(shown_by([] {
                  void* handle = ::cli_reply_handle_from_param(nullptr);
                  ::cli_print(handle, "%s %s %s\n", ::cli_tuple(1, "one"), nullptr, "not a tuple");
                  ::cli_print(handle, "\n", nullptr);
                  ::cli_print(handle, "100%% %s\n", nullptr);
                  ::cli_print_send(handle);
              }),
              "one %s %s\n\n100% %s\n");
}

TEST(OutputTest, AValueIsCopiedWhenItsTupleIsMade) {
    EXPECT_EQ(shown_by([] {
                  void* handle = ::cli_reply_handle_from_param(nullptr);
                  std::array<char, 8> buffer{"first"};
                  void* tuple = ::cli_tuple(1, buffer.data());
                  buffer = {"second"};
                  ::cli_print(handle, "%s\n", tuple, nullptr);
              }),
              "first\n");
}

TEST(OutputTest, TuplesStayWhereTheyAreHoweverManyFollow) {
    constexpr int many = 10'000;
    const std::string shown = shown_by([] {
        void* handle = ::cli_reply_handle_from_param(nullptr);
        void* first = ::cli_tuple(1, "the first of many, too long to be kept in place");
        for (int i = 0; i < many; ++i) {
            ::cli_tuple(2, "another");
        }
        ::cli_print(handle, "%s", first, nullptr);
        ::cli_print_send(handle);
    });
    EXPECT_EQ(shown, "the first of many, too long to be kept in place");
}

TEST(OutputTest, AMissingValueIsAnEmptyOne) {
    EXPECT_EQ(shown_by([] {
                  ::cli_print(::cli_reply_handle_from_param(nullptr), "[%s]", ::cli_tuple(1, nullptr),
                              nullptr);
              }),
              "[]");
}

TEST(OutputTest, WithoutAHandleOrFormatNothingIsShown) {
    EXPECT_EQ(shown_by([] {
                  EXPECT_EQ(::cli_print(nullptr, "text", nullptr), -1);
                  EXPECT_EQ(::cli_print_send(nullptr), -1);
                  EXPECT_EQ(::cli_print(::cli_reply_handle_from_param(nullptr), nullptr, nullptr), -1);
              }),
              "");
}

TEST(OutputTest, OutputKeepsItsPlaceAmongWhatHandlersPrint) {
    EXPECT_EQ(shown_by([] {
                  void* handle = ::cli_reply_handle_from_param(nullptr);
                  std::fputs("1 ", stdout);
                  ::cli_print(handle, "%s ", ::cli_tuple(1, "2"), nullptr);
                  std::fputs("3 ", stdout);
                  ::cli_print_send(handle);
                  ::cfgout_buf_printf("%s %d\n", "4", 5);
              }),
              "1 2 3 4 5\n");
}

}  // namespace
}  // namespace callhome::platform
