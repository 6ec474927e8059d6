#include "service_link.h"

#include <gtest/gtest.h>
#include <pthread.h>
#include <signal.h>
#include <sys/socket.h>
#include <sys/wait.h>

#include <cerrno>
#include <future>

#include "fake_service.h"
#include "protocol/records/destination_profile.h"
#include "protocol/records/feature.h"
#include "protocol/records/inventory.h"
#include "temporary_folder.h"

namespace callhome::platform {
namespace {

using namespace std::chrono_literals;
using protocol::Opcode;
using protocol::Operation;
using protocol::Status;
using test::FakeService;
using test::Peer;

constexpr auto feature_state = static_cast<std::uint32_t>(Opcode::feature_state);
constexpr auto message_text = static_cast<std::uint32_t>(Opcode::message_text);
constexpr auto get = static_cast<std::uint32_t>(Operation::get);
constexpr auto set = static_cast<std::uint32_t>(Operation::set);

const std::string switched_on("\0\0\0\1\0", 5);

class ServiceLinkTest : public testing::Test {
 protected:
    std::span<const std::byte> record() const { return std::as_bytes(std::span(switched_on)); }
    Request request() const { return {feature_state, get, record()}; }
    ServiceLocation location() const { return {.socket = socket_, .program = {}, .state_folder = {}}; }

    int error_of(ServiceLink& link, std::chrono::seconds timeout = 20s) {
        try {
            link.exchange(request(), timeout);
            return 0;
        } catch (const LinkError& error) {
            return error.number();
        }
    }

