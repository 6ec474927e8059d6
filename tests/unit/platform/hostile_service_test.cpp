// What a service may send that no honest one does.
#include <gtest/gtest.h>

#include <cerrno>

#include "fake_service.h"
#include "protocol/records/feature.h"
#include "service_link.h"
#include "temporary_folder.h"

namespace callhome::platform {
namespace {

using namespace std::chrono_literals;
using protocol::FrameHeader;
using protocol::Opcode;
using protocol::Operation;
using test::FakeService;
using test::Peer;

const std::string switched_on("\0\0\0\1\0", 5);

Request feature_request(Opcode opcode = Opcode::feature_state) {
    return {static_cast<std::uint32_t>(opcode), static_cast<std::uint32_t>(Operation::get),
            std::as_bytes(std::span(switched_on))};
}

ServiceLocation at(const std::filesystem::path& socket) {
    return {.socket = socket, .program = {}, .state_folder = {}};
}

// 0, or the number of the error; `why` takes its words.
int error_of(ServiceLink& link, const Request& request, std::string& why) {
    try {
        link.exchange(request, 20s);
        return 0;
    } catch (const LinkError& error) {
        why = error.what();
        return error.number();
    }
}

struct Garbage {
    const char* name;
    void (*spoil)(FrameHeader& header);
    std::size_t body;  // bytes sent behind the header
    const char* words;
};

void PrintTo(const Garbage& garbage, std::ostream* out) {
    *out << garbage.words;
}

constexpr std::uint32_t record_length = 5;

const Garbage garbage[] = {
    {"OtherMagic", [](FrameHeader& header) { header.magic ^= 1; }, record_length, "magic"},
    {"OtherVersion", [](FrameHeader& header) { header.version = 2; }, record_length, "version"},
    {"ARequest", [](FrameHeader& header) { header.kind = 1; }, record_length, "wrong way"},
    {"UnknownKind", [](FrameHeader& header) { header.kind = 7; }, record_length, "wrong way"},
    {"OtherOpcode", [](FrameHeader& header) { ++header.opcode; }, record_length, "another request"},
    {"OtherOperation", [](FrameHeader& header) { ++header.operation; }, record_length, "another request"},
    {"NegativeStatus", [](FrameHeader& header) { header.status = 0xFFFFFFFF; }, record_length, "no status"},
    {"LongerThanTheRecord", [](FrameHeader& header) { header.length = record_length + 1; },
     record_length + 1, "longer than its record"},
    {"LongerThanMemory", [](FrameHeader& header) { header.length = 0xFFFFFFFF; }, record_length,
     "too long"},
    {"LongerThanAFrame", [](FrameHeader& header) { header.length = protocol::largest_frame_body + 1; },
     record_length, "too long"},
    {"MoreThanAnnounced", [](FrameHeader& header) { header.length = record_length - 1; }, record_length,
     "more came"},
    {"AFlood", [](FrameHeader&) {}, 1'000'000, "more came"},
};

class GarbageTest : public testing::TestWithParam<Garbage> {};

TEST_P(GarbageTest, IsRefusedAndTheNextRequestBeginsAnew) {
    const Garbage& row = GetParam();
    const TemporaryFolder folder;
    FakeService service(folder.path() / "socket", [&](int connection, Peer& peer) {
        if (connection > 0) {
            return test::answering(switched_on)(connection, peer);
        }
        FrameHeader header =
            protocol::reply_header(peer.read_frame()->header, protocol::Status::ok, record_length);
        row.spoil(header);
        peer.send(test::frame_bytes(header, std::string(row.body, '\0')));
        peer.wait_for_client_to_leave();
    });
    ServiceLink link(at(folder.path() / "socket"));
    std::string why;
    EXPECT_EQ(error_of(link, feature_request(), why), EPROTO);
    EXPECT_NE(why.find(row.words), std::string::npos) << why;
    EXPECT_EQ(error_of(link, feature_request(), why), 0);
    EXPECT_EQ(service.connections(), 2);
}

INSTANTIATE_TEST_SUITE_P(Replies, GarbageTest, testing::ValuesIn(garbage),
                         [](const auto& row) { return std::string(row.param.name); });

TEST(HostileServiceTest, TextThatIsNoFrameIsRefused) {
    const TemporaryFolder folder;
    FakeService service(folder.path() / "socket", [](int, Peer& peer) {
        peer.send("220 mail.example.com ESMTP, what can I do for you today?\r\n");
        peer.wait_for_client_to_leave();
    });
    ServiceLink link(at(folder.path() / "socket"));
    std::string why;
    EXPECT_EQ(error_of(link, feature_request(), why), EPROTO);
}

TEST(HostileServiceTest, AReplyToAnUnknownOpcodeCarriesNothing) {
    const TemporaryFolder folder;
    FakeService service(folder.path() / "socket", test::answering("x"));
    ServiceLink link(at(folder.path() / "socket"));
    std::string why;
    EXPECT_EQ(error_of(link, feature_request(static_cast<Opcode>(1)), why), EPROTO);
}

TEST(HostileServiceTest, AServiceThatGoesAwayAtAnyByteOfItsReplyIsALostOne) {
    constexpr std::size_t reply_length = sizeof(FrameHeader) + record_length;
    const TemporaryFolder folder;
    // Connections come in pairs: one whose reply is cut, one that works.
    FakeService service(folder.path() / "socket", [](int connection, Peer& peer) {
        if (connection % 2 == 1) {
            return test::answering(switched_on)(connection, peer);
        }
        const auto request = peer.read_frame();
        const auto whole = test::frame_bytes(
            protocol::reply_header(request->header, protocol::Status::ok, record_length), switched_on);
        peer.send(whole.substr(0, static_cast<std::size_t>(connection / 2)));
    });
    for (std::size_t length = 0; length < reply_length; ++length) {
        ServiceLink link(at(folder.path() / "socket"));
        std::string why;
        EXPECT_EQ(error_of(link, feature_request(), why), ECONNRESET) << "cut after " << length << " bytes";
        EXPECT_EQ(error_of(link, feature_request(), why), 0) << "cut after " << length << " bytes";
    }
}

TEST(HostileServiceTest, AReplyThatComesByteByByteIsWhole) {
    const TemporaryFolder folder;
    FakeService service(folder.path() / "socket", [](int, Peer& peer) {
        const auto request = peer.read_frame();
        const auto header = protocol::reply_header(request->header, protocol::Status::ok, record_length);
        for (const char byte : test::frame_bytes(header, switched_on)) {
            peer.send({byte});
        }
        peer.wait_for_client_to_leave();
    });
    ServiceLink link(at(folder.path() / "socket"));
    const Reply reply = link.exchange(feature_request(), 20s);
    EXPECT_EQ(std::string(reinterpret_cast<const char*>(reply.record.get()), reply.length), switched_on);
}

}  // namespace
}  // namespace callhome::platform
