#include "command.h"
#include "platform/interface.h"
#include "protocol/marker.h"

namespace callhome::test {
namespace {

constexpr const char* announcement = "Sending sup failure message\n";

class SupFailureTest : public LibraryTest {
 protected:
    Outcome fail_sup() { return run(callhome_test_supfailure, command_); }

    Command command_;
};

TEST_F(SupFailureTest, RaisesTheAlertItself) {
    const auto [result, out, err] = fail_sup();
    EXPECT_EQ(result, 0);
    EXPECT_EQ(out, std::string(announcement) + "successfully sent test callhome message for sup-failure\n");
    EXPECT_EQ(err, "");
    ASSERT_EQ(platform().alerts.size(), 1U);
    const PostedAlert& alert = platform().alerts.front();
    EXPECT_EQ(alert.transport_handle, 77U);
    EXPECT_EQ(alert.alert, "SUP_FAILURE");
    EXPECT_EQ(alert.source, "system manager");
    EXPECT_EQ(alert.text, "this is a test message for sup failure");
    EXPECT_EQ(asked(), Asked{}) << "the service link is not used";
}

TEST_F(SupFailureTest, LooksNeitherAtTheFormNorAtTheSupervisorNorAtTheClass) {
    command_.no().context()->active_sup = 0;
    cmd_type = 9;
    EXPECT_EQ(fail_sup().result, 0);
    EXPECT_EQ(platform().alerts.size(), 1U);
    EXPECT_EQ(cmd_type, 9U);
}

TEST_F(SupFailureTest, SendsNothingWhileAMessageIsProcessed) {
    files().marker_stands = true;
    const auto [result, out, err] = fail_sup();
    EXPECT_EQ(result, 1);
    EXPECT_EQ(out, std::string(announcement) + "text of 0x403B001C\n");
    EXPECT_EQ(err, "");
    EXPECT_TRUE(platform().alerts.empty());
}

TEST_F(SupFailureTest, TheMarkerHasItsFixedPath) {
    EXPECT_STREQ(protocol::processing_marker, "/kova/etc/callhome.d/processing_mesg");
}

TEST_F(SupFailureTest, PrintsTheReplyAsAWarning) {
    platform().alert_text = " \n50% delayed %s \n";
    EXPECT_EQ(fail_sup().out,
              std::string(announcement) +
                  "successfully sent test callhome message for sup-failure\nwarning:\n50% delayed %s\n");
}

TEST_F(SupFailureTest, SaysNothingOfABlankReply) {
    platform().alert_text = " \n\t";
    EXPECT_EQ(fail_sup().out,
              std::string(announcement) + "successfully sent test callhome message for sup-failure\n");
}

TEST_F(SupFailureTest, PrintsARefusalAndTheReplyButReturnsZero) {
    platform().alert_status = 0x403B001D;
    platform().alert_text = "no %s receiver ";
    const auto [result, out, err] = fail_sup();
    EXPECT_EQ(result, 0);
    EXPECT_EQ(out, std::string(announcement) + "text of 0x403B001D\nno %s receiver \n");
    EXPECT_EQ(err, "");
}

TEST_F(SupFailureTest, ATransportFailureGoesToStandardErrorAndReturnsZero) {
    platform().alert_status = -1;
    platform().alert_text = "not shown";
    const auto [result, out, err] = fail_sup();
    EXPECT_EQ(result, 0);
    EXPECT_EQ(out, announcement);
    EXPECT_EQ(err, "mts error\n");
}

TEST_F(SupFailureTest, AnAlertThatCouldNotBePostedIsNoSuccess) {
    platform().alert_post_result = -1;
    const auto [result, out, err] = fail_sup();
    EXPECT_EQ(result, 0);
    EXPECT_EQ(out, announcement);
    EXPECT_EQ(err, "mts error\n");
}

TEST_F(SupFailureTest, ReadsAReplyWithoutATerminatorWithinTheResult) {
    platform().alert_text = std::string(3000, 'x');
    const std::string expected(PLATFORM_ALERT_TEXT_SIZE, 'x');
    EXPECT_EQ(fail_sup().out, std::string(announcement) +
                                  "successfully sent test callhome message for sup-failure\nwarning:\n" +
                                  expected + "\n");
}

}  // namespace
}  // namespace callhome::test
