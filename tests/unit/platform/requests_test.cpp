// The requests that the platform makes by itself: alerts, the system contact, the record of messages.
#include <gtest/gtest.h>

#include <cerrno>
#include <cstring>
#include <map>

#include "fake_service.h"
#include "platform/reference.h"
#include "protocol/layout.h"
#include "protocol/records/contact.h"
#include "protocol/records/message.h"
#include "service_link.h"
#include "temporary_folder.h"

namespace callhome::platform {
namespace {

using protocol::DeliveryLogRecord;
using protocol::MessageLogRecord;
using protocol::Status;
using test::FakeService;
using test::Frame;
using test::Peer;

template <typename Record>
std::string in_transport_order(Record record) {
    const auto bytes = std::as_writable_bytes(std::span(&record, 1));
    protocol::convert_byte_order(bytes, protocol::layout_of<Record>());
    return {reinterpret_cast<const char*>(bytes.data()), bytes.size()};
}

template <typename Record>
Record from_transport_order(std::string text) {
    Record record{};
    const auto bytes = std::as_writable_bytes(std::span(text));
    protocol::convert_byte_order(bytes, protocol::layout_of<Record>());
    EXPECT_EQ(text.size(), sizeof record);
    std::memcpy(&record, text.data(), std::min(text.size(), sizeof record));
    return record;
}

class RequestsTest : public testing::Test {
 protected:
    // Answers each request as `answer` does.
    void serve(const std::function<void(const Frame&, Peer&)>& answer) {
        service_ = std::make_unique<FakeService>(folder_.path() / "socket", [answer](int, Peer& peer) {
            while (const auto request = peer.read_frame()) {
                answer(*request, peer);
            }
        });
        use_service({.socket = folder_.path() / "socket", .program = {}, .state_folder = {}});
    }
    void TearDown() override { use_service({}); }

