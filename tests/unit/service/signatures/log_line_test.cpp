#include "signatures/log_line.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace callhome::service {
namespace {

using namespace std::string_view_literals;

std::vector<std::string> lines_of(std::string_view text) {
    std::vector<std::string> lines;
    each_line(text, [&](std::string_view line) { lines.emplace_back(line); });
    return lines;
}

TEST(SyslogHead, IsTakenOff) {
    EXPECT_EQ(without_syslog_head("<13>Nov 21 17:05:07 ops: link down"), "ops: link down");
    EXPECT_EQ(without_syslog_head("<0>Nov  1 07:05:07 kernel: down"), "kernel: down");
    EXPECT_EQ(without_syslog_head("<191>daemon[7]: down"), "daemon[7]: down");
}

TEST(SyslogHead, ThatIsNoneStays) {
    for (const auto line : {"link down"sv, ""sv, "<"sv, "<>x"sv, "<1234>x"sv, "<13x"sv, "<1 3>x"sv,
                            "Nov 21 17:05:07 ops: link down"sv}) {
        EXPECT_EQ(without_syslog_head(line), line);
    }
    for (const auto rest : {"nov 21 17:05:07 x"sv, "Nov 21 17:05 x"sv, "Nov 2117:05:07 x"sv, "Nov 21"sv,
                            "1 2026-11-21T17:05:07Z switch ops - - - down"sv}) {
        EXPECT_EQ(without_syslog_head("<13>" + std::string(rest)), rest);
    }
}

TEST(Lines, AreTakenWithoutTheirEnds) {
    using Lines = std::vector<std::string>;
    EXPECT_EQ(lines_of("one"), (Lines{"one"}));
    EXPECT_EQ(lines_of("one\r\n\ntwo\n"), (Lines{"one", "two"}));
    EXPECT_EQ(lines_of("one\n\0\0"sv), (Lines{"one"}));
    EXPECT_EQ(lines_of("\n\n"), Lines());
    EXPECT_EQ(lines_of("\0"sv), Lines());
    EXPECT_EQ(lines_of(""), Lines());
}

}  // namespace
}  // namespace callhome::service
