// The running configuration, arranged so that typing it gives the same configuration again.
#include "typing_order.h"

#include <gtest/gtest.h>

#include <vector>

namespace callhome::platform {
namespace {

using Lines = std::vector<std::string>;
using Distribution = TypingOrder::Distribution;
using Ending = TypingOrder::Ending;

Lines arranged(const Lines& lines, Distribution distribution = Distribution::off,
               Ending ending = Ending::plain) {
    Lines written;
    TypingOrder order([&](std::string_view line) { written.emplace_back(line); }, distribution);
    for (const std::string& line : lines) {
        order.take(line);
    }
    order.finish(ending);
    return written;
}

TEST(TypingOrder, LeavesOtherLinesWhereTheyAre) {
    const Lines lines{"site-id enable", "destination-profile a email-addr a@example.org",
                      "destination-profile a alert-group all", "alert-group test user-def-cmd show enable",
                      "destination-profile message-size message-level 3"};
    EXPECT_EQ(arranged(lines), lines);
}

TEST(TypingOrder, PutsASizeBehindTheFormatThatWouldSetItBack) {
    EXPECT_EQ(arranged({"destination-profile a message-size 100", "destination-profile a format XML",
                        "destination-profile a message-level 1", "destination-profile b message-size 4000",
                        "destination-profile b format short-txt"}),
              (Lines{"destination-profile a format XML", "destination-profile a message-size 100",
                     "destination-profile a message-level 1", "destination-profile b format short-txt",
                     "destination-profile b message-size 4000"}));
}

TEST(TypingOrder, AddsTheUsualSizeToAShortTextProfileWithoutOne) {
    EXPECT_EQ(arranged({"destination-profile a format short-txt", "destination-profile a message-level 1"}),
              (Lines{"destination-profile a format short-txt", "destination-profile a message-size 2500000",
                     "destination-profile a message-level 1"}));
    EXPECT_EQ(arranged({"destination-profile a format full-txt"}),
              Lines{"destination-profile a format full-txt"});
}

TEST(TypingOrder, KeepsTheSizeOfAnotherProfileBeforeTheFormat) {
    EXPECT_EQ(arranged({"destination-profile a message-size 100", "destination-profile b format XML"}),
              (Lines{"destination-profile a message-size 100", "destination-profile b format XML"}));
    EXPECT_EQ(arranged({"destination-profile a message-size 1", "destination-profile b format short-txt"}),
              (Lines{"destination-profile a message-size 1", "destination-profile b format short-txt",
                     "destination-profile b message-size 2500000"}));
}

TEST(TypingOrder, KnowsProfilesThatAreNamedLikeWords) {
    EXPECT_EQ(
        arranged({"destination-profile format message-size 7", "destination-profile format format XML"}),
        (Lines{"destination-profile format format XML", "destination-profile format message-size 7"}));
}

TEST(TypingOrder, WritesTheLastSizeAtTheEnd) {
    EXPECT_EQ(arranged({"destination-profile a message-size 7"}),
              Lines{"destination-profile a message-size 7"});
}

TEST(TypingOrder, DoesNotKeepBackTheSizesOfBuiltInProfiles) {
    for (const char* name : {"full-txt-destination", "short-txt-destination", "ZUVA-profile"}) {
        Lines written;
        TypingOrder order([&](std::string_view line) { written.emplace_back(line); }, Distribution::off);
        order.take("destination-profile " + std::string(name) + " message-size 7");
        EXPECT_EQ(written.size(), 1U) << name;
    }
}

TEST(TypingOrder, SwitchesOnWhenAllElseIsThere) {
    EXPECT_EQ(arranged({"enable", "destination-profile a message-size 7", "site-id x"}),
              (Lines{"destination-profile a message-size 7", "site-id x", "enable"}));
}

TEST(TypingOrder, LeavesPeriodicInventoryInItsPlaceWithoutDistribution) {
    const Lines lines{"no periodic-inventory notification", "site-id x"};
    EXPECT_EQ(arranged(lines), lines);
}

TEST(TypingOrder, DistributesBeforeTheLineThatTheCommitIsFor) {
    EXPECT_EQ(
        arranged({"site-id x", "no periodic-inventory notification", "enable", "use-vrf m"},
                 Distribution::on, Ending::before_commit),
        (Lines{"site-id x", "use-vrf m", "enable", "distribute", "no periodic-inventory notification"}));
}

TEST(TypingOrder, OpensNoSessionWhenThereIsNothingToCommit) {
    EXPECT_EQ(arranged({"duplicate-message throttle", "periodic-inventory notification"}, Distribution::on),
              (Lines{"duplicate-message throttle", "periodic-inventory notification", "distribute"}));
}

TEST(TypingOrder, KeepsNothingAfterTheEnd) {
    Lines written;
    TypingOrder order([&](std::string_view line) { written.emplace_back(line); }, Distribution::off);
    order.take("enable");
    order.finish(Ending::plain);
    order.finish(Ending::plain);
    EXPECT_EQ(written, Lines{"enable"});
}

}  // namespace
}  // namespace callhome::platform
