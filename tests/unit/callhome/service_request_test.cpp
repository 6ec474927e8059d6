#include <cerrno>

#include "command.h"
#include "protocol/records/destination_profile.h"
#include "protocol/records/feature.h"

namespace callhome::test {
namespace {

using protocol::SwitchRecord;

constexpr std::uint32_t feature_state = 2156;

class ServiceRequestTest : public LibraryTest {
 protected:
    ServiceStatus ask(void** reply_slot) {
        length_ = sizeof request_;
        return callhome_cmi(feature_state, 1, &request_, reply_slot, &length_, command_.context());
    }

    SwitchRecord request_{.enabled = 0x01020304, .trailing_flag = 9};
    std::uint32_t length_ = 0;
    Command command_;
};

TEST_F(ServiceRequestTest, ConvertsTheRequestThenAsksThenConvertsTheReply) {
    service_says(answer(SwitchRecord{.enabled = 0x0A0B0C0D, .trailing_flag = 3}));
    void* reply = nullptr;
    EXPECT_EQ(ask(&reply), 0);
    EXPECT_EQ(platform().calls, (Lines{"convert request 2156", "exchange 2156/1", "convert reply 2156"}));
    SwitchRecord received{};
    std::memcpy(&received, reply, sizeof received);
    std::free(reply);
    EXPECT_EQ(received.enabled, 0x0A0B0C0DU);
    EXPECT_EQ(received.trailing_flag, 3);
    EXPECT_EQ(length_, 5U) << "the reply's length";
}

TEST_F(ServiceRequestTest, HandsThePlatformWhatTheShellHasGivenIt) {
    command_.context()->transport_handle = 0xCAFE;
    ask(nullptr);
    ASSERT_EQ(platform().exchanges.size(), 1U);
    const Exchange& exchange = platform().exchanges.front();
    EXPECT_EQ(exchange.opcode, feature_state);
    EXPECT_EQ(exchange.operation, 1U);
    EXPECT_EQ(exchange.length, 5U);
    EXPECT_FALSE(exchange.wants_reply);
    EXPECT_EQ(exchange.link_block_1, command_.context()->link_block_1);
    EXPECT_EQ(exchange.link_block_2, command_.context()->link_block_2);
    EXPECT_EQ(exchange.flags, 0U);
    EXPECT_EQ(exchange.transport_handle, 0xCAFEU);
    EXPECT_EQ(exchange.timeout_seconds, 60U);
}

TEST_F(ServiceRequestTest, SendsTheRecordInTransportOrderAndLeavesItSo) {
    ask(nullptr);
    const Bytes expected{std::byte{1}, std::byte{2}, std::byte{3}, std::byte{4}, std::byte{9}};
    EXPECT_EQ(platform().exchanges.front().sent, expected);
    EXPECT_EQ(std::memcmp(&request_, expected.data(), expected.size()), 0);
}

TEST_F(ServiceRequestTest, ConvertsARecordThatIsSentAgainASecondTime) {
    ask(nullptr);
    ask(nullptr);
    const SwitchRecord host_order{.enabled = 0x01020304, .trailing_flag = 9};
    EXPECT_EQ(std::memcmp(platform().exchanges.back().sent.data(), &host_order, sizeof host_order), 0);
}

TEST_F(ServiceRequestTest, ConvertsNothingAfterTheCallWithoutAReplySlot) {
    service_says(answer(SwitchRecord{}));
    EXPECT_EQ(ask(nullptr), 0);
    EXPECT_EQ(platform().calls, (Lines{"convert request 2156", "exchange 2156/1"}));
}

TEST_F(ServiceRequestTest, ConvertsNothingAfterTheCallWhenNoReplyCame) {
    void* reply = nullptr;
    EXPECT_EQ(ask(&reply), 0);
    EXPECT_EQ(platform().calls, (Lines{"convert request 2156", "exchange 2156/1"}));
}

TEST_F(ServiceRequestTest, LeavesTheReplyOfARefusalAsItCame) {
    for (const ServiceStatus status : {5, 0x403B000B, 0x7FFFFFFF}) {
        const Answer refused = answer(SwitchRecord{.enabled = 1, .trailing_flag = 0}, status);
        service_says(refused);
        void* reply = nullptr;
        EXPECT_EQ(ask(&reply), status);
        ASSERT_NE(reply, nullptr);
        EXPECT_EQ(std::memcmp(reply, refused.reply->data(), refused.reply->size()), 0);
        EXPECT_EQ(platform().calls.back(), "exchange 2156/1");
        std::free(reply);
    }
}

TEST_F(ServiceRequestTest, EndsTheProcessWhenTheTransportFails) {
    // The other negative statuses are the transport's as well: the test is a signed one.
    for (const ServiceStatus status : {-1, -2, static_cast<ServiceStatus>(0x80000000)}) {
        cmd_type = 2;
        platform().answers = {{.status = status, .error_number = ETIMEDOUT}};
        EXPECT_EXIT(ask(nullptr), testing::ExitedWithCode(1), "transport lost: class 2 errno 110");
    }
}

TEST_F(ServiceRequestTest, NamesTheClassOfTheCommandThatLostItsTransport) {
    platform().answers = {{.status = -1, .error_number = ECONNREFUSED}};
    EXPECT_EXIT(callhome_enable(command_.context()), testing::ExitedWithCode(1),
                "transport lost: class 2 errno 111");
    EXPECT_EXIT(callhome_test(command_.context()), testing::ExitedWithCode(1),
                "transport lost: class 1 errno 111");
    EXPECT_EXIT(callhome_show_emailconf(command_.context()), testing::ExitedWithCode(1),
                "transport lost: class 1 errno 111");
    EXPECT_EXIT(callhome_emailconf_asciigen(command_.context()), testing::ExitedWithCode(1),
                "transport lost: class 1 errno 111");
}

TEST_F(ServiceRequestTest, EveryConfigurationHandlerRunsItsRequestsAsOne) {
    const auto handlers = {callhome_enable,
                           callhome_traps_enable,
                           callhome_info,
                           callhome_destprofile,
                           callhome_destprofile_url,
                           callhome_destprofile_email,
                           callhome_email,
                           callhome_destprofile_transport_method,
                           callhome_multiple_smtp};
    for (const auto handler : handlers) {
        cmd_type = 1;
        platform().exchanges.clear();
        run(handler, command_);
        ASSERT_FALSE(platform().exchanges.empty());
        EXPECT_EQ(platform().exchanges.front().cmd_type, 2U);
        EXPECT_EQ(cmd_type, 2U);
    }
}

}  // namespace
}  // namespace callhome::test
