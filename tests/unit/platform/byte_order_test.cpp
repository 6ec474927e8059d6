#include "byte_order.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "platform/interface.h"
#include "protocol/opcode.h"

namespace callhome::platform {
namespace {

using protocol::Opcode;

std::string converted(Opcode opcode, std::string record) {
    ::ch_msg_byteorder_convert(static_cast<std::uint32_t>(opcode), record.data());
    return record;
}

// A switch record that is on, in the order of a little-endian host, and in transport order.
const std::string host_record("\1\0\0\0\7", 5);
const std::string transport_record("\0\0\0\1\7", 5);

TEST(ByteOrderTest, ARequestIsConvertedByItsWholeLayout) {
    EXPECT_EQ(converted(Opcode::feature_state, host_record), transport_record);
}

TEST(ByteOrderTest, AReplyIsConvertedWithinTheLengthThatCame) {
    std::string reply("\0\0\0\1\0\0\0\2\0\0\0\3", 12);
    reply = std::string(32, 'n') + reply + std::string(7, '\0');
    constexpr auto opcode = static_cast<std::uint32_t>(Opcode::destination_profile);
    remember_reply(opcode, reply.data(), 32 + 7);
    ::ch_msg_byteorder_convert(opcode, reply.data());
    EXPECT_EQ(reply.substr(32, 12), std::string("\1\0\0\0\0\0\0\2\0\0\0\3", 12))
        << "the second word was cut";
}

TEST(ByteOrderTest, AReplyThatIsSentBackIsConvertedAsARequest) {
    std::string record = transport_record;
    constexpr auto opcode = static_cast<std::uint32_t>(Opcode::feature_state);
    remember_reply(opcode, record.data(), 0);
    ::ch_msg_byteorder_convert(opcode, record.data());
    EXPECT_EQ(record, transport_record) << "nothing of the reply came";
    ::ch_msg_byteorder_convert(opcode, record.data());
    EXPECT_EQ(record, host_record);
}

TEST(ByteOrderTest, ATextReplyIsLeftAlone) {
    std::string text = "Subject: a test";
    constexpr auto opcode = static_cast<std::uint32_t>(Opcode::message_text);
    remember_reply(opcode, text.data(), text.size());
    ::ch_msg_byteorder_convert(opcode, text.data());
    EXPECT_EQ(text, "Subject: a test");
}

TEST(ByteOrderTest, TheRequestForATextIsConverted) {
    EXPECT_EQ(converted(Opcode::message_text, std::string("\1\0\0\0", 4)), std::string("\0\0\0\1", 4));
}

TEST(ByteOrderTest, NothingIsDoneForAnUnknownOpcodeOrNoRecord) {
    EXPECT_EQ(converted(static_cast<Opcode>(1), host_record), host_record);
    ::ch_msg_byteorder_convert(static_cast<std::uint32_t>(Opcode::feature_state), nullptr);
}

}  // namespace
}  // namespace callhome::platform
