#include <map>
#include <set>

#include "protocol/records/signature.h"
#include "requests_fixture.h"

namespace callhome::service {
namespace {

const std::map<Opcode, std::set<int>> answered{
    {Opcode::mail_settings, {1, 3, 4, 5}},
    {Opcode::profile_email, {2, 3, 4, 6}},
    {Opcode::destination_profile, {1, 2, 3, 4, 5, 6}},
    {Opcode::contact_field, {1, 3, 4, 5}},
    {Opcode::feature_state, {1, 3, 5}},
    {Opcode::send_message, {3}},
    {Opcode::alert_group, {2, 3, 4, 6}},
    {Opcode::duplicate_throttle, {1, 3, 5}},
    {Opcode::periodic_inventory, {1, 3, 5}},
    {Opcode::distribution, {1, 3, 5}},
    {Opcode::commit, {1, 3}},
    {Opcode::clear_session, {3}},
    {Opcode::session_state, {1}},
    {Opcode::user_command, {2, 3, 4, 6}},
    {Opcode::traps, {1, 3}},
    {Opcode::profile_url, {2, 3, 4, 6}},
    {Opcode::mail_server, {1, 2, 3, 4, 5, 6}},
    {Opcode::http_vrf, {1, 3, 4, 5}},
    {Opcode::http_proxy, {1, 3, 4, 5}},
    {Opcode::data_privacy, {1, 3}},
    {Opcode::service_info, {1}},
    {Opcode::signature_view, {1}},
    {Opcode::message_statistics, {1}},
    {Opcode::signatures_active, {3}},
    {Opcode::signature_profile, {3, 4}},
    {Opcode::signature_environment, {3, 4}},
    {Opcode::signature_statistics, {3}},
    {Opcode::signature_action, {3}},
    {Opcode::message_log, {2}},
    {Opcode::delivery_log, {2}},
    {Opcode::message_text, {1}},
    {Opcode::post_alert, {3}},
    {Opcode::trace_buffer, {1}},
    {Opcode::memory_statistics, {1}},
    {Opcode::queue_state, {1}},
    {Opcode::profile_statistics, {1}},
    {Opcode::clear_queue, {3}},
    {Opcode::resend_message, {3}},
    {Opcode::message_tail, {1}},
    {Opcode::message_preview, {1}},
};

// Message statistics are cleared by asking for them, and a preview has commands run.
bool changes_something(Opcode opcode, int operation) {
    return opcode == Opcode::message_statistics || opcode == Opcode::message_preview ||
           operation == static_cast<int>(Operation::set) ||
           operation == static_cast<int>(Operation::remove);
}

bool asks_the_pending_copy(int operation) {
    return operation == static_cast<int>(Operation::get_pending) ||
           operation == static_cast<int>(Operation::get_next_pending);
}

bool is_listed(Opcode opcode, int operation) {
    return std::ranges::any_of(request_rows(), [&](const RequestRow& row) {
        return row.opcode == opcode && static_cast<int>(row.operation) == operation;
    });
}

class DispatchTest : public RequestsTest {
 protected:
    Outcome send_zeros(Opcode opcode, int operation) {
        const std::size_t length =
            protocol::find_exchange(static_cast<std::uint32_t>(opcode))->request.size;
        return send(static_cast<std::uint32_t>(opcode), static_cast<std::uint32_t>(operation),
                    std::vector<std::byte>(length));
    }
};

TEST_F(DispatchTest, EachOpcodeHasItsOperationsAndNoOthers) {
    for (const auto& [opcode, operations] : answered) {
        for (int operation = 0; operation <= 7; ++operation) {
            const bool listed = is_listed(opcode, operation);
            EXPECT_EQ(listed, operations.contains(operation))
                << "opcode " << static_cast<int>(opcode) << " operation " << operation;
            if (!listed) {
                EXPECT_EQ(send_zeros(opcode, operation), Status::malformed_request);
            }
        }
    }
}

TEST_F(DispatchTest, EachRowReadsTheRecordOfItsOpcode) {
    for (const RequestRow& row : request_rows()) {
        const auto* exchange = protocol::find_exchange(static_cast<std::uint32_t>(row.opcode));
        ASSERT_NE(exchange, nullptr);
        if (row.record_size != 0) {
            EXPECT_EQ(row.record_size, exchange->request.size);
        }
    }
}

TEST_F(DispatchTest, UnknownOpcodesAreNotUnderstood) {
    for (const std::uint32_t opcode : {0U, 2151U, 2158U, 0x4C485U, 0xFFFFFFFFU}) {
        EXPECT_EQ(send(opcode, 1, {}), Status::malformed_request) << opcode;
    }
}

TEST_F(DispatchTest, WhoMayNotChangeMayStillRead) {
    caller.allowed = false;
    store.set_enabled(true);
    for (const auto& [opcode, operations] : answered) {
        for (const int operation : operations) {
            const Outcome outcome = send_zeros(opcode, operation);
            EXPECT_EQ(outcome == Status::permission_denied, changes_something(opcode, operation))
                << "opcode " << static_cast<int>(opcode) << " operation " << operation;
        }
    }
    EXPECT_TRUE(fake_messages().sent.empty());
    EXPECT_TRUE(configuration().enabled);
}

TEST_F(DispatchTest, ThereIsNoPendingCopyWhileDistributionIsOff) {
    for (const auto& [opcode, operations] : answered) {
        for (const int operation : operations) {
            const Outcome outcome = send_zeros(opcode, operation);
            EXPECT_EQ(outcome == Status::distribution_off,
                      asks_the_pending_copy(operation) || opcode == Opcode::clear_session);
            if (asks_the_pending_copy(operation)) {
                EXPECT_TRUE(reply.body().empty());
            }
        }
    }
}

TEST_F(DispatchTest, ThereIsNoPendingCopyUntilASessionIsOpen) {
    store.set_distribution(true);
    for (const auto& [opcode, operations] : answered) {
        for (const int operation : operations) {
            if (asks_the_pending_copy(operation)) {
                EXPECT_EQ(send_zeros(opcode, operation), Status::no_distribution_session)
                    << "opcode " << static_cast<int>(opcode) << " operation " << operation;
            }
        }
    }
}

TEST_F(DispatchTest, ARecordOfAnotherLengthIsNotUnderstood) {
    for (const RequestRow& row : request_rows()) {
        const auto opcode = static_cast<std::uint32_t>(row.opcode);
        const auto operation = static_cast<std::uint32_t>(row.operation);
        const std::size_t size = protocol::find_exchange(opcode)->request.size;
        for (const std::size_t length : {std::size_t{0}, size - 1, size + 1}) {
            EXPECT_EQ(send(opcode, operation, std::vector<std::byte>(length)), Status::malformed_request);
        }
    }
}

TEST_F(DispatchTest, ATextWithoutItsTerminatorIsNotUnderstood) {
    for (const RequestRow& row : request_rows()) {
        const auto opcode = static_cast<std::uint32_t>(row.opcode);
        const protocol::Layout layout = protocol::find_exchange(opcode)->request;
        for (const protocol::Field& field : layout.fields) {
            if (field.kind != protocol::FieldKind::text) {
                continue;
            }
            std::vector<std::byte> body(layout.size);
            std::fill_n(body.begin() + static_cast<std::ptrdiff_t>(field.offset), field.size,
                        std::byte{'x'});
            EXPECT_EQ(send(opcode, static_cast<std::uint32_t>(row.operation), body),
                      Status::malformed_request)
                << opcode << " " << field.name;
        }
    }
}

TEST_F(DispatchTest, AChangeThatCannotBeStoredIsRefusedAndNotMade) {
    database.connection().exec("PRAGMA query_only = ON");
    const protocol::SwitchRecord on{.enabled = 1, .trailing_flag = 0};
    EXPECT_EQ(send(Opcode::traps, Operation::set, on), Status::storage_failed);
    EXPECT_FALSE(configuration().traps_enabled);
    EXPECT_TRUE(database.health().is_degraded());
    database.connection().exec("PRAGMA query_only = OFF");
    EXPECT_EQ(send(Opcode::traps, Operation::set, on), Status::ok);
}

TEST_F(DispatchTest, WhatCannotBeReadIsNotSaidToBeAChange) {
    database.connection().exec("DROP TABLE message_statistics");
    EXPECT_EQ(send(Opcode::service_info, Operation::get,
                   protocol::ServiceInfoRequest{
                       .info_type = static_cast<std::uint32_t>(protocol::ServiceInfo::queue)}),
              Status::storage_unreadable);
    EXPECT_TRUE(database.health().is_degraded());
}

TEST_F(DispatchTest, NothingLongerThanTheOpcodeSRecordNeedBeReceived) {
    EXPECT_EQ(longest_request(static_cast<std::uint32_t>(Opcode::traps)), 5U);
    EXPECT_EQ(longest_request(static_cast<std::uint32_t>(Opcode::contact_field)), 2305U);
    EXPECT_EQ(longest_request(1), longest_record);
}

TEST_F(DispatchTest, AReplyLeavesInTheTransportSByteOrder) {
    store.set_traps_enabled(true);
    const auto header = protocol::request_header(static_cast<std::uint32_t>(Opcode::traps), 1, 5);
    ASSERT_EQ(send(Opcode::traps, Operation::get, protocol::SwitchRecord{}), Status::ok);
    const auto frame = reply.seal(header, Status::ok);
    ASSERT_EQ(frame.size(), sizeof(protocol::FrameHeader) + sizeof(protocol::SwitchRecord));
    const auto body = frame.subspan(sizeof(protocol::FrameHeader));
    EXPECT_EQ(body[0], std::byte{0});
    EXPECT_EQ(body[3], std::byte{1});
}

}  // namespace
}  // namespace callhome::service
