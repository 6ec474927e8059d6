#include "command.h"
#include "platform/interface.h"

namespace callhome::test {
namespace {

constexpr std::uint32_t detail_keyword = 57;

class TraceTest : public LibraryTest {
 protected:
    struct Shown {
        std::uint32_t result;
        std::string out;
    };
    // Neither display writes anything to standard error.
    static Shown show(uint32_t (*handler)(void)) {
        std::uint32_t result = 9;
        const auto [out, err] = capture([&] { result = handler(); });
        EXPECT_EQ(err, "");
        return {result, out};
    }
    // The number of the next line: it goes on through the whole process.
    static int next_number() {
        const auto [out, err] = capture([] { callhome_trace_dumper("probe", nullptr); });
        return std::stoi(out) + 1;
    }
    static std::string numbered(int number, const std::string& line) {
        return std::to_string(number) + ") " + line + "\n\n";
    }
    static std::uint32_t word_at(const Bytes& request, std::size_t index) {
        std::uint32_t word = 0;
        std::memcpy(&word, request.data() + index * sizeof word, sizeof word);
        return word;
    }

    Command command_;
};

TEST_F(TraceTest, TheErrorBufferIsShownWithNumbers) {
    const int first = next_number();
    platform().trace_lines = {"one", "50% %s %n", ""};
    const auto [result, out] = show(callhome_show_trace);
    EXPECT_EQ(result, 0U);
    EXPECT_EQ(out, numbered(first, "one") + numbered(first + 1, "50% %s %n") + numbered(first + 2, ""));
    EXPECT_EQ(platform().calls, Lines{"trace lines of callhome_error_trace_buffer from 1"});
    EXPECT_EQ(platform().line_results, (std::vector<const void*>{nullptr, nullptr, nullptr, nullptr}))
        << "what is handed on is nothing";
}

TEST_F(TraceTest, ASecondDisplayGoesOnNumbering) {
    const int first = next_number();
    platform().trace_lines = {"a", "b"};
    show(callhome_show_trace);
    EXPECT_EQ(show(callhome_show_trace).out, numbered(first + 2, "a") + numbered(first + 3, "b"));
}

TEST_F(TraceTest, ADumpedLineGivesItsArgumentBack) {
    int argument = 0;
    const int number = next_number();
    const auto [out, err] =
        capture([&] { EXPECT_EQ(callhome_trace_dumper("a line", &argument), &argument); });
    EXPECT_EQ(out, numbered(number, "a line"));
    EXPECT_EQ(err, "");
}

TEST_F(TraceTest, ANullLineIsNotShownAndNotCounted) {
    int argument = 0;
    const int number = next_number();
    const auto [out, err] = capture([&] { EXPECT_EQ(callhome_trace_dumper(nullptr, &argument), nullptr); });
    EXPECT_EQ(out + err, "");
    EXPECT_EQ(next_number(), number + 1);
}

TEST_F(TraceTest, TheWholeBufferIsDumped) {
    EXPECT_EQ(show(ch_show_gch_trace).result, 0U);
    EXPECT_EQ(platform().calls, Lines{"dump of callhome, whole 1"});
}

TEST_F(TraceTest, WhatThePlatformMakesOfItIsNotLookedAt) {
    platform().trace_result = -1;
    EXPECT_EQ(show(callhome_show_trace).result, 0U);
    EXPECT_EQ(show(ch_show_gch_trace).result, 0U);
    EXPECT_EQ(run(callhome_show_memstats, command_).result, 0);
}

TEST_F(TraceTest, MemoryStatisticsAreAskedForInFourWords) {
    cmd_type = 9;
    const auto [result, out, err] = run(callhome_show_memstats, command_);
    EXPECT_EQ(result, 0);
    EXPECT_EQ(out + err, "");
    ASSERT_EQ(platform().memory_dumps.size(), 1U);
    const MemoryDump& dump = platform().memory_dumps.front();
    EXPECT_EQ(dump.transport_handle, 77U);
    EXPECT_EQ(dump.destination, 0xFE000000U);
    EXPECT_EQ(dump.opcode, 66U);
    EXPECT_EQ(dump.length, 16U);
    EXPECT_EQ(dump.function, "mtrack_dump_memstats");
    EXPECT_EQ(word_at(dump.request, 0), 0U);
    EXPECT_EQ(word_at(dump.request, 1), 0U);
    EXPECT_EQ(word_at(dump.request, 2), 5U);
    EXPECT_EQ(word_at(dump.request, 3), 0xFFFFFFFFU);
    EXPECT_EQ(asked(), Asked{}) << "the service link is not used";
    EXPECT_EQ(cmd_type, 9U);
}

TEST_F(TraceTest, DetailIsAskedForByItsKeyword) {
    command_.keyword(12).null_token().keyword(detail_keyword).keyword(13);
    command_.context()->active_sup = 0;
    EXPECT_EQ(run(callhome_show_memstats, command_).result, 0);
    ASSERT_EQ(platform().memory_dumps.size(), 1U);
    const MemoryDump& dump = platform().memory_dumps.front();
    EXPECT_EQ(word_at(dump.request, 0), 0U);
    EXPECT_EQ(word_at(dump.request, 1), 1U);
    EXPECT_EQ(word_at(dump.request, 2), 5U);
}

TEST_F(TraceTest, MemoryStatisticsHaveNoNoForm) {
    command_.no();
    const auto [result, out, err] = run(callhome_show_memstats, command_);
    EXPECT_EQ(result, 1);
    EXPECT_EQ(out, "");
    EXPECT_EQ(err, no_form_refusal);
    EXPECT_TRUE(platform().memory_dumps.empty());
}

TEST_F(TraceTest, ASkippedCommandDoesNothingEvenInItsNoForm) {
    command_.no().context()->skip_exec = 1;
    const auto [result, out, err] = run(callhome_show_memstats, command_);
    EXPECT_EQ(result, 0);
    EXPECT_EQ(out + err, "");
    EXPECT_TRUE(platform().calls.empty());
}

}  // namespace
}  // namespace callhome::test
