// Clients of every kind, on a real socket. The service runs in a thread of its own.
#include <gtest/gtest.h>

#include <cstring>
#include <thread>

#include "protocol/records/contact.h"
#include "protocol/records/feature.h"
#include "requests/fields.h"
#include "running_server.h"

namespace callhome::service {
namespace {

using protocol::ContactRecord;
using protocol::Opcode;
using protocol::Operation;
using protocol::Status;
using protocol::SwitchRecord;

Bytes get_contact(std::string_view name) {
    ContactRecord record{};
    write_text(record.name, name);
    return frame_of(Opcode::contact_field, Operation::get, record);
}

Bytes send_test_message() {
    protocol::SendMessageRecord record{};
    write_text(record.type, "test");
    return frame_of(Opcode::send_message, Operation::set, record);
}

Bytes get_message_text() {
    return frame_of(Opcode::message_text, Operation::get, protocol::MessageKeyRecord{.id = 1});
}

ServerLimits with_frame_time(std::chrono::milliseconds time) {
    ServerLimits limits;
    limits.frame_time = time;
    return limits;
}

constexpr std::chrono::milliseconds short_time{30};

TEST(Connection, TracesEachAnswerWithItsStatus) {
    RunningServer server;
    SocketClient client(server.socket());
    EXPECT_TRUE(client.ask(get_contact("priority")));
    EXPECT_TRUE(client.ask(get_contact("sysContact")));
    const std::string trace = server.trace();
    const std::string who = "by user " + std::to_string(::getuid()) + ": ";
    EXPECT_NE(trace.find("request: get contact_field " + who + "done, "), std::string::npos) << trace;
    EXPECT_NE(trace.find("request: get contact_field " + who + protocol::text_of(Status::not_found) + ", "),
              std::string::npos)
        << trace;
}

TEST(Connection, TracesALateAnswerWhenItIsThere) {
    RunningServer server;
    SocketClient client(server.socket());
    server.within([&] { server.store().set_enabled(true); });
    client.send(send_test_message());
    while (server.within([] { return fake_messages().unanswered.empty(); })) {
    }
    EXPECT_EQ(server.trace().find("send_message"), std::string::npos);
    server.within([] { fake_messages().unanswered.front()(Status::not_sent, "later"); });
    EXPECT_TRUE(client.receive());
    EXPECT_NE(server.trace().find("request: set send_message "), std::string::npos) << server.trace();
}

TEST(Connection, AnswersARequestAndKeepsWaitingForTheNext) {
    RunningServer server;
    SocketClient client(server.socket());
    for (int request = 0; request < 3; ++request) {
        const auto answer = client.ask(get_contact("priority"));
        ASSERT_TRUE(answer);
        EXPECT_EQ(answer->status(), Status::ok);
        EXPECT_EQ(+answer->header.opcode, 2155U);
        EXPECT_EQ(+answer->header.operation, 1U);
        ContactRecord record{};
        ASSERT_EQ(answer->body.size(), sizeof(record));
        std::memcpy(&record, answer->body.data(), sizeof(record));
        EXPECT_STREQ(record.value, "7");
    }
}

TEST(Connection, ARefusalHasNoBody) {
    RunningServer server;
    SocketClient client(server.socket());
    const auto answer = client.ask(get_contact("siteId"));
    EXPECT_EQ(answer->status(), Status::not_found);
    EXPECT_TRUE(answer->body.empty());
}

TEST(Connection, AFrameMayArriveInTwoPiecesCutAtAnyByte) {
    RunningServer server;
    SocketClient client(server.socket());
    const Bytes frame = get_traps();
    for (std::size_t cut = 0; cut <= frame.size(); ++cut) {
        client.send(std::span(frame).first(cut));
        // An answer on another connection: by then the service has seen the first piece.
        server.expect_well();
        const auto answer = client.ask(std::span(frame).subspan(cut));
        ASSERT_TRUE(answer) << cut;
        EXPECT_EQ(answer->status(), Status::ok) << cut;
    }
}

TEST(Connection, ManyFramesInOnePieceAreAnsweredInOrder) {
    RunningServer server;
    SocketClient client(server.socket());
    Bytes frames;
    constexpr int rounds = 50;
    for (int round = 0; round < rounds; ++round) {
        for (const Bytes& frame : {get_traps(), get_contact("siteId"), get_traps()}) {
            frames.insert(frames.end(), frame.begin(), frame.end());
        }
    }
    std::thread sender([&] { client.send(frames); });
    for (int round = 0; round < rounds; ++round) {
        EXPECT_EQ(+client.receive()->header.opcode, 2188U);
        EXPECT_EQ(client.receive()->status(), Status::not_found);
        EXPECT_EQ(+client.receive()->header.opcode, 2188U);
    }
    sender.join();
}

struct BadHeader {
    const char* why;
    void (*spoil)(protocol::FrameHeader& header);
};

constexpr std::array bad_headers{
    BadHeader{"magic", [](protocol::FrameHeader& header) { header.magic ^= 1U; }},
    BadHeader{"version", [](protocol::FrameHeader& header) { header.version = 2; }},
    BadHeader{"kind", [](protocol::FrameHeader& header) { header.kind = 2; }},
    BadHeader{"status", [](protocol::FrameHeader& header) { header.status = 1; }},
    BadHeader{"length",
              [](protocol::FrameHeader& header) { header.length = protocol::largest_frame_body + 1; }},
};

TEST(Connection, AMalformedFrameEndsItsConnectionAndNoOther) {
    RunningServer server;
    SocketClient other(server.socket());
    ASSERT_TRUE(other.ask(get_traps()));
    for (const BadHeader& bad : bad_headers) {
        auto header = protocol::request_header(2188, 1, 5);
        bad.spoil(header);
        SocketClient client(server.socket());
        EXPECT_FALSE(client.ask(header_of(header))) << bad.why;
    }
    SocketClient client(server.socket());
    EXPECT_FALSE(client.ask(Bytes(5'000, std::byte{0xA5}))) << "garbage";
    ASSERT_TRUE(other.ask(get_traps())) << "the other connection is as before";
}

TEST(Connection, ALengthThatNoRecordHasIsRefusedBeforeItArrives) {
    RunningServer server;
    for (const std::uint32_t length : {6U, 5'000U, protocol::largest_frame_body}) {
        SocketClient client(server.socket());
        const auto answer = client.ask(header_of(protocol::request_header(2188, 1, length)));
        ASSERT_TRUE(answer) << length;
        EXPECT_EQ(answer->status(), Status::malformed_request);
        EXPECT_TRUE(client.receive_bytes(1).empty()) << "then the service hangs up";
    }
    server.expect_well();
}

TEST(Connection, ARecordThatIsTooShortOrUnknownLeavesTheConnectionOpen) {
    RunningServer server;
    SocketClient client(server.socket());
    EXPECT_EQ(client.ask(header_of(protocol::request_header(2188, 1, 0)))->status(),
              Status::malformed_request);
    EXPECT_EQ(client.ask(header_of(protocol::request_header(1, 1, 0)))->status(),
              Status::malformed_request);
    EXPECT_EQ(client.ask(get_traps())->status(), Status::ok);
}

TEST(Connection, HalfAFrameIsWaitedForAsLongAsTheLimitSays) {
    RunningServer server(with_frame_time(short_time));
    const Bytes frame = get_traps();
    for (const std::size_t sent : {std::size_t{1}, sizeof(protocol::FrameHeader), frame.size() - 1}) {
        SocketClient client(server.socket());
        client.send(std::span(frame).first(sent));
        EXPECT_TRUE(client.receive_bytes(1).empty()) << sent;
    }
    server.expect_well();
}

TEST(Connection, DripsDoNotExtendTheTimeOfAFrame) {
    RunningServer server(with_frame_time(short_time));
    SocketClient client(server.socket());
    const Bytes frame = get_contact("priority");
    for (const std::byte& byte : frame) {
        client.send(std::span(&byte, 1));
        // An exchange on another connection: much longer than the limit for the whole of them.
        server.expect_well();
    }
    EXPECT_FALSE(client.receive());
}

TEST(Connection, AnIdleConnectionMayStay) {
    RunningServer server(with_frame_time(short_time));
    SocketClient idle(server.socket());
    ASSERT_TRUE(idle.ask(get_traps()));
    SocketClient late(server.socket());
    late.send(Bytes{std::byte{0x43}});
    ASSERT_TRUE(late.wait_for_hang_up()) << "the limit has passed";
    EXPECT_TRUE(idle.ask(get_traps()));
}

TEST(Connection, AClientThatDoesNotTakeItsReplyIsCutOff) {
    RunningServer server(with_frame_time(short_time));
    server.within([] { fake_messages().text = std::string(4'000'000, 'm'); });
    SocketClient client(server.socket());
    client.keep_small_receive_buffer();
    client.send(get_message_text());
    ASSERT_TRUE(client.wait_for_hang_up());
    EXPECT_LT(client.receive_bytes(4'000'000).size(), 4'000'000U);
    server.expect_well();
}

TEST(Connection, ALongReplyArrivesWholeAndInOrderWithTheNext) {
    RunningServer server;
    const std::string text(4'000'000, 'm');
    server.within([&] { fake_messages().text = text; });
    SocketClient client(server.socket());
    client.send(get_message_text());
    client.send(get_traps());
    const auto answer = client.receive();
    ASSERT_TRUE(answer);
    EXPECT_EQ(answer->body.size(), text.size());
    EXPECT_EQ(+client.receive()->header.opcode, 2188U);
}

TEST(Connection, AClientMayGoAwayAtEachByteOfItsRequest) {
    RunningServer server;
    const Bytes frame = get_traps();
    for (std::size_t sent = 0; sent <= frame.size(); ++sent) {
        SocketClient client(server.socket());
        client.send(std::span(frame).first(sent));
    }
    server.expect_well();
}

TEST(Connection, AClientMayGoAwayAtEachByteOfItsReply) {
    RunningServer server;
    const Bytes frame = get_traps();
    for (std::size_t taken = 0; taken <= sizeof(protocol::FrameHeader) + sizeof(SwitchRecord); ++taken) {
        SocketClient client(server.socket());
        client.send(frame);
        EXPECT_EQ(client.receive_bytes(taken).size(), taken);
    }
    server.expect_well();
}

TEST(Connection, ARequestIsAnsweredToAClientThatSendsNoMore) {
    RunningServer server;
    SocketClient client(server.socket());
    client.send(get_traps());
    client.send_no_more();
    EXPECT_EQ(client.receive()->status(), Status::ok);
    EXPECT_TRUE(client.receive_bytes(1).empty());
}

TEST(Connection, WhoMayNotChangeIsRefused) {
    RunningServer server({}, false);
    SocketClient client(server.socket());
    const SwitchRecord on{.enabled = 1, .trailing_flag = 0};
    EXPECT_EQ(client.ask(frame_of(Opcode::traps, Operation::set, on))->status(), Status::permission_denied);
    EXPECT_EQ(client.ask(get_traps())->status(), Status::ok);
}

class LateAnswerTest : public testing::Test {
 protected:
    LateAnswerTest() {
        server.within([this] { server.store().set_enabled(true); });
    }

    void answer(Status status, const std::string& text) {
        server.within([&] { fake_messages().unanswered.back()(status, text); });
    }
    // The request has come as far as the messages.
    void wait_until_sent(std::size_t count) {
        while (server.within([] { return fake_messages().unanswered.size(); }) < count) {
            std::this_thread::yield();
        }
    }

    RunningServer server;
};

TEST_F(LateAnswerTest, OthersAreServedWhileAMessageIsProcessed) {
    SocketClient sender(server.socket());
    sender.send(send_test_message());
    wait_until_sent(1);
    server.expect_well();
    answer(Status::ok, "Successfully sent\n");
    const auto reply = sender.receive();
    ASSERT_TRUE(reply);
    EXPECT_EQ(reply->status(), Status::ok);
    EXPECT_EQ(+reply->header.opcode, 2157U);
    ASSERT_EQ(reply->body.size(), 2628U);
    EXPECT_STREQ(reinterpret_cast<const char*>(reply->body.data()) + 68, "Successfully sent\n");
}

TEST_F(LateAnswerTest, WhatTheClientSendsMeanwhileIsAnsweredAfterwards) {
    SocketClient sender(server.socket());
    Bytes frames = send_test_message();
    const Bytes second = get_traps();
    frames.insert(frames.end(), second.begin(), second.end());
    sender.send(frames);
    wait_until_sent(1);
    answer(Status::not_sent, "no mail server answers");
    EXPECT_EQ(sender.receive()->status(), Status::not_sent);
    EXPECT_EQ(sender.receive()->header.opcode, 2188U);
}

TEST_F(LateAnswerTest, AnAnswerAtOnceWillDoAsWell) {
    server.within([] { fake_messages().answer = {Status::ok, "Successfully sent"}; });
    SocketClient sender(server.socket());
    EXPECT_EQ(sender.ask(send_test_message())->status(), Status::ok);
    EXPECT_EQ(sender.ask(get_traps())->status(), Status::ok);
}

TEST_F(LateAnswerTest, AnAnswerMayFindItsClientGone) {
    {
        SocketClient sender(server.socket());
        sender.send(send_test_message());
        wait_until_sent(1);
    }
    answer(Status::ok, "Successfully sent");
    server.expect_well();
}

ServerLimits for_few_connections() {
    ServerLimits limits;
    limits.connections_per_user = 2;
    limits.refused_connections = 1;
    limits.refusal_time = short_time;
    return limits;
}

class FloodTest : public testing::Test {
 protected:
    void SetUp() override {
        ASSERT_TRUE(first.ask(get_traps()));
        ASSERT_TRUE(second.ask(get_traps()));
    }

    RunningServer server{for_few_connections()};
    SocketClient first{server.socket()};
    SocketClient second{server.socket()};
};

TEST_F(FloodTest, AConnectionTooManyIsToldSoInAnswerToItsRequest) {
    SocketClient third(server.socket());
    const auto answer = third.ask(get_contact("siteId"));
    ASSERT_TRUE(answer);
    EXPECT_EQ(answer->status(), Status::too_many_connections);
    EXPECT_EQ(+answer->header.opcode, 2155U);
    EXPECT_TRUE(third.receive_bytes(1).empty());
    EXPECT_TRUE(first.ask(get_traps()));
}

TEST_F(FloodTest, ASilentConnectionTooManyIsToldSoAsWell) {
    SocketClient third(server.socket());
    const auto answer = third.receive();
    ASSERT_TRUE(answer);
    EXPECT_EQ(answer->status(), Status::too_many_connections);
    EXPECT_TRUE(third.receive_bytes(1).empty());
}

TEST_F(FloodTest, ManyMoreAreAllDisconnected) {
    std::vector<std::unique_ptr<SocketClient>> flood;
    for (int client = 0; client < 50; ++client) {
        flood.push_back(std::make_unique<SocketClient>(server.socket()));
    }
    for (const auto& client : flood) {
        EXPECT_TRUE(client->wait_for_hang_up());
    }
    EXPECT_TRUE(second.ask(get_traps()));
}

TEST(Server, TheLimitInAllHoldsForEverybody) {
    ServerLimits limits;
    limits.connections = 1;
    RunningServer server(limits);
    SocketClient first(server.socket());
    ASSERT_TRUE(first.ask(get_traps()));
    SocketClient second(server.socket());
    EXPECT_EQ(second.ask(get_traps())->status(), Status::too_many_connections);
}

TEST(Server, AConnectionThatIsGoneMakesRoomForAnother) {
    ServerLimits limits;
    limits.connections_per_user = 1;
    RunningServer server(limits);
    for (int client = 0; client < 5; ++client) {
        SocketClient one(server.socket());
        EXPECT_EQ(one.ask(get_traps())->status(), Status::ok);
        one.send_no_more();
        EXPECT_TRUE(one.receive_bytes(1).empty());
    }
}

TEST(Server, TellsEachTimeTheLastClientHasGone) {
    RunningServer server;
    EXPECT_FALSE(server.has_clients());
    {
        SocketClient one(server.socket());
        SocketClient two(server.socket());
        EXPECT_TRUE(server.has_clients());
        ASSERT_TRUE(one.ask(get_traps()));
        ASSERT_TRUE(two.ask(get_traps()));
        EXPECT_EQ(server.times_empty(), 0);
    }
    while (server.has_clients()) {
        std::this_thread::yield();
    }
    EXPECT_EQ(server.times_empty(), 1);
}

}  // namespace
}  // namespace callhome::service
