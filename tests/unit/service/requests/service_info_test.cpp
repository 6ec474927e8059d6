#include <sqlite3.h>

#include <array>

#include <fmt/format.h>

#include "delivery/queue.h"
#include "protocol/records/signature.h"
#include "requests_fixture.h"

namespace callhome::service {
namespace {

using protocol::DeliveryState;
using protocol::ServiceInfo;

class ServiceInfoTest : public RequestsTest {
 protected:
    std::string info(ServiceInfo type) {
        EXPECT_EQ(send(Opcode::service_info, Operation::get,
                       protocol::ServiceInfoRequest{.info_type = static_cast<std::uint32_t>(type)}),
                  Status::ok);
        return reply_text();
    }
    // What stands behind "NAME:" on its line.
    std::string value_of(ServiceInfo type, const std::string& name) {
        const std::string text = fmt::format("\n{}", info(type));
        const std::size_t line = text.find(fmt::format("\n{}:", name));
        if (line == std::string::npos) {
            return "no line " + name;
        }
        const std::size_t value = text.find_first_not_of(' ', line + name.size() + 2);
        return text.substr(value, text.find('\n', value) - value);
    }

    // Deliveries that end so.
    void deliver(DeliveryState state, int count) {
        for (int i = 0; i < count; ++i) {
            NewMessage message;
            message.receivers = {"ada@example.net"};
            const auto ids = queue.record(std::span(&message, 1), {now, 0}, 1000).deliveries;
            DeliveryUpdate update;
            update.id = ids.front().front();
            update.state = state;
            update.next_attempt_at = now + 60;
            queue.update(std::span(&update, 1));
        }
    }
    std::uint32_t clear(std::uint32_t counters) {
        return ask(Opcode::message_statistics, Operation::get,
                   protocol::MsgStatsClearRecord{.counters = counters, .status = 99})
            .record.value()
            .status;
    }

