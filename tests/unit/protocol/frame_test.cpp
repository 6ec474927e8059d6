#include "protocol/frame.h"

#include "bytes.h"

namespace callhome::protocol::test {
namespace {

constexpr std::uint32_t opcode = 0x4C480;

TEST(Frame, ARequestHeaderTravelsAsSevenBigEndianWords) {
    EXPECT_EQ(
        Bytes(encode(request_header(opcode, 2, 380))),
        Bytes().raw("CHMF\0\0\0\x01\0\0\0\x01").raw("\x00\x04\xC4\x80\0\0\0\x02\0\0\0\0\0\0\x01\x7C"));
}

TEST(Frame, AReplyHeaderRepeatsItsRequestAndCarriesTheStatus) {
    const FrameHeader request = request_header(opcode, 2, 380);
    EXPECT_EQ(Bytes(encode(reply_header(request, Status::not_found, 5))),
              Bytes()
                  .raw("CHMF\0\0\0\x01\0\0\0\x02")
                  .raw("\x00\x04\xC4\x80\0\0\0\x02\x40\x3B\x00\x0B\0\0\0\x05"));
    EXPECT_EQ(reply_header(request, Status::transport_failed, 0).status, 0xFFFFFFFFU);
}

TEST(Frame, DecodingUndoesEncoding) {
    const FrameHeader header{.magic = 1,
                             .version = 2,
                             .kind = 3,
                             .opcode = 4,
                             .operation = 5,
                             .status = 6,
                             .length = 0xFEDCBA98};
    const FrameHeader decoded = decode(encode(header));
    EXPECT_EQ(std::memcmp(&decoded, &header, sizeof header), 0);
}

TEST(Frame, AProperHeaderIsValidForItsDirectionOnly) {
    const FrameHeader request = request_header(opcode, 2, largest_frame_body);
    const FrameHeader reply = reply_header(request, Status::not_found, largest_frame_body);
    EXPECT_EQ(why_invalid(request, FrameKind::request), nullptr);
    EXPECT_EQ(why_invalid(reply, FrameKind::reply), nullptr);
    EXPECT_STREQ(why_invalid(request, FrameKind::reply), "the frame goes the wrong way");
    EXPECT_STREQ(why_invalid(reply, FrameKind::request), "the frame goes the wrong way");
}

struct Fault {
    std::uint32_t FrameHeader::*word;
    std::uint32_t value;
    const char* reason;
};

TEST(Frame, EachFaultOfAHeaderIsNamed) {
    for (const auto& [word, value, reason] : {
             Fault{&FrameHeader::magic, 0x43484D47, "the frame does not begin with the magic word"},
             Fault{&FrameHeader::magic, 0, "the frame does not begin with the magic word"},
             Fault{&FrameHeader::version, 0, "the frame has another protocol version"},
             Fault{&FrameHeader::version, 2, "the frame has another protocol version"},
             Fault{&FrameHeader::kind, 0, "the frame goes the wrong way"},
             Fault{&FrameHeader::kind, 3, "the frame goes the wrong way"},
             Fault{&FrameHeader::status, 1, "a request carries a status"},
             Fault{&FrameHeader::length, largest_frame_body + 1, "the frame is too long"},
             Fault{&FrameHeader::length, 0xFFFFFFFF, "the frame is too long"},
         }) {
        FrameHeader header = request_header(opcode, 1, 0);
        header.*word = value;
        EXPECT_STREQ(why_invalid(header, FrameKind::request), reason);
    }
}

TEST(Frame, ABodyMayBe16MiB) {
    EXPECT_EQ(largest_frame_body, 16777216U);
}

}  // namespace
}  // namespace callhome::protocol::test
