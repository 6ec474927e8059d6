// The requests about deliveries: how they have fared, and what is done about them.
#include "platform/deliveries.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <cstring>

#include "fake_service.h"
#include "platform/reference.h"
#include "protocol/records/delivery.h"
#include "protocol/records/destination_profile.h"
#include "protocol/records/message.h"
#include "temporary_folder.h"
#include "transport_order.h"

namespace callhome::platform {
namespace {

using protocol::PreviewHead;
using protocol::PreviewTotals;
using protocol::Status;
using test::FakeService;
using test::Frame;
using test::from_transport_order;
using test::in_transport_order;
using test::Peer;

std::string head_of(const char* profile, std::uint32_t length) {
    PreviewHead head{};
    head.length = length;
    head.size = 12;
    head.format = static_cast<std::uint32_t>(protocol::MessageFormat::short_text);
    head.is_mail = 1;
    std::snprintf(head.profile, sizeof head.profile, "%s", profile);
    std::snprintf(head.subject, sizeof head.subject, "a subject");
    std::snprintf(head.receivers, sizeof head.receivers, "a@example.com");
    return in_transport_order(head);
}

std::string totals_of(std::uint32_t messages, std::uint32_t left_out = 0) {
    return in_transport_order(PreviewTotals{.messages = messages, .left_out = left_out});
}

class DeliveriesTest : public testing::Test {
 protected:
    // Answers each request so, and keeps the last one.
    void serve(const std::string& body, Status status = Status::ok) {
        stop();
        service_ = std::make_unique<FakeService>(folder_.path() / "socket", [=, this](int, Peer& peer) {
            while (const auto request = peer.read_frame()) {
                seen_ = *request;
                peer.reply(*request, body, status);
            }
        });
        use_service({.socket = folder_.path() / "socket", .program = {}, .state_folder = {}});
    }
    void stop() {
        use_service({});
        service_.reset();
    }
    void TearDown() override { use_service({}); }

