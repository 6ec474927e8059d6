// What is kept of what the service does, and in which words support reads it.
#include "trace/traces.h"

#include <gtest/gtest.h>
#include <spdlog/sinks/ostream_sink.h>
#include <spdlog/spdlog.h>

#include <algorithm>
#include <sstream>
#include <thread>
#include <vector>

#include "log.h"
#include "protocol/opcode.h"
#include "trace/request_words.h"

namespace callhome::service {
namespace {

using protocol::Opcode;
using protocol::Operation;
using protocol::Status;
using std::chrono::microseconds;
using std::chrono::milliseconds;

constexpr const char* whole = "callhome";
constexpr const char* errors_only = "callhome_error_trace_buffer";

TracedRequest request_of(Opcode opcode, Operation operation, Status status = Status::ok,
                         microseconds time = microseconds(1500)) {
    return {static_cast<std::uint32_t>(opcode), static_cast<std::uint32_t>(operation), status, 1000, time};
}

class TracesTest : public testing::Test {
 protected:
    // Without the times at the beginning, which follow the zone of the machine.
    static std::vector<std::string> lines_of(const Traces& traces, const char* buffer = whole) {
        std::istringstream text(traces.text_of(buffer).value());
        std::vector<std::string> lines;
        for (std::string line; std::getline(text, line);) {
            EXPECT_GT(line.size(), time_width) << line;
            lines.push_back(line.substr(std::min(time_width, line.size())));
        }
        return lines;
    }
    Traces make(const TraceLimits& limits = {}) {
        return Traces(limits, [this] { return now_; });
    }