    TemporaryFolder folder_;
    std::filesystem::path socket_ = folder_.path() / "socket";
};

std::string text_of(const Reply& reply) {
    return {reinterpret_cast<const char*>(reply.record.get()), reply.length};
}

TEST_F(ServiceLinkTest, ARequestTravelsAsHeaderAndRecordInBigEndianWords) {
    std::promise<std::string> seen;
    FakeService service(socket_, [&](int, Peer& peer) {
        const auto frame = peer.read_frame();
        seen.set_value(frame->bytes);
        peer.reply(*frame, switched_on);
    });
    ServiceLink link(location());
    const Reply reply = link.exchange({feature_state, set, record()}, 20s);

    const std::string expected(
        "CHMF"
        "\0\0\0\1"
        "\0\0\0\1"
        "\0\0\x08\x6c"
        "\0\0\0\3"
        "\0\0\0\0"
        "\0\0\0\5"
        "\0\0\0\1\0",
        33);
    EXPECT_EQ(seen.get_future().get(), expected);
    EXPECT_EQ(reply.status, 0);
    EXPECT_EQ(text_of(reply), switched_on);
}

TEST_F(ServiceLinkTest, OneConnectionServesManyRequests) {
    FakeService service(socket_, test::answering(switched_on));
    ServiceLink link(location());
    for (int i = 0; i < 100; ++i) {
        EXPECT_EQ(error_of(link), 0);
    }
    EXPECT_EQ(service.connections(), 1);
}

TEST_F(ServiceLinkTest, NothingIsConnectedBeforeTheFirstRequest) {
    FakeService service(socket_, test::answering(switched_on));
    const ServiceLink link(location());
    EXPECT_EQ(service.connections(), 0);
}

TEST_F(ServiceLinkTest, ARefusalMayCarryAReply) {
    FakeService service(socket_, [](int, Peer& peer) {
        peer.reply(*peer.read_frame(), switched_on, Status::not_found);
        peer.wait_for_client_to_leave();
    });
    ServiceLink link(location());
    const Reply reply = link.exchange(request(), 20s);
    EXPECT_EQ(reply.status, 0x403B000B);
    EXPECT_EQ(text_of(reply), switched_on);
}

TEST_F(ServiceLinkTest, TextMayStandBehindTheRecordWhereTheOpcodeSaysSo) {
    const std::string longest(sizeof(protocol::SoftwareRecord) + protocol::software_pairs_size, 'x');
    FakeService service(socket_, [&](int, Peer& peer) {
        peer.reply(*peer.read_frame(), longest);
        peer.reply(*peer.read_frame(), longest + "x");
        peer.wait_for_client_to_leave();
    });
    ServiceLink link(location());
    const Request walk{static_cast<std::uint32_t>(Opcode::software_inventory),
                       static_cast<std::uint32_t>(Operation::get_next), record()};
    EXPECT_EQ(text_of(link.exchange(walk, 20s)), longest);
    EXPECT_THROW(link.exchange(walk, 20s), LinkError);
}

TEST_F(ServiceLinkTest, AReplyWithoutBytesIsNoRecord) {
    FakeService service(socket_, test::answering(""));
    ServiceLink link(location());
    const Reply reply = link.exchange(request(), 20s);
    EXPECT_EQ(reply.record, nullptr);
    EXPECT_EQ(reply.length, 0U);
}

TEST_F(ServiceLinkTest, AReplyShorterThanItsRecordIsFollowedByZeroes) {
    FakeService service(socket_, test::answering("abc"));
    ServiceLink link(location());
    constexpr auto opcode = static_cast<std::uint32_t>(Opcode::destination_profile);
    const Reply reply = link.exchange({opcode, get, record()}, 20s);
    EXPECT_EQ(reply.length, 3U);
    const std::string whole(reinterpret_cast<const char*>(reply.record.get()),
                            sizeof(protocol::ProfileRecord) + 1);
    EXPECT_EQ(whole, "abc" + std::string(sizeof(protocol::ProfileRecord) - 2, '\0'));
}

TEST_F(ServiceLinkTest, ATextReplyOfAnyLengthIsFollowedByATerminator) {
    for (const std::size_t length : {1U, 4067U, 4068U, 4069U, 1'000'000U}) {
        FakeService service(socket_, test::answering(std::string(length, 'x')));
        ServiceLink link(location());
        const Reply reply = link.exchange({message_text, get, record().first(4)}, 20s);
        EXPECT_EQ(text_of(reply), std::string(length, 'x'));
        EXPECT_EQ(reply.record[length], std::byte{0});
    }
}

TEST_F(ServiceLinkTest, ALostConnectionIsMadeAgainWhenTheServiceCannotHaveSeenTheRequest) {
    std::promise<void> closed;
    FakeService service(socket_, [&](int connection, Peer& peer) {
        if (connection > 0) {
            return test::answering(switched_on)(connection, peer);
        }
        peer.reply(*peer.read_frame(), switched_on);
        peer.close();
        closed.set_value();
    });
    ServiceLink link(location());
    EXPECT_EQ(error_of(link), 0);
    closed.get_future().wait();
    EXPECT_EQ(error_of(link), 0);
    EXPECT_EQ(service.connections(), 2);
}

TEST_F(ServiceLinkTest, AServiceMayBeStartedAnewBetweenRequests) {
    ServiceLink link(location());
    auto first = std::make_unique<FakeService>(
        socket_, [](int, Peer& peer) { peer.reply(*peer.read_frame(), switched_on); });
    EXPECT_EQ(error_of(link), 0);
    first.reset();
    EXPECT_EQ(error_of(link), ENOENT);
    FakeService second(socket_, test::answering(switched_on));
    EXPECT_EQ(error_of(link), 0);
    EXPECT_EQ(second.connections(), 1);
    link = ServiceLink(location());
}

TEST_F(ServiceLinkTest, ARequestThatWasTakenUpIsNeverSentAgain) {
    std::atomic<int> requests = 0;
    FakeService service(socket_, [&](int, Peer& peer) {
        for (int answers_left = 2; const auto frame = peer.read_frame();) {
            ++requests;
            if (answers_left-- == 0) {
                return;
            }
            peer.reply(*frame, switched_on);
        }
    });
    {
        ServiceLink link(location());
        EXPECT_EQ(error_of(link), 0);
        EXPECT_EQ(error_of(link), 0);
        EXPECT_EQ(error_of(link), ECONNRESET);
    }
    EXPECT_EQ(requests, 3);
    EXPECT_EQ(service.connections(), 1);
}

TEST_F(ServiceLinkTest, AFullServiceRefusesAConnectionBeforeItReadsTheRequest) {
    FakeService service(socket_, [](int, Peer& peer) {
        const protocol::FrameHeader no_request{};
        peer.send(
            test::frame_bytes(protocol::reply_header(no_request, Status::too_many_connections, 0), ""));
        peer.wait_for_client_to_leave();
    });
    ServiceLink link(location());
    const Reply reply = link.exchange(request(), 20s);
    EXPECT_EQ(reply.status, static_cast<ServiceStatus>(Status::too_many_connections));
    EXPECT_EQ(link.exchange(request(), 20s).status,
              static_cast<ServiceStatus>(Status::too_many_connections));
    EXPECT_EQ(service.connections(), 2);
}

TEST_F(ServiceLinkTest, ASilentServiceEndsTheWaitAtTheDeadline) {
    FakeService service(socket_, [](int, Peer& peer) {
        peer.read_frame();
        peer.wait_for_client_to_leave();
    });
    ServiceLink link(location());
    EXPECT_EQ(error_of(link, 1s), ETIMEDOUT);
}

TEST_F(ServiceLinkTest, AReplyThatDripsInEndsAtTheSameDeadline) {
    FakeService service(socket_, [](int, Peer& peer) {
        const auto frame = peer.read_frame();
        const auto header = protocol::reply_header(frame->header, Status::ok, 5);
        for (const char byte : test::frame_bytes(header, switched_on)) {
            peer.send({byte});
            if (peer.client_leaves_within(100)) {
                return;
            }
        }
    });
    ServiceLink link(location());
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(error_of(link, 1s), ETIMEDOUT);
    EXPECT_LT(std::chrono::steady_clock::now() - start, 2500ms) << "the drips take 3.3 seconds";
}

TEST_F(ServiceLinkTest, AServiceThatDoesNotReadEndsTheSendingAtTheDeadline) {
    FakeService service(socket_, [](int, Peer& peer) { peer.wait_for_client_to_leave(); });
    ServiceLink link(location());
    const std::string large(protocol::largest_frame_body, 'x');
    try {
        link.exchange({feature_state, set, std::as_bytes(std::span(large))}, 1s);
        FAIL() << "a request was sent that nobody read";
    } catch (const LinkError& error) {
        EXPECT_EQ(error.number(), ETIMEDOUT);
    }
}

TEST_F(ServiceLinkTest, ALargeRequestArrivesWhole) {
    std::promise<std::string> seen;
    FakeService service(socket_, [&](int, Peer& peer) {
        const auto frame = peer.read_frame();
        seen.set_value(frame->body);
        peer.reply(*frame, "");
        peer.wait_for_client_to_leave();
    });
    ServiceLink link(location());
    const std::string large(protocol::largest_frame_body, 'x');
    link.exchange({feature_state, set, std::as_bytes(std::span(large))}, 20s);
    EXPECT_TRUE(seen.get_future().get() == large);
}

TEST_F(ServiceLinkTest, ARequestLongerThanAFrameIsNotSent) {
    ServiceLink link(location());
    const std::string large(protocol::largest_frame_body + 1U, 'x');
    try {
        link.exchange({feature_state, set, std::as_bytes(std::span(large))}, 1s);
        FAIL() << "a request of forbidden length was accepted";
    } catch (const LinkError& error) {
        EXPECT_EQ(error.number(), EMSGSIZE);
    }
}

TEST_F(ServiceLinkTest, ASignalEndsTheWait) {
    struct sigaction no_action {};
    no_action.sa_handler = [](int) {};
    ::sigaction(SIGUSR1, &no_action, nullptr);

    FakeService service(socket_, [](int, Peer& peer) { peer.wait_for_client_to_leave(); });
    std::promise<int> result;
    auto ended = result.get_future();
    std::thread client([&] {
        ServiceLink link(location());
        result.set_value(error_of(link));
    });
    while (ended.wait_for(5ms) != std::future_status::ready) {
        ::pthread_kill(client.native_handle(), SIGUSR1);
    }
    client.join();
    EXPECT_EQ(ended.get(), EINTR);
}

TEST_F(ServiceLinkTest, AForkedProcessTakesAConnectionOfItsOwn) {
    FakeService service(socket_, test::answering(switched_on));
    ServiceLink link(location());
    EXPECT_EQ(error_of(link), 0);
    const pid_t child = ::fork();
    if (child == 0) {
        ::_exit(error_of(link));
    }
    int status = 0;
    ::waitpid(child, &status, 0);
    EXPECT_EQ(status, 0);
    EXPECT_EQ(error_of(link), 0);
    EXPECT_EQ(service.connections(), 2);
}

TEST_F(ServiceLinkTest, WhereNobodyListensTheErrorSaysSo) {
    ServiceLink link(location());
    EXPECT_EQ(error_of(link), ENOENT);
    {
        const FakeService gone(socket_, test::answering(switched_on));
        std::filesystem::create_hard_link(socket_, folder_.path() / "left behind");
    }
    ServiceLink stale({.socket = folder_.path() / "left behind", .program = {}, .state_folder = {}});
    EXPECT_EQ(error_of(stale), ECONNREFUSED);
}

TEST_F(ServiceLinkTest, WithoutAServiceToUseTheErrorSaysSo) {
    ServiceLink link{ServiceLocation{}};
    EXPECT_EQ(error_of(link), ENOENT);
}

TEST_F(ServiceLinkTest, AStrangersServiceIsSentNothing) {
    if (::geteuid() != 0) {
        GTEST_SKIP() << "only root can listen as another user";
    }
    constexpr uid_t stranger = 65534;
    std::promise<bool> got_a_request;
    {
        FakeService service(
            socket_, [&](int, Peer& peer) { got_a_request.set_value(peer.read_frame().has_value()); });
        // A socket's identity is that of the process which began to listen.
        ASSERT_EQ(::seteuid(stranger), 0);
        const int listened = service.listen_again();
        ASSERT_EQ(::seteuid(0), 0);
        ASSERT_EQ(listened, 0);
        ServiceLink link(location());
        EXPECT_EQ(error_of(link), EACCES);
    }
    EXPECT_FALSE(got_a_request.get_future().get());
}

class CInterfaceTest : public ServiceLinkTest {
 protected:
    CInterfaceTest() { use_service(location()); }
    ~CInterfaceTest() override { use_service({}); }