    TemporaryFolder folder_;
    std::unique_ptr<FakeService> service_;
};

TEST_F(RequestsTest, AnAlertCarriesItsTextsAndBringsBackTheOutcome) {
    Frame seen;
    serve([&](const Frame& request, Peer& peer) {
        seen = request;
        peer.reply(request, "Successfully sent to a@example.com\n");
    });
    AlertResult result;
    EXPECT_EQ(::ch_post_alert(0, "SUP_FAILURE", "system manager", "a test", &result), 0);
    EXPECT_EQ(result.status, 0);
    EXPECT_STREQ(result.text, "Successfully sent to a@example.com\n");
    EXPECT_EQ(seen.header.opcode, 0x4C483U);
    EXPECT_EQ(seen.header.operation, 3U);
    const auto record = from_transport_order<protocol::AlertRecord>(seen.body);
    EXPECT_STREQ(record.alert, "SUP_FAILURE");
    EXPECT_STREQ(record.source, "system manager");
    EXPECT_STREQ(record.text, "a test");
}

TEST_F(RequestsTest, AnAlertsOverlongTextsAreCutToTheirFields) {
    Frame seen;
    const std::string overlong(100'000, 'x');
    serve([&](const Frame& request, Peer& peer) {
        seen = request;
        peer.reply(request, overlong, Status::not_sent);
    });
    AlertResult result;
    EXPECT_EQ(::ch_post_alert(0, overlong.c_str(), overlong.c_str(), overlong.c_str(), &result),
              0x403B001D);
    EXPECT_EQ(result.status, 0x403B001D);
    EXPECT_EQ(std::string(result.text), overlong.substr(0, sizeof result.text - 1));
    const auto record = from_transport_order<protocol::AlertRecord>(seen.body);
    EXPECT_EQ(std::string(record.alert), overlong.substr(0, 63));
    EXPECT_EQ(std::string(record.source), overlong.substr(0, 255));
    EXPECT_EQ(std::string(record.text), overlong.substr(0, 2047));
}

TEST_F(RequestsTest, AnAlertWithoutAServiceFails) {
    AlertResult result{};
    EXPECT_EQ(::ch_post_alert(0, nullptr, nullptr, nullptr, &result), -1);
    EXPECT_EQ(errno, ENOENT);
    EXPECT_EQ(result.status, -1);
    EXPECT_STREQ(result.text, "");
    EXPECT_EQ(::ch_post_alert(0, "a", "b", "c", nullptr), -1);
}

TEST_F(RequestsTest, TheSystemContactIsSetAndRemovedByItsName) {
    std::vector<Frame> seen;
    serve([&](const Frame& request, Peer& peer) {
        seen.push_back(request);
        peer.reply(request, "");
    });
    EXPECT_EQ(set_system_contact("network operations"), 0);
    EXPECT_EQ(set_system_contact(std::nullopt), 0);
    ASSERT_EQ(seen.size(), 2U);
    const auto set = from_transport_order<protocol::ContactRecord>(seen[0].body);
    EXPECT_EQ(seen[0].header.opcode, 2155U);
    EXPECT_EQ(seen[0].header.operation, 3U);
    EXPECT_STREQ(set.name, "sysContact");
    EXPECT_STREQ(set.value, "network operations");
    const auto removed = from_transport_order<protocol::ContactRecord>(seen[1].body);
    EXPECT_EQ(seen[1].header.operation, 4U);
    EXPECT_STREQ(removed.name, "sysContact");
    EXPECT_STREQ(removed.value, "");
}

TEST_F(RequestsTest, ARefusedContactIsReported) {
    serve([](const Frame& request, Peer& peer) { peer.reply(request, "", Status::permission_denied); });
    EXPECT_EQ(set_system_contact("x"), 0x403B0010);
}

// Answers a walk over the entries by id.
template <typename Record>
auto walking(const std::map<std::uint32_t, Record>& entries) {
    return [entries](const Frame& request, Peer& peer) {
        EXPECT_EQ(request.header.operation, 2U);
        const auto key = from_transport_order<Record>(request.body);
        const auto next = entries.upper_bound(key.id);
        if (next == entries.end()) {
            return peer.reply(request, "", Status::no_further_entry);
        }
        peer.reply(request, in_transport_order(next->second));
    };
}

TEST_F(RequestsTest, MessagesAreReadToTheEndOfTheList) {
    MessageLogRecord first{.id = 3,
                           .recorded_at = 1700000000,
                           .size = 412,
                           .format = 2,
                           .waiting = 1,
                           .delivered = 2,
                           .failed = 4,
                           .type = "test",
                           .profile = "full_txt",
                           .subject = "A test"};
    MessageLogRecord second{.id = 0x80000000,
                            .recorded_at = 0,
                            .size = 0,
                            .format = 9,
                            .waiting = 0,
                            .delivered = 0,
                            .failed = 0,
                            .type = "",
                            .profile = "",
                            .subject = ""};
    std::memset(second.type, 'x', sizeof second.type);
    serve(walking<MessageLogRecord>({{3, first}, {0x80000000, second}}));
    std::vector<MessageRow> rows;
    EXPECT_EQ(read_messages(rows), 0);
    ASSERT_EQ(rows.size(), 2U);
    EXPECT_EQ(rows[0].id, 3U);
    EXPECT_EQ(rows[0].recorded_at, 1700000000U);
    EXPECT_EQ(rows[0].size, 412U);
    EXPECT_EQ(rows[0].waiting, 1U);
    EXPECT_EQ(rows[0].delivered, 2U);
    EXPECT_EQ(rows[0].failed, 4U);
    EXPECT_EQ(rows[0].format, "full-txt");
    EXPECT_EQ(rows[0].type, "test");
    EXPECT_EQ(rows[0].profile, "full_txt");
    EXPECT_EQ(rows[0].subject, "A test");
    EXPECT_EQ(rows[1].id, 0x80000000U);
    EXPECT_EQ(rows[1].format, "9") << "a format of a newer service";
    EXPECT_EQ(rows[1].type, std::string(64, 'x')) << "the terminator is missing";
}

TEST_F(RequestsTest, AnEmptyListIsASuccess) {
    serve(walking<MessageLogRecord>({}));
    std::vector<MessageRow> rows;
    EXPECT_EQ(read_messages(rows), 0);
    EXPECT_TRUE(rows.empty());
}

TEST_F(RequestsTest, TheReceiversOfOneMessageAreAskedForByItsId) {
    DeliveryLogRecord entry{.id = 5,
                            .message_id = 3,
                            .state = 1,
                            .attempts = 2,
                            .next_attempt_at = 60,
                            .last_attempt_at = 30,
                            .receiver = "a@example.com",
                            .last_result = "450 try later"};
    serve([entry](const Frame& request, Peer& peer) {
        EXPECT_EQ(from_transport_order<DeliveryLogRecord>(request.body).message_id, 3U);
        walking<DeliveryLogRecord>({{5, entry}})(request, peer);
    });
    std::vector<DeliveryRow> rows;
    EXPECT_EQ(read_deliveries(3, rows), 0);
    ASSERT_EQ(rows.size(), 1U);
    EXPECT_EQ(rows[0].id, 5U);
    EXPECT_EQ(rows[0].message_id, 3U);
    EXPECT_EQ(rows[0].state, "waiting");
    EXPECT_EQ(rows[0].attempts, 2U);
    EXPECT_EQ(rows[0].next_attempt_at, 60U);
    EXPECT_EQ(rows[0].last_attempt_at, 30U);
    EXPECT_EQ(rows[0].receiver, "a@example.com");
    EXPECT_EQ(rows[0].last_result, "450 try later");
}

TEST_F(RequestsTest, TheQueueIsWhatWaits) {
    DeliveryLogRecord entry{};
    entry.id = 5;
    entry.state = 1;
    serve([entry](const Frame& request, Peer& peer) {
        const auto key = from_transport_order<DeliveryLogRecord>(request.body);
        EXPECT_EQ(key.message_id, 0U);
        EXPECT_EQ(key.state, 1U);
        walking<DeliveryLogRecord>({{5, entry}})(request, peer);
    });
    std::vector<DeliveryRow> rows;
    EXPECT_EQ(read_queue(rows), 0);
    ASSERT_EQ(rows.size(), 1U);
    EXPECT_EQ(rows[0].state, "waiting");
}

TEST_F(RequestsTest, AListThatGoesRoundInCirclesIsGivenUp) {
    serve([](const Frame& request, Peer& peer) {
        MessageLogRecord same{};
        same.id = 1;
        peer.reply(request, in_transport_order(same));
    });
    std::vector<MessageRow> rows;
    EXPECT_EQ(read_messages(rows), -1);
    EXPECT_EQ(errno, EPROTO);
    EXPECT_EQ(rows.size(), 1U);
}

TEST_F(RequestsTest, AnEntryWithoutBytesEndsTheWalkAsGarbage) {
    serve([](const Frame& request, Peer& peer) { peer.reply(request, ""); });
    std::vector<DeliveryRow> rows;
    EXPECT_EQ(read_deliveries(1, rows), -1);
    EXPECT_EQ(errno, EPROTO);
}

TEST_F(RequestsTest, AMessageIsReadWhole) {
    const std::string mail = "Subject: a test\r\n\r\n" + std::string(100'000, 'x');
    serve([&](const Frame& request, Peer& peer) {
        EXPECT_EQ(request.body, std::string("\0\0\0\7", 4));
        peer.reply(request, mail);
    });
    std::string text;
    EXPECT_EQ(read_message_text(7, text), 0);
    EXPECT_EQ(text, mail);
}

TEST_F(RequestsTest, AMessageThatIsNotThereIsARefusal) {
    serve([](const Frame& request, Peer& peer) { peer.reply(request, "", Status::not_found); });
    std::string text = "unchanged";
    EXPECT_EQ(read_message_text(7, text), 0x403B000B);
    EXPECT_EQ(text, "unchanged");
}

}  // namespace
}  // namespace callhome::platform
