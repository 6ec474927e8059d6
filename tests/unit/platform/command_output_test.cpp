// The way of what a command prints: cleaned text, or one whole document.
#include "platform/command_output.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <pty.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <stdexcept>
#include <string>

#include "file_descriptor.h"
#include "platform/interface.h"
#include "running_output.h"

namespace callhome::platform {
namespace {

constexpr bool on_terminal = true, on_file = false;

// What a command that runs `code` shows.
std::string shown_by(OutputFormat format, const std::function<void()>& code, bool where = on_file,
                     const Members& members = {}) {
    testing::internal::CaptureStdout();
    {
        const CommandOutput output(format, members, where);
        code();
    }
    return testing::internal::GetCapturedStdout();
}

std::string json_by(const std::function<void()>& code, const Members& members = {}) {
    return shown_by(OutputFormat::json, code, on_file, members);
}

TEST(CommandOutputTest, ValidTextPassesAsItIs) {
    const std::string text = "r\xC3\xA4ume\t\x1B[1m\r\n";
    EXPECT_EQ(shown_by(OutputFormat::text, [&] { std::fputs(text.c_str(), stdout); }), text);
}

TEST(CommandOutputTest, WhatIsShownAsTextBecomesLinesOfTheDocument) {
    EXPECT_EQ(
        json_by([] {
            {
                const ShownAsText shown_as_text;
                EXPECT_FALSE(is_output_structured());
                const CommandOutput inner(OutputFormat::xml, {{"id"}}, on_file);
                set_value("id", std::string("not set"));
                void* handle = ::cli_reply_handle_from_param(nullptr);
                ::cli_print(handle, "enabled : %s\n", ::cli_tuple(0x30740001, "no"), nullptr);
                show_configuration("  enable\n");
                std::puts("plain");
            }
            EXPECT_TRUE(is_output_structured());
            set_value("id", std::string("set"));
        }),
        "{\n  \"id\": \"set\",\n  \"text\": [\n    \"enabled : no\",\n    \"  enable\",\n    \"plain\"\n"
        "  ]\n}\n");
}

TEST(CommandOutputTest, WhatIsNotUtf8IsReplacedWhicheverWayItIsPrinted) {
    EXPECT_EQ(shown_by(OutputFormat::text,
                       [] {
                           void* handle = ::cli_reply_handle_from_param(nullptr);
                           ::cli_print(handle, "%s|", ::cli_tuple(1, "\xFF"), nullptr);
                           std::printf("%s|", "\xFF");
                           std::puts("\xFF");
                           std::putchar('\xE2');  // and nothing follows
                       }),
              "\xEF\xBF\xBD|\xEF\xBF\xBD|\xEF\xBF\xBD\n\xEF\xBF\xBD");
}

TEST(CommandOutputTest, ACharacterMayBeFlushedInPieces) {
    EXPECT_EQ(shown_by(OutputFormat::text,
                       [] {
                           for (const char byte : {'\xE2', '\x82', '\xAC'}) {
                               std::putchar(byte);
                               std::fflush(stdout);
                           }
                       }),
              "\xE2\x82\xAC");
}

TEST(CommandOutputTest, OnATerminalControlCharactersAreMadeVisible) {
    EXPECT_EQ(shown_by(
                  OutputFormat::text, [] { std::printf("a\t%s\n", "\x1B[2J"); }, on_terminal),
              "a\t\\x1b[2J\n");
}

TEST(CommandOutputTest, AFlushReachesTheReaderAtOnce) {
    std::array<int, 2> ends{};
    ASSERT_EQ(::pipe2(ends.data(), O_CLOEXEC | O_NONBLOCK), 0);
    const FileDescriptor reading(ends[0]), writing(ends[1]);
    std::fflush(stdout);
    const FileDescriptor real_output(::dup(STDOUT_FILENO));
    ::dup2(writing.get(), STDOUT_FILENO);
    std::array<char, 64> read_so_far{};
    ssize_t length = 0;
    {
        const CommandOutput output(OutputFormat::text, {}, on_file);
        std::printf("waiting");
        std::fflush(stdout);
        length = ::read(reading.get(), read_so_far.data(), read_so_far.size());
    }
    ::dup2(real_output.get(), STDOUT_FILENO);
    EXPECT_EQ(std::string(read_so_far.data(), length > 0 ? static_cast<std::size_t>(length) : 0),
              "waiting");
}

TEST(CommandOutputTest, AFullDiskIsMarkedOnTheRealOutput) {
    EXPECT_EXIT(
        {
            ::dup2(::open("/dev/full", O_WRONLY | O_CLOEXEC), STDOUT_FILENO);
            {
                const CommandOutput output(OutputFormat::text, {}, on_file);
                std::puts("text");
            }
            std::_Exit(std::ferror(stdout) != 0 ? 7 : 0);
        },
        testing::ExitedWithCode(7), "");
}

TEST(CommandOutputTest, WhatIsPrintedBecomesLinesOfTheDocument) {
    EXPECT_EQ(json_by([] {
                  std::puts("one\n");
                  std::printf("two");
              }),
              "{\n  \"text\": [\n    \"one\",\n    \"\",\n    \"two\"\n  ]\n}\n");
}

TEST(CommandOutputTest, NothingPrintedIsAWholeDocument) {
    EXPECT_EQ(json_by([] {}), "{}\n");
    EXPECT_EQ(json_by([] {}, {{"things[]/id"}, {"name"}}), "{\n  \"things\": []\n}\n");
    EXPECT_EQ(shown_by(OutputFormat::xml, [] {}),
              "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<callhome />\n");
}

TEST(CommandOutputTest, TuplesTakeTheirPlacesAndTheRestIsText) {
    EXPECT_EQ(json_by([] {
                  void* handle = ::cli_reply_handle_from_param(nullptr);
                  std::puts("before");
                  ::cli_print(handle, "%s", ::cli_tuple(0x30740001, "callhome enabled\n"), nullptr);
                  ::cli_print(handle, "\n", nullptr);  // layout
                  ::cli_print(handle, "A heading\n", nullptr);
                  ::cli_print(handle, "from email addr:%s\n", ::cli_tuple(0x30740051, "a@b.c"), nullptr);
                  ::cli_print(handle, "%-4s ", ::cli_tuple(0x3FFFFFFF, "not"), nullptr);
                  ::cli_print(handle, "%s\n", ::cli_tuple(0x3FFFFFFF, "known"), nullptr);
                  ::cli_print(handle, "%s", ::cli_tuple(0, "mts error\n"), nullptr);
                  ::cli_print(handle, "%s\n", ::cli_tuple(0, "5\n"), nullptr);
                  ::cli_print_send(handle);
              }),
              R"({
  "enabled": true,
  "from": "a@b.c",
  "errors": [
    "mts error",
    "5"
  ],
  "text": [
    "before",
    "not  known"
  ]
}
)");
}

TEST(CommandOutputTest, ConfigurationLinesHaveAPlaceOfTheirOwn) {
    const auto write = [] {
        show_configuration("callhome\n  site-");
        show_configuration("id 1\n");
    };
    EXPECT_EQ(json_by(write),
              "{\n  \"configuration\": [\n    \"callhome\",\n    \"  site-id 1\"\n  ]\n}\n");
    EXPECT_EQ(shown_by(OutputFormat::text, write), "callhome\n  site-id 1\n");
}

TEST(CommandOutputTest, EmptyLinesOfAConfigurationAreLayout) {
    EXPECT_EQ(json_by([] {
                  show_configuration("\ncallhome\n\nenable\n\n");
                  std::puts("");
              }),
              "{\n  \"configuration\": [\n    \"callhome\",\n    \"enable\"\n  ]\n}\n");
}

TEST(CommandOutputTest, ACommandThatThrowsLeavesAWholeDocument) {
    testing::internal::CaptureStdout();
    try {
        const CommandOutput output(OutputFormat::json, {{"things[]"}}, on_file);
        throw std::runtime_error("lost");
    } catch (const std::runtime_error&) {
    }
    EXPECT_EQ(testing::internal::GetCapturedStdout(),
              "{\n  \"things\": [],\n  \"errors\": [\n    \"the command ended before its display was "
              "complete\"\n  ]\n}\n");
}

TEST(CommandOutputTest, AnInnerCommandPrintsIntoTheOuterOne) {
    EXPECT_EQ(json_by([] {
                  const CommandOutput inner(OutputFormat::text, {}, on_file);
                  std::puts("inner");
              }),
              "{\n  \"text\": [\n    \"inner\"\n  ]\n}\n");
}

TEST(CommandOutputTest, TheRealOutputIsBackAfterTheCommand) {
    std::FILE* const real = stdout;
    {
        const CommandOutput output(OutputFormat::json, {}, on_file);
        EXPECT_NE(stdout, real);
        EXPECT_TRUE(is_output_structured());
    }
    EXPECT_EQ(stdout, real);
    EXPECT_FALSE(is_output_structured());
}

// What a process that runs `code` and exits inside the command leaves on its output.
std::string left_at_exit(OutputFormat format, bool with_stream_of_its_own = false) {
    std::array<int, 2> ends{};
    EXPECT_EQ(::pipe2(ends.data(), O_CLOEXEC), 0);
    const FileDescriptor reading(ends[0]);
    FileDescriptor writing(ends[1]);
    std::fflush(stdout);
    const pid_t child = ::fork();
    if (child == 0) {
        ::dup2(writing.get(), STDOUT_FILENO);
        const CommandOutput output(format, {{"things[]"}}, on_file);
        std::printf("so far");
        if (with_stream_of_its_own) {
            stdout = ::fopen("/dev/null", "we");  // as one who gathers what a generator prints
            std::printf("gathered");
        }
        std::exit(EXIT_FAILURE);
    }
    writing.reset();
    std::string text;
    std::array<char, 1024> piece{};
    for (ssize_t got = 0; (got = ::read(reading.get(), piece.data(), piece.size())) > 0;) {
        text.append(piece.data(), static_cast<std::size_t>(got));
    }
    ::waitpid(child, nullptr, 0);
    return text;
}

TEST(CommandOutputTest, AProcessThatExitsInsideACommandLeavesAWholeDocument) {
    EXPECT_EQ(left_at_exit(OutputFormat::text), "so far");
    EXPECT_EQ(left_at_exit(OutputFormat::text, true), "so far");
    EXPECT_EQ(left_at_exit(OutputFormat::json), R"({
  "things": [],
  "errors": [
    "the command ended before its display was complete"
  ],
  "text": [
    "so far"
  ]
}
)");
}

}  // namespace
}  // namespace callhome::platform