    ServiceStatus call(void** reply, std::uint32_t* length, std::uint32_t timeout_seconds = 20) {
        return ::svc_request_response(feature_state, get, request_.data(), reply, length, nullptr, nullptr,
                                      0, 0, timeout_seconds);
    }

    std::string request_ = switched_on;
};

TEST_F(CInterfaceTest, TheReplyAndItsLengthAreHandedOver) {
    const FakeService service(socket_, test::answering("\1\2\3"));
    void* reply = nullptr;
    std::uint32_t length = 5;
    EXPECT_EQ(call(&reply, &length), 0);
    EXPECT_EQ(length, 3U);
    EXPECT_EQ(std::string(static_cast<char*>(reply)), "\1\2\3");
    std::free(reply);
    use_service({});
}

TEST_F(CInterfaceTest, AReplyNobodyWantsIsReadAndDropped) {
    FakeService service(socket_, test::answering(switched_on));
    std::uint32_t length = 5;
    EXPECT_EQ(call(nullptr, &length), 0);
    EXPECT_EQ(length, 5U);
    EXPECT_EQ(call(nullptr, &length), 0);
    EXPECT_EQ(service.connections(), 1);
    use_service({});
}

TEST_F(CInterfaceTest, AFailureLeavesNoReplyAndSetsErrno) {
    void* reply = &request_;
    std::uint32_t length = 5;
    errno = 0;
    EXPECT_EQ(call(&reply, &length), -1);
    EXPECT_EQ(errno, ENOENT);
    EXPECT_EQ(reply, nullptr);
    EXPECT_NE(last_failure(ENOENT).find(socket_.native()), std::string_view::npos);
    EXPECT_EQ(last_failure(EPROTO), "");
}

TEST_F(CInterfaceTest, ATimeoutOfZeroSecondsHasPassed) {
    const FakeService service(socket_, test::answering(switched_on));
    std::uint32_t length = 5;
    EXPECT_EQ(call(nullptr, &length, 0), -1);
    EXPECT_EQ(errno, ETIMEDOUT);
}

TEST_F(CInterfaceTest, ARequestWithoutARecordIsAnEmptyFrame) {
    std::promise<std::uint32_t> seen;
    const FakeService service(socket_, [&](int, Peer& peer) {
        const auto frame = peer.read_frame();
        seen.set_value(frame->header.length);
        peer.reply(*frame, "");
    });
    EXPECT_EQ(
        ::svc_request_response(feature_state, get, nullptr, nullptr, nullptr, nullptr, nullptr, 0, 0, 20),
        0);
    EXPECT_EQ(seen.get_future().get(), 0U);
}

}  // namespace
}  // namespace callhome::platform
