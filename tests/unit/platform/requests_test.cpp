// The requests that the platform makes by itself: alerts, the system contact, the record of messages.
#include <gtest/gtest.h>

#include <cerrno>
#include <cstring>
#include <map>

#include "fake_service.h"
#include "platform/reference.h"
#include "protocol/records/contact.h"
#include "protocol/records/distribution.h"
#include "protocol/records/feature.h"
#include "protocol/records/message.h"
#include "service_link.h"
#include "temporary_folder.h"
#include "transport_order.h"

namespace callhome::platform {
namespace {

using protocol::DeliveryLogRecord;
using protocol::MessageLogRecord;
using protocol::Status;
using test::FakeService;
using test::Frame;
using test::from_transport_order;
using test::in_transport_order;
using test::Peer;

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
    EXPECT_EQ(record.severity, 0xFFFFFFFFU) << "its name says it";
}

TEST_F(RequestsTest, AnAlertOfTheSystemLogCarriesItsSeverity) {
    Frame seen;
    serve([&](const Frame& request, Peer& peer) {
        seen = request;
        peer.reply(request, "Successfully sent to a@example.com\n", Status::not_sent);
    });
    EXPECT_EQ(::ch_post_syslog_alert(0, "ethport", 2, "link down"), static_cast<int>(Status::not_sent));
    EXPECT_EQ(seen.header.opcode, 0x4C483U);
    EXPECT_EQ(seen.header.operation, 3U);
    const auto record = from_transport_order<protocol::AlertRecord>(seen.body);
    EXPECT_STREQ(record.alert, "SYSLOG_ALERT");
    EXPECT_STREQ(record.source, "ethport");
    EXPECT_STREQ(record.text, "link down");
    EXPECT_EQ(record.severity, 2U);
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
    EXPECT_EQ(::ch_post_syslog_alert(0, nullptr, 0, nullptr), -1);
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
                            .last_result = "450 try later",
                            .profile = "ops"};
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
    EXPECT_EQ(rows[0].profile, "ops");
}

