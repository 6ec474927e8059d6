#include "signatures/log_matcher.h"

#include <gtest/gtest.h>

#include <random>

namespace callhome::service {
namespace {

using Ids = std::vector<std::uint32_t>;
using Patterns = std::vector<LogMatcher::Pattern>;

TEST(LogMatcher, FindsAllPatternsOfALine) {
    const LogMatcher matcher(Patterns{
        {30, "link (up|down)"}, {10, "^kernel:"}, {20, "temperature [0-9]+"}, {40, "(?i)ETH[0-9]"}});
    EXPECT_EQ(matcher.match("kernel: eth0: link down"), (Ids{30, 10, 40}));
    EXPECT_EQ(matcher.match("fan: temperature 90"), (Ids{20}));
    EXPECT_EQ(matcher.match("a kernel: temperature"), Ids());
    EXPECT_EQ(matcher.match(""), Ids());
}

TEST(LogMatcher, OfNoPatternsMatchesNothing) {
    EXPECT_TRUE(LogMatcher().is_empty());
    EXPECT_EQ(LogMatcher().match("anything"), Ids());
    EXPECT_EQ(LogMatcher(Patterns{}).match("anything"), Ids());
}

TEST(LogMatcher, LeavesOutWhatIsNoPatternOrTooLarge) {
    const LogMatcher matcher(Patterns{{1, "("}, {2, "down"}, {3, R"((\pL{100}){10})"}, {4, "up"}});
    EXPECT_EQ(matcher.refused(), (Ids{1, 3}));
    EXPECT_EQ(matcher.match("up and down"), (Ids{2, 4}));
}

TEST(LogMatcher, TakesAnyBytes) {
    using namespace std::string_literals;
    const LogMatcher matcher(Patterns{{1, "down$"}, {2, "a.b"}});
    EXPECT_EQ(matcher.match("\xFF\xC3 \x80 a\0b down"s), (Ids{1, 2}));
    EXPECT_EQ(matcher.match("a\xFF"
                            "b"),
              Ids());
}

TEST(LogMatcher, CutsLongLines) {
    const LogMatcher matcher(Patterns{{1, "end"}});
    EXPECT_EQ(matcher.match(std::string(longest_log_line - 3, 'x') + "end"), (Ids{1}));
    EXPECT_EQ(matcher.match(std::string(longest_log_line - 2, 'x') + "end"), Ids());
}

// A matcher that goes back and tries again would not come to an end here.
TEST(LogMatcher, IsNotHeldUpByPatternsThatExplode) {
    const LogMatcher matcher(Patterns{{1, "(a+)+b"}, {2, "(a|aa)+c"}, {3, "(.*)(.*)(.*)(.*)(.*)d"}});
    EXPECT_EQ(matcher.match(std::string(longest_log_line, 'a')), Ids());
}

// Each of these patterns needs a state for each of the last fifteen letters, all together far more than
// there is memory for.
TEST(LogMatcher, AnswersLikeEachPatternAloneWhenMemoryRunsOut) {
    Patterns patterns;
    for (std::uint32_t distance = 10; distance < 25; ++distance) {
        const char letter = static_cast<char>('a' + distance % 5);
        patterns.push_back(
            {distance, std::string(1, letter) + ".{" + std::to_string(distance) + "}" + letter});
    }
    const LogMatcher matcher(patterns);
    std::minstd_rand random(1);
    std::string line;
    for (int length = 0; length < 3000; ++length) {
        line += static_cast<char>('a' + random() % 5);
    }
    for (std::size_t at = 0; at < line.size(); at += 500) {
        const std::string part = line.substr(at, 40);
        Ids expected;
        for (const LogMatcher::Pattern& pattern : patterns) {
            if (!LogMatcher(std::span(&pattern, 1)).match(part).empty()) {
                expected.push_back(pattern.id);
            }
        }
        EXPECT_EQ(matcher.match(part), expected) << part;
    }
    EXPECT_EQ(matcher.match(line).size(), patterns.size());
}

}  // namespace
}  // namespace callhome::service
