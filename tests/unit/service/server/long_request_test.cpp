// Requests that are longer than what a connection receives at a time.
#include <gtest/gtest.h>

#include <algorithm>

#include "protocol/records/signature.h"
#include "running_server.h"

namespace callhome::service {
namespace {

using protocol::Opcode;
using protocol::Operation;
using protocol::Status;
using protocol::SwitchRecord;

// Answers to as many questions as a signature may ask.
Bytes longest_answers() {
    protocol::DsActionRecord record{};
    record.action = static_cast<std::uint32_t>(protocol::SignatureAction::install_answers);
    record.ds_id = 7;
    record.entry_count = protocol::most_questions;
    Bytes frame = frame_of(Opcode::signature_action, Operation::set, record);
    frame.resize(frame.size() + protocol::all_questions_size);
    const auto header = protocol::encode(protocol::request_header(
        static_cast<std::uint32_t>(Opcode::signature_action), static_cast<std::uint32_t>(Operation::set),
        static_cast<std::uint32_t>(frame.size() - sizeof(protocol::FrameHeader))));
    std::ranges::copy(header, frame.begin());
    return frame;
}

TEST(Connection, TheLongestRequestArrivesWholeAmongOthers) {
    RunningServer server;
    SocketClient client(server.socket());
    const Bytes before_and_behind = get_traps();
    Bytes frames = before_and_behind;
    const Bytes longest = longest_answers();
    ASSERT_EQ(longest.size(), sizeof(protocol::FrameHeader) + 217 + 25'600);
    frames.insert(frames.end(), longest.begin(), longest.end());
    frames.insert(frames.end(), before_and_behind.begin(), before_and_behind.end());
    for (int round = 0; round < 2; ++round) {
        client.send(frames);
        EXPECT_EQ(client.receive()->body.size(), sizeof(SwitchRecord));
        const auto answer = client.receive();
        ASSERT_TRUE(answer);
        EXPECT_EQ(answer->status(), Status::ok);
        EXPECT_EQ(answer->body.size(), 217U + 25'600U);
        EXPECT_EQ(client.receive()->body.size(), sizeof(SwitchRecord));
    }
}

TEST(Connection, ALongRequestMayArriveInPieces) {
    RunningServer server;
    SocketClient client(server.socket());
    const Bytes longest = longest_answers();
    const std::span whole(longest);
    constexpr std::size_t piece = 1'000;
    for (std::size_t at = 0; at < whole.size(); at += piece) {
        client.send(whole.subspan(at, std::min(piece, whole.size() - at)));
    }
    EXPECT_EQ(client.receive()->status(), Status::ok);
    EXPECT_EQ(client.ask(get_traps())->status(), Status::ok);
}

TEST(Connection, ARequestThatIsLongerThanItsOpcodeAllowsIsRefusedBeforeItArrives) {
    RunningServer server;
    SocketClient client(server.socket());
    const auto answer = client.ask(header_of(protocol::request_header(
        static_cast<std::uint32_t>(Opcode::signature_action), 3, 217 + 25'600 + 1)));
    ASSERT_TRUE(answer);
    EXPECT_EQ(answer->status(), Status::malformed_request);
}

}  // namespace
}  // namespace callhome::service