TEST_F(RequestsTest, TheQueueIsWhatWaits) {
    DeliveryLogRecord entry{};
    entry.id = 5;
    entry.state = 1;
    std::memset(entry.profile, 'p', sizeof entry.profile);
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
    EXPECT_EQ(rows[0].profile, std::string(32, 'p')) << "the terminator is missing";
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

protocol::SessionRecord session_of(const char* owner) {
    protocol::SessionRecord record{};
    record.is_open = 1;
    record.opened_at = 86'400 * 2;
    std::snprintf(record.owner, sizeof record.owner, "%s", owner);
    return record;
}

TEST_F(RequestsTest, TheSystemContactIsReadOrThereIsNone) {
    bool is_set = true;
    serve([&](const Frame& request, Peer& peer) {
        EXPECT_EQ(request.header.opcode, 2155U);
        EXPECT_EQ(request.header.operation, 1U);
        EXPECT_STREQ(from_transport_order<protocol::ContactRecord>(request.body).name, "sysContact");
        protocol::ContactRecord record{};
        std::snprintf(record.value, sizeof record.value, "Ada, room 4");
        peer.reply(request, is_set ? in_transport_order(record) : "",
                   is_set ? Status::ok : Status::not_found);
    });
    std::optional<std::string> contact;
    EXPECT_EQ(read_system_contact(contact), 0);
    EXPECT_EQ(contact, "Ada, room 4");
    is_set = false;
    EXPECT_EQ(read_system_contact(contact), 0);
    EXPECT_EQ(contact, std::nullopt);
}

TEST_F(RequestsTest, TrapsAndDistributionAreOnOffOrNotToBeRead) {
    std::uint32_t opcode = 0;
    std::uint32_t enabled = 1;
    Status status = Status::ok;
    serve([&](const Frame& request, Peer& peer) {
        opcode = request.header.opcode;
        const protocol::SwitchRecord record{.enabled = enabled, .trailing_flag = 0};
        peer.reply(request, in_transport_order(record).substr(0, request.body.size()), status);
    });
    bool is_on = false;
    EXPECT_EQ(read_traps(is_on), 0);
    EXPECT_TRUE(is_on);
    EXPECT_EQ(opcode, 2188U);
    EXPECT_EQ(read_distribution(is_on), 0);
    EXPECT_TRUE(is_on);
    EXPECT_EQ(opcode, 2177U);
    enabled = 0;
    EXPECT_EQ(read_traps(is_on), 0);
    EXPECT_FALSE(is_on);
    status = Status::not_found;
    EXPECT_EQ(read_distribution(is_on), 0) << "a service may not know distribution";
    status = Status::permission_denied;
    EXPECT_EQ(read_distribution(is_on), static_cast<ServiceStatus>(Status::permission_denied));
}

TEST_F(RequestsTest, WhetherThereIsAPendingCopyIsAskedOfThePendingCopy) {
    serve([&](const Frame& request, Peer& peer) {
        EXPECT_EQ(request.header.operation, 5U);
        peer.reply(request, "", Status::no_distribution_session);
    });
    EXPECT_EQ(check_pending_copy(), static_cast<ServiceStatus>(Status::no_distribution_session));
}

TEST_F(RequestsTest, ASessionIsToldInWords) {
    protocol::SessionRecord record = session_of("ada");
    record.last_action = 4;
    record.last_result = 3;
    record.last_cause = static_cast<std::uint32_t>(Status::no_destination);
    record.last_at = 7;
    std::snprintf(record.last_user, sizeof record.last_user, "bob");
    serve([&](const Frame& request, Peer& peer) {
        EXPECT_EQ(request.header.opcode, 0x4C484U);
        peer.reply(request, in_transport_order(record));
    });
    SessionState state;
    EXPECT_EQ(read_session(state), 0);
    EXPECT_TRUE(state.is_open);
    EXPECT_EQ(state.owner, "ada");
    EXPECT_EQ(state.opened_at, 172'800U);
    EXPECT_EQ(state.last_action, "commit");
    EXPECT_EQ(state.last_result, "fail");
    EXPECT_EQ(state.last_cause, "No destination profile has an address to send messages to");
    EXPECT_EQ(state.last_at, 7U);
    EXPECT_EQ(state.last_user, "bob");
    record = {};
    record.last_result = 1;
    EXPECT_EQ(read_session(state), 0);
    EXPECT_FALSE(state.is_open);
    EXPECT_EQ(state.last_action + "," + state.last_result + "," + state.last_cause, "none,none,");
}

constexpr std::int32_t session_locked = 0x403B0035;

TEST_F(RequestsTest, ALockedSessionIsSomebodys) {
    serve([&](const Frame& request, Peer& peer) {
        peer.reply(request, in_transport_order(session_of("ad\x1b[31ma")));
    });
    EXPECT_EQ(std::string(::sys_err_to_str(session_locked)),
              "The distribution session is locked by ad\\x1b[31ma since " + local_time_text(172'800) +
                  "; wait until it is committed, or drop it with \"clear callhome session\"");
}

TEST_F(RequestsTest, ALockedSessionIsNobodysWhenTheServiceCannotSay) {
    const std::string plain = "The distribution session is locked by another switch or user";
    protocol::SessionRecord record = session_of("");
    Status status = Status::ok;
    serve(
        [&](const Frame& request, Peer& peer) { peer.reply(request, in_transport_order(record), status); });
    EXPECT_EQ(::sys_err_to_str(session_locked), plain);
    record = session_of("ada");
    record.is_open = 0;
    EXPECT_EQ(::sys_err_to_str(session_locked), plain);
    record.is_open = 1;
    status = Status::malformed_request;
    EXPECT_EQ(::sys_err_to_str(session_locked), plain);
}

TEST_F(RequestsTest, ALockedSessionIsNobodysWithoutAService) {
    EXPECT_STREQ(::sys_err_to_str(session_locked),
                 "The distribution session is locked by another switch or user");
}

}  // namespace
}  // namespace callhome::platform