    Queue queue{database};
};

TEST_F(ServiceInfoTest, EveryTypeHasLinesAndNoOtherTypeIsKnown) {
    for (const auto type :
         {ServiceInfo::version, ServiceInfo::state, ServiceInfo::connections, ServiceInfo::queue,
          ServiceInfo::store, ServiceInfo::memory, ServiceInfo::configuration, ServiceInfo::licences}) {
        EXPECT_TRUE(info(type).ends_with('\n')) << static_cast<std::uint32_t>(type);
    }
    for (const std::uint32_t type : {0U, 1U, 8U, 0x00FFFFFFU, 0x01000001U, 0x09000000U, 0xFFFFFFFFU}) {
        EXPECT_EQ(
            send(Opcode::service_info, Operation::get, protocol::ServiceInfoRequest{.info_type = type}),
            Status::malformed_request);
    }
}

TEST_F(ServiceInfoTest, TheVersionIsThatOfTheService) {
    EXPECT_EQ(value_of(ServiceInfo::version, "Service"), "callhomed 1.2.3");
    EXPECT_EQ(value_of(ServiceInfo::version, "Database schema"), "3");
}

TEST_F(ServiceInfoTest, TheStateFollowsWhatIsSwitchedOn) {
    EXPECT_EQ(value_of(ServiceInfo::state, "Call home"), "disabled");
    EXPECT_EQ(value_of(ServiceInfo::state, "Process"), std::to_string(::getpid()));
    store.set_enabled(true);
    catalogue.set_active(true);
    catalogue.load({{plain_signature(7), "seven"}, {plain_signature(8), "eight"}});
    catalogue.install(7, {});
    EXPECT_EQ(value_of(ServiceInfo::state, "Call home"), "enabled");
    EXPECT_EQ(value_of(ServiceInfo::state, "Diagnostic signatures"), "enabled");
    EXPECT_EQ(value_of(ServiceInfo::state, "Signatures loaded"), "2");
    EXPECT_EQ(value_of(ServiceInfo::state, "Signatures installed"), "1");
}

TEST_F(ServiceInfoTest, TheStateSaysWhatIsWrongWithTheStorage) {
    EXPECT_EQ(value_of(ServiceInfo::state, "State"), "in order");
    database.health().failed(SQLite::Exception("database or disk is full", SQLITE_FULL));
    const std::string state = value_of(ServiceInfo::state, "State");
    EXPECT_TRUE(state.starts_with("degraded since 20")) << state;
    EXPECT_TRUE(state.ends_with(": the database fails: database or disk is full; make room on its disk"))
        << state;
    database.health().works(Trouble::database);
    EXPECT_EQ(value_of(ServiceInfo::state, "State"), "in order");
}

TEST_F(ServiceInfoTest, ConnectionsAreCountedByUser) {
    facts.clients = [] {
        return ClientFacts{.connections = {{0, 1}, {1000, 3}}, .most_of_a_user = 32, .most = 256};
    };
    EXPECT_EQ(value_of(ServiceInfo::connections, "Connections"), "4");
    EXPECT_EQ(value_of(ServiceInfo::connections, "  of user 1000"), "3");
    EXPECT_EQ(value_of(ServiceInfo::connections, "Most of a user"), "32");
    EXPECT_EQ(value_of(ServiceInfo::connections, "Most in all"), "256");
}

TEST_F(ServiceInfoTest, TheQueueIsCounted) {
    deliver(DeliveryState::waiting, 2);
    deliver(DeliveryState::delivered, 3);
    deliver(DeliveryState::failed, 1);
    fake_messages().duplicates = 17;
    EXPECT_EQ(value_of(ServiceInfo::queue, "Duplicates not sent"), "17");
    EXPECT_EQ(value_of(ServiceInfo::queue, "Messages kept"), "6");
    EXPECT_EQ(value_of(ServiceInfo::queue, "Deliveries waiting"), "2");
    EXPECT_EQ(value_of(ServiceInfo::queue, "Deliveries done"), "3");
    EXPECT_EQ(value_of(ServiceInfo::queue, "Deliveries given up"), "1");
    EXPECT_TRUE(value_of(ServiceInfo::queue, "Sent").starts_with("3 since "));
    EXPECT_TRUE(value_of(ServiceInfo::queue, "Failed").starts_with("1 since "));
    EXPECT_EQ(value_of(ServiceInfo::queue, "Dropped from a full queue"), "0");
}

TEST_F(ServiceInfoTest, TheCountersOfMessagesAreClearedOneByOneAndCountOn) {
    deliver(DeliveryState::delivered, 3);
    deliver(DeliveryState::failed, 2);
    EXPECT_EQ(clear(1), 0U);
    EXPECT_TRUE(value_of(ServiceInfo::queue, "Sent").starts_with("0 since "));
    EXPECT_TRUE(value_of(ServiceInfo::queue, "Failed").starts_with("2 since "));
    EXPECT_EQ(clear(2), 0U);
    EXPECT_TRUE(value_of(ServiceInfo::queue, "Failed").starts_with("0 since "));
    deliver(DeliveryState::delivered, 1);
    EXPECT_TRUE(value_of(ServiceInfo::queue, "Sent").starts_with("1 since "));
    EXPECT_EQ(value_of(ServiceInfo::queue, "Deliveries done"), "4");
}

TEST_F(ServiceInfoTest, OtherCountersThanThoseTwoAreAnInvalidParameter) {
    EXPECT_EQ(clear(0), static_cast<std::uint32_t>(protocol::ResultCode::parameter_invalid));
    EXPECT_EQ(clear(3), static_cast<std::uint32_t>(protocol::ResultCode::parameter_invalid));
}

TEST_F(ServiceInfoTest, ADeliveryThatWaitsOnIsNotCounted) {
    deliver(DeliveryState::waiting, 1);
    EXPECT_TRUE(value_of(ServiceInfo::queue, "Sent").starts_with("0 since "));
}

TEST_F(ServiceInfoTest, CountersOutliveARestart) {
    deliver(DeliveryState::delivered, 2);
    const MessageStatistics again(database);
    EXPECT_EQ(again.of(DeliveryState::delivered).count, 2U);
}

TEST_F(ServiceInfoTest, TheStoreTellsItsFileAndSize) {
    facts.database_file = folder / "callhome.db";
    EXPECT_EQ(value_of(ServiceInfo::store, "File"), (folder / "callhome.db").string());
    EXPECT_TRUE(value_of(ServiceInfo::store, "Size").ends_with(" bytes"));
}

TEST_F(ServiceInfoTest, APercentSignStandsTwice) {
    facts.database_file = folder / "callhome.db";
    EXPECT_TRUE(value_of(ServiceInfo::store, "Disk").ends_with("%% free"));
    catalogue.set_profile("50%s");
    EXPECT_EQ(value_of(ServiceInfo::configuration, "Signature profile"), "50%%s");
}

TEST_F(ServiceInfoTest, MemoryIsWhatTheSystemSaysOfThisProcess) {
    EXPECT_TRUE(value_of(ServiceInfo::memory, "Resident").ends_with(" kB"));
    EXPECT_GE(std::stoi(value_of(ServiceInfo::memory, "Threads")), 1);
}

TEST_F(ServiceInfoTest, TheConfigurationIsSummedUp) {
    store.effective().add_address(AddressKind::email, "full_txt", "ada@example.net");
    store.effective().add_address(AddressKind::url, "full_txt", "https://a.example/");
    EXPECT_EQ(value_of(ServiceInfo::configuration, "Destination profiles"), "3");
    EXPECT_EQ(value_of(ServiceInfo::configuration, "Addresses"), "2");
    EXPECT_EQ(value_of(ServiceInfo::configuration, "Duplicate throttling"), "enabled");
    EXPECT_EQ(value_of(ServiceInfo::configuration, "HTTP proxy"), "none");
}

TEST_F(ServiceInfoTest, EveryLibraryHasItsLicence) {
    EXPECT_EQ(value_of(ServiceInfo::licences, "SQLite"), "public domain");
    EXPECT_EQ(value_of(ServiceInfo::licences, "libcurl"), "curl (MIT-like)");
}

}  // namespace
}  // namespace callhome::service