    TemporaryFolder folder_;
    Frame seen_;
    std::unique_ptr<FakeService> service_;
};

TEST_F(DeliveriesTest, TheStateOfTheQueueIsRead) {
    protocol::QueueStateRecord record{.messages = 1,
                                      .most_messages = 2,
                                      .deliveries = 3,
                                      .bytes = 4,
                                      .most_bytes = 5,
                                      .dropped = 6,
                                      .is_degraded = 1,
                                      .degraded_since = 7,
                                      .trouble = "full"};
    serve(in_transport_order(record));
    QueueState state;
    EXPECT_EQ(read_queue_state(state), 0);
    EXPECT_EQ(seen_.header.opcode, 0x4C487U);
    EXPECT_EQ(seen_.header.operation, 1U);
    EXPECT_EQ(state.messages, 1U);
    EXPECT_EQ(state.most_messages, 2U);
    EXPECT_EQ(state.deliveries, 3U);
    EXPECT_EQ(state.bytes, 4U);
    EXPECT_EQ(state.most_bytes, 5U);
    EXPECT_EQ(state.dropped, 6U);
    EXPECT_TRUE(state.is_degraded);
    EXPECT_EQ(state.degraded_since, 7U);
    EXPECT_EQ(state.trouble, "full");
}

TEST_F(DeliveriesTest, AStateWithoutATerminatorEndsWithItsField) {
    protocol::QueueStateRecord record{};
    std::memset(record.trouble, 'x', sizeof record.trouble);
    serve(in_transport_order(record));
    QueueState state;
    EXPECT_EQ(read_queue_state(state), 0);
    EXPECT_EQ(state.trouble, std::string(sizeof record.trouble, 'x'));
}

TEST_F(DeliveriesTest, TheFiguresOfAProfileAreAskedForByItsName) {
    protocol::ProfileStatisticsRecord record{.profile = "ops",
                                             .sent = 1,
                                             .recovered = 2,
                                             .lost = 3,
                                             .waiting = 4,
                                             .since = 5,
                                             .last_success_at = 6,
                                             .last_error_at = 7,
                                             .last_latency = 8,
                                             .mean_latency = 9,
                                             .most_latency = 10,
                                             .last_error = "450 later"};
    serve(in_transport_order(record));
    ProfileStatistics figures;
    EXPECT_EQ(read_profile_statistics("ops", figures), 0);
    EXPECT_EQ(seen_.header.opcode, 0x4C488U);
    EXPECT_STREQ(from_transport_order<protocol::ProfileStatisticsRecord>(seen_.body).profile, "ops");
    EXPECT_EQ(figures.profile, "ops");
    EXPECT_EQ(figures.sent, 1U);
    EXPECT_EQ(figures.recovered, 2U);
    EXPECT_EQ(figures.lost, 3U);
    EXPECT_EQ(figures.waiting, 4U);
    EXPECT_EQ(figures.since, 5U);
    EXPECT_EQ(figures.last_success_at, 6U);
    EXPECT_EQ(figures.last_error_at, 7U);
    EXPECT_EQ(figures.last_latency, 8U);
    EXPECT_EQ(figures.mean_latency, 9U);
    EXPECT_EQ(figures.most_latency, 10U);
    EXPECT_EQ(figures.last_error, "450 later");
}

TEST_F(DeliveriesTest, AProfileThatIsNotThereIsARefusal) {
    serve("", Status::not_found);
    ProfileStatistics figures;
    EXPECT_EQ(read_profile_statistics(std::string(100, 'x'), figures), 0x403B000B);
    EXPECT_EQ(std::string(from_transport_order<protocol::ProfileStatisticsRecord>(seen_.body).profile),
              std::string(31, 'x'));
}

TEST_F(DeliveriesTest, AClearedQueueTellsWhatWasGivenUp) {
    serve(in_transport_order(protocol::ClearQueueRecord{.given_up = 7, .under_way = 2}));
    ClearedQueue cleared{};
    EXPECT_EQ(clear_queue(cleared), 0);
    EXPECT_EQ(seen_.header.opcode, 0x4C489U);
    EXPECT_EQ(seen_.header.operation, 3U);
    EXPECT_EQ(cleared.given_up, 7U);
    EXPECT_EQ(cleared.under_way, 2U);
}

TEST_F(DeliveriesTest, ARefusalToSendAgainBringsItsReason) {
    protocol::ResendRecord record{};
    std::snprintf(record.why_not, sizeof record.why_not, "its text is gone");
    serve(in_transport_order(record), Status::not_sent);
    ResentMessage resent{};
    EXPECT_EQ(resend_message(7, resent), 0x403B001D);
    EXPECT_EQ(from_transport_order<protocol::ResendRecord>(seen_.body).message_id, 7U);
    EXPECT_EQ(seen_.header.opcode, 0x4C48AU);
    EXPECT_EQ(seen_.header.operation, 3U);
    EXPECT_EQ(resent.why_not, "its text is gone");
}

TEST_F(DeliveriesTest, AMessageThatIsSentAgainTellsWhatBecomesOfIt) {
    serve(in_transport_order(protocol::ResendRecord{
        .message_id = 7, .due_now = 1, .under_way = 2, .new_message = 9, .receivers = 3, .why_not = ""}));
    ResentMessage resent{};
    EXPECT_EQ(resend_message(7, resent), 0);
    EXPECT_EQ(resent.due_now, 1U);
    EXPECT_EQ(resent.under_way, 2U);
    EXPECT_EQ(resent.new_message, 9U);
    EXPECT_EQ(resent.receivers, 3U);
    EXPECT_EQ(resent.why_not, "");
}

TEST_F(DeliveriesTest, APreviewIsTakenApart) {
    serve(totals_of(2, 5) + head_of("ops", 8) + "one\ntwo\n" + head_of("second", 0));
    Preview preview;
    EXPECT_EQ(read_preview("test", "ops", preview), 0);
    EXPECT_EQ(seen_.header.opcode, 0x4C48CU);
    const auto key = from_transport_order<protocol::PreviewRequestRecord>(seen_.body);
    EXPECT_STREQ(key.type, "test");
    EXPECT_STREQ(key.profile, "ops");
    EXPECT_EQ(preview.left_out, 5U);
    ASSERT_EQ(preview.messages.size(), 2U);
    EXPECT_EQ(preview.messages[0].profile, "ops");
    EXPECT_EQ(preview.messages[0].format, "short-txt");
    EXPECT_EQ(preview.messages[0].transport, "email");
    EXPECT_EQ(preview.messages[0].receivers, "a@example.com");
    EXPECT_EQ(preview.messages[0].subject, "a subject");
    EXPECT_EQ(preview.messages[0].size, 12U);
    EXPECT_EQ(preview.messages[0].text, "one\ntwo\n");
    EXPECT_EQ(preview.messages[1].profile, "second");
    EXPECT_EQ(preview.messages[1].text, "");
}

TEST_F(DeliveriesTest, APreviewIsReadOnlyWithinWhatCame) {
    const std::string whole = totals_of(1) + head_of("ops", 8) + "one\ntwo\n";
    for (const std::size_t length : {std::size_t{0}, std::size_t{7}, sizeof(PreviewTotals),
                                     sizeof(PreviewTotals) + 100, whole.size() - 1}) {
        serve(whole.substr(0, length));
        Preview preview;
        EXPECT_EQ(read_preview("test", "", preview), -1) << length;
        EXPECT_EQ(errno, EPROTO) << length;
        EXPECT_TRUE(preview.messages.empty()) << length;
    }
    serve(totals_of(0xFFFFFFFF) + head_of("ops", 0xFFFFFFFF) + "x");
    Preview preview;
    EXPECT_EQ(read_preview("test", "", preview), -1);
}

TEST_F(DeliveriesTest, ARefusedPreviewGivesItsReason) {
    serve("nobody takes it", Status::not_sent);
    Preview preview;
    EXPECT_EQ(read_preview("test", "", preview), 0x403B001D);
    EXPECT_EQ(preview.why_not, "nobody takes it");
}

TEST_F(DeliveriesTest, TheNewestMessagesAreWalkedFromWhereTheyBegin) {
    std::vector<std::uint32_t> opcodes;
    service_ = std::make_unique<FakeService>(folder_.path() / "socket", [&](int, Peer& peer) {
        while (const auto request = peer.read_frame()) {
            opcodes.push_back(request->header.opcode);
            if (request->header.opcode == 0x4C48B) {
                EXPECT_EQ(from_transport_order<protocol::MessageTailRecord>(request->body).count, 2U);
                peer.reply(*request,
                           in_transport_order(protocol::MessageTailRecord{.count = 2, .before = 5}));
                continue;
            }
            auto record = from_transport_order<protocol::MessageLogRecord>(request->body);
            EXPECT_GE(record.id, 5U);
            record.id = record.id + 1;
            peer.reply(*request, in_transport_order(record),
                       record.id > 7 ? Status::no_further_entry : Status::ok);
        }
    });
    use_service({.socket = folder_.path() / "socket", .program = {}, .state_folder = {}});
    std::vector<MessageRow> rows;
    EXPECT_EQ(read_messages(rows, 2), 0);
    ASSERT_EQ(rows.size(), 2U);
    EXPECT_EQ(rows[0].id, 6U);
    EXPECT_EQ(rows[1].id, 7U);
    EXPECT_EQ(opcodes.front(), 0x4C48BU);
}

}  // namespace
}  // namespace callhome::platform