    static constexpr std::size_t time_width = sizeof "2026-11-21 14:05:03.123";
    Traces::TimePoint now_{std::chrono::seconds(1'700'000'000) + milliseconds(42)};
};

using Lines = std::vector<std::string>;

TEST_F(TracesTest, ARequestIsALineWithWhoAskedAndWhatCameOfIt) {
    Traces traces = make();
    traces.note_request(request_of(Opcode::feature_state, Operation::set));
    traces.note_request(request_of(Opcode::post_alert, Operation::set, Status::not_sent));
    traces.note_request(request_of(static_cast<Opcode>(7), static_cast<Operation>(9), Status{12345678}));
    EXPECT_EQ(lines_of(traces), (Lines{"request: set feature_state by user 1000: done, 1.5 ms",
                                       "request: set post_alert by user 1000: " +
                                           std::string(protocol::text_of(Status::not_sent)) + ", 1.5 ms",
                                       "request: 9 7 by user 1000: status 0xbc614e, 1.5 ms"}));
    EXPECT_TRUE(lines_of(traces, errors_only).empty());
}

TEST_F(TracesTest, EachLineHasItsTimeToTheMillisecond) {
    Traces traces = make();
    traces.note_request(request_of(Opcode::traps, Operation::set));
    traces.note_line(TracedLevel::info, now_ + milliseconds(7), "x");
    const std::string text = traces.text_of(whole).value();
    std::array<char, 32> expected{};
    const std::time_t seconds = 1'700'000'000;
    std::tm parts{};
    ::localtime_r(&seconds, &parts);
    std::strftime(expected.data(), expected.size(), "%F %T", &parts);
    EXPECT_TRUE(text.starts_with(std::string(expected.data()) + ".042 request: ")) << text;
    EXPECT_NE(text.find(std::string("\n") + expected.data() + ".049 info: x\n"), std::string::npos) << text;
}

TEST_F(TracesTest, ReadsThatRepeatThemselvesAreOneLine) {
    Traces traces = make();
    for (const int time : {100, 2300, 200}) {
        traces.note_request(
            request_of(Opcode::profile_email, Operation::get_next, Status::ok, microseconds(time)));
        now_ += milliseconds(10);
    }
    traces.note_request(request_of(Opcode::profile_email, Operation::get_next, Status::no_further_entry));
    const Lines lines = lines_of(traces);
    ASSERT_EQ(lines.size(), 2U);
    EXPECT_TRUE(lines[0].starts_with(
        "request: get_next profile_email by user 1000: done, 2.3 ms at most; 3 times until "))
        << lines[0];
    EXPECT_TRUE(lines[0].ends_with(".062")) << lines[0];
}

TEST_F(TracesTest, ChangesAreALineEach) {
    Traces traces = make();
    for (int change = 0; change < 3; ++change) {
        traces.note_request(request_of(Opcode::contact_field, Operation::set));
        traces.note_request(request_of(Opcode::contact_field, Operation::remove));
    }
    EXPECT_EQ(lines_of(traces).size(), 6U);
}

TEST_F(TracesTest, AnotherUserIsAnotherLine) {
    Traces traces = make();
    TracedRequest request = request_of(Opcode::traps, Operation::get);
    traces.note_request(request);
    request.user = 0;
    traces.note_request(request);
    EXPECT_EQ(lines_of(traces).size(), 2U);
}

TEST_F(TracesTest, TheErrorBufferHoldsWarningsAndErrorsAlone) {
    Traces traces = make();
    traces.note_line(TracedLevel::info, now_, "delivered");
    traces.note_line(TracedLevel::warning, now_, "late");
    traces.note_line(TracedLevel::error, now_, "lost");
    EXPECT_EQ(lines_of(traces, errors_only), (Lines{"warning: late", "error: lost"}));
    EXPECT_EQ(lines_of(traces), (Lines{"info: delivered", "warning: late", "error: lost"}));
}

TEST_F(TracesTest, LinesStandInTheOrderInWhichTheyCameWhateverTheClockDoes) {
    Traces traces = make();
    traces.note_line(TracedLevel::error, now_, "first");
    now_ -= std::chrono::hours(5);
    traces.note_request(request_of(Opcode::traps, Operation::set));
    traces.note_line(TracedLevel::info, now_ - std::chrono::hours(1), "third");
    const Lines lines = lines_of(traces);
    ASSERT_EQ(lines.size(), 3U);
    EXPECT_EQ(lines[0], "error: first");
    EXPECT_EQ(lines[2], "info: third");
}

TEST_F(TracesTest, TheOldestOfAKindGiveWayAndOtherKindsStay) {
    Traces traces = make({.requests = 3, .lines = 2, .bytes = 1000, .longest_line = 100});
    traces.note_line(TracedLevel::error, now_, "the only error");
    for (int number = 0; number < 50; ++number) {
        traces.note_request(request_of(Opcode::traps, Operation::set, Status::ok, milliseconds(number)));
        traces.note_line(TracedLevel::info, now_, "line " + std::to_string(number));
    }
    EXPECT_EQ(lines_of(traces),
              (Lines{"error: the only error", "request: set traps by user 1000: done, 47.0 ms",
                     "request: set traps by user 1000: done, 48.0 ms", "info: line 48",
                     "request: set traps by user 1000: done, 49.0 ms", "info: line 49"}));
}

TEST_F(TracesTest, ReadsPushNoChangesOut) {
    Traces traces = make({.requests = 2, .lines = 2, .bytes = 1000, .longest_line = 100});
    traces.note_request(request_of(Opcode::traps, Operation::set));
    for (int round = 0; round < 10; ++round) {
        traces.note_request(request_of(Opcode::mail_server, Operation::get));
        traces.note_request(request_of(Opcode::contact_field, Operation::get));
    }
    EXPECT_EQ(lines_of(traces), (Lines{"request: set traps by user 1000: done, 1.5 ms",
                                       "request: get mail_server by user 1000: done, 1.5 ms",
                                       "request: get contact_field by user 1000: done, 1.5 ms"}));
    EXPECT_EQ(traces.size_of_changes().entries, 1U);
    EXPECT_EQ(traces.size_of_reads().entries, 2U);
}

TEST_F(TracesTest, BytesAreBoundedToo) {
    Traces traces = make({.requests = 10, .lines = 1000, .bytes = 250, .longest_line = 100});
    for (int number = 0; number < 10; ++number) {
        traces.note_line(TracedLevel::error, now_, std::string(100, static_cast<char>('0' + number)));
    }
    EXPECT_EQ(lines_of(traces),
              (Lines{"error: " + std::string(100, '8'), "error: " + std::string(100, '9')}));
    EXPECT_EQ(traces.size_of_errors().entries, 2U);
    EXPECT_GE(traces.size_of_errors().bytes, 200U);
    EXPECT_LT(traces.size_of_errors().bytes, 500U);
    EXPECT_EQ(traces.size_of_lines().entries, 0U);
    EXPECT_EQ(traces.size_of_changes().entries, 0U);
    EXPECT_EQ(traces.size_of_reads().entries, 0U);
}

TEST_F(TracesTest, ALineIsCleanedAndCutBetweenCharacters) {
    Traces traces = make({.requests = 10, .lines = 10, .bytes = 1000, .longest_line = 8});
    traces.note_line(TracedLevel::info, now_, "a\x1b[1m\nb\xFF");
    traces.note_line(TracedLevel::info, now_, "\xC3\xA4\xC3\xA4\xC3\xA4 \xC3\xA4 cut");
    const Lines lines = lines_of(traces);
    ASSERT_EQ(lines.size(), 2U) << "a line is one line";
    EXPECT_EQ(lines[0].find('\x1b'), std::string::npos);
    EXPECT_EQ(lines[1], "info: \xC3\xA4\xC3\xA4\xC3\xA4 ");
}

TEST_F(TracesTest, ThereIsNoBufferOfAnotherName) {
    const Traces traces = make();
    EXPECT_EQ(traces.text_of(""), std::nullopt);
    EXPECT_EQ(traces.text_of("callhome_"), std::nullopt);
    EXPECT_EQ(traces.text_of(whole), "");
}

TEST_F(TracesTest, ThreadsMayNoteAtOnce) {
    Traces traces = make();
    std::vector<std::jthread> threads;
    for (int thread = 0; thread < 4; ++thread) {
        threads.emplace_back([&traces, this] {
            for (int number = 0; number < 500; ++number) {
                traces.note_line(TracedLevel::info, now_, "from a thread");
                (void)traces.size_of_lines();
            }
        });
    }
    threads.clear();
    EXPECT_EQ(traces.size_of_lines().entries, TraceLimits{}.lines);
}

TEST_F(TracesTest, RequestsAreInWords) {
    EXPECT_EQ(words_of_request(2154, 2), "get_next destination_profile");
    EXPECT_EQ(words_of_request(0x4C40C, 3), "set signature_action");
    EXPECT_EQ(words_of_request(1, 0), "0 1");
    EXPECT_TRUE(is_reading(1) && is_reading(2) && is_reading(5) && is_reading(6));
    EXPECT_FALSE(is_reading(3) || is_reading(4) || is_reading(0) || is_reading(7));
}

// The log of a test of its own, led into a text.
class TracedLogTest : public TracesTest {
 protected:
    void start(spdlog::level::level_enum level) {
        auto sink = std::make_shared<spdlog::sinks::ostream_sink_st>(log_);
        sink->set_level(level);
        auto logger = std::make_shared<spdlog::logger>("test", sink);
        logger->set_level(level);
        spdlog::set_default_logger(logger);
        trace_log(traces_);
    }
    ~TracedLogTest() override { spdlog::set_default_logger(before_); }

    std::shared_ptr<spdlog::logger> before_ = spdlog::default_logger();
    std::ostringstream log_;
    std::shared_ptr<Traces> traces_ = std::make_shared<Traces>();
};

TEST_F(TracedLogTest, WhatIsLoggedIsTracedWithItsLevel) {
    start(spdlog::level::info);
    spdlog::debug("for debugging");
    spdlog::info("Delivery {}: {}", 3, "delivered");
    spdlog::warn("a warning");
    spdlog::error("an error");
    spdlog::critical("the end");
    EXPECT_EQ(lines_of(*traces_), (Lines{"info: Delivery 3: delivered", "warning: a warning",
                                         "error: an error", "error: the end"}));
    EXPECT_EQ(lines_of(*traces_, errors_only),
              (Lines{"warning: a warning", "error: an error", "error: the end"}));
    EXPECT_NE(log_.str().find("Delivery 3"), std::string::npos);
}

TEST_F(TracedLogTest, ALogThatIsOffIsTracedAllTheSame) {
    start(spdlog::level::off);
    spdlog::info("an event");
    EXPECT_EQ(lines_of(*traces_), Lines{"info: an event"});
    EXPECT_EQ(log_.str(), "");
}

TEST_F(TracedLogTest, ALogForDebuggingStaysOne) {
    start(spdlog::level::debug);
    spdlog::debug("a detail");
    EXPECT_TRUE(lines_of(*traces_).empty());
    EXPECT_NE(log_.str().find("a detail"), std::string::npos);
}

}  // namespace
}  // namespace callhome::service
