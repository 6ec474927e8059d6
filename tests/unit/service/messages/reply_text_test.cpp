#include "messages/reply_text.h"

#include <gtest/gtest.h>

#include "messages/text.h"

namespace callhome::service {
namespace {

using protocol::DeliveryState;
using std::chrono::seconds;

const ReceiverName ada{"ada@example.com", "ops"};

TEST(ReportLine, ConfirmsWithTheServerThatTookTheMail) {
    const AttemptReport report{1, {Verdict::delivered, "mx:25", ""}, DeliveryState::delivered, seconds(0)};
    EXPECT_EQ(report_line("test", ada, report),
              "Successfully sent test callhome message to ada@example.com (profile ops) through mx:25");
}

TEST(ReportLine, ConfirmsAPostWithoutAServer) {
    const AttemptReport report{1, {Verdict::delivered, "", ""}, DeliveryState::delivered, seconds(0)};
    EXPECT_EQ(report_line("test", {"http://example.com", "web"}, report),
              "Successfully sent test callhome message to http://example.com (profile web)");
}

TEST(ReportLine, SaysWhenAPostponedMailIsTriedAgain) {
    const AttemptReport report{
        1, {Verdict::postponed, "mx:25", "450 4.2.1 busy"}, DeliveryState::waiting, seconds(60)};
    EXPECT_EQ(
        report_line("test", ada, report),
        "Could not send the test callhome message to ada@example.com (profile ops): mx:25: 450 4.2.1 busy; "
        "it stays in the queue, next try in 60 seconds");
}

TEST(DuplicateLine, SaysHowOftenTheEventCameAndWhenTheNextMessageGoesOut) {
    constexpr std::int64_t now = 1'700'000'000;
    const std::string line =
        duplicate_line("sup-failure", {3, std::chrono::minutes(30)}, std::chrono::hours(2), now);
    EXPECT_EQ(line, "The sup-failure callhome message was not sent: the same event had its message at " +
                        iso_time(now - 1800) + " and has come 3 times since then; the next message, from " +
                        iso_time(now + 5400) + " on, tells how often");
    EXPECT_EQ(line.find("Successfully"), std::string::npos) << "which would make it a confirmation";
}

TEST(Repeats, AreToldOnlyWhereThereAreAny) {
    EXPECT_EQ(repeats_text({}, 1'700'000'000), "");
    EXPECT_EQ(repeats_text({1, seconds(60)}, 1'700'000'000), "once since " + iso_time(1'699'999'940));
    EXPECT_EQ(repeats_text({2, seconds(60)}, 1'700'000'000), "2 times since " + iso_time(1'699'999'940));
}

TEST(ReportLine, SaysThatARefusedMailIsNotTriedAgain) {
    const AttemptReport report{
        1, {Verdict::refused, "mx:25", "550 5.1.1 nobody"}, DeliveryState::failed, seconds(0)};
    EXPECT_EQ(report_line("test", ada, report),
              "The test callhome message to ada@example.com (profile ops) was refused by mx:25: 550 5.1.1 "
              "nobody; "
              "it will not be tried again");
}

TEST(JoinReply, KeepsTheOrderWhereAllLinesFit) {
    EXPECT_EQ(join_reply({{true, "one"}, {false, "two"}}, 7), "one\ntwo");
    EXPECT_EQ(join_reply({}, 10), "");
}

TEST(JoinReply, TellsOfTroubleFirstAndCountsTheRestWhereTheyDoNot) {
    std::vector<ReplyLine> lines(100, {true, "Successfully sent test callhome message to somebody"});
    lines.back() = {false, "Could not send"};
    const std::string text = join_reply(lines, 300);
    EXPECT_LE(text.size(), 300U);
    EXPECT_TRUE(text.starts_with("Could not send\nSuccessfully sent")) << text;
    EXPECT_NE(text.find(" more receivers are not listed here"), std::string::npos) << text;
    EXPECT_LE(join_reply(lines, 5).size(), 5U);
}

}  // namespace
}  // namespace callhome::service
