#include "command.h"
#include "protocol/records/signature.h"
#include "signature_replies.h"

namespace callhome::test {
namespace {

using protocol::DsShowRequest;
using protocol::MsgStatsClearRecord;
using protocol::ServiceInfoRequest;

using Handler = std::uint32_t (*)(CommandContext*);

constexpr const char* standby_refusal = "This command is supported on active sup only.\n";
constexpr const char* exchange_failed = "Failed to run this command due to mts error.\n";

constexpr std::uint32_t description = 130;
constexpr std::uint32_t xml = 131;

class SignatureDisplayTest : public LibraryTest {
 protected:
    SignatureDisplayTest() { cmd_type = 7; }

    // The request that a command leads to.
    template <typename Record>
    static Record request_of(Handler handler, Command& command) {
        service_says(text_answer("text"));
        EXPECT_EQ(run(handler, command).result, 0);
        const Exchange& exchange = platform().exchanges.back();
        EXPECT_EQ(exchange.operation, 1U);
        EXPECT_EQ(exchange.length, sizeof(Record));
        EXPECT_EQ(exchange.cmd_type, 1U);
        EXPECT_TRUE(exchange.wants_reply);
        return exchange.record<Record>();
    }
};

class SignatureViewTest : public SignatureDisplayTest {
 protected:
    static DsShowRequest request_of(Command& command) {
        return SignatureDisplayTest::request_of<DsShowRequest>(ch_show_gch_ds_id, command);
    }
    static DsShowRequest request_of(Command&& command) { return request_of(command); }
};

TEST_F(SignatureViewTest, EachKeywordAsksForItsView) {
    const std::map<std::uint32_t, std::uint32_t> views{{130, 2}, {131, 3}, {132, 4}, {133, 6},
                                                       {134, 5}, {135, 7}, {136, 8}};
    for (const auto& [keyword, view] : views) {
        Command command;
        const DsShowRequest request = request_of(command.keyword(keyword));
        EXPECT_EQ(request.view, view) << keyword;
        EXPECT_EQ(request.ds_id, 0U);
    }
    EXPECT_EQ(asked(), Asked(views.size(), "312325/1"));
}

TEST_F(SignatureViewTest, WithoutAKeywordItIsTheSettings) {
    Command none;
    EXPECT_EQ(request_of(none).view, 1U);
    Command others;
    EXPECT_EQ(request_of(others.keyword(129).null_token().keyword(137)).view, 1U);
}

TEST_F(SignatureViewTest, ADescriptionIsThatOfASignature) {
    Command command;
    const DsShowRequest request = request_of(command.number<std::uint32_t>(description, 0x80000001));
    EXPECT_EQ(request.view, 2U);
    EXPECT_EQ(request.ds_id, 0x80000001);
}

TEST_F(SignatureViewTest, TheLastKeywordDecides) {
    Command first;
    DsShowRequest request = request_of(first.keyword(xml).number<std::uint32_t>(description, 8001));
    EXPECT_EQ(request.view, 2U);
    EXPECT_EQ(request.ds_id, 8001U);
    Command second;
    request = request_of(second.number<std::uint32_t>(description, 8001).keyword(xml).keyword(129));
    EXPECT_EQ(request.view, 3U);
    EXPECT_EQ(request.ds_id, 0U) << "the other texts are not of one signature";
}

TEST_F(SignatureViewTest, TheTextIsShownWhole) {
    const std::string long_text = std::string(100'000, 'x') + "\n\n  100% %s %%\n\xFF";
    for (const std::string& text : {std::string(), std::string("one line"), long_text}) {
        for (const bool is_terminated : {true, false}) {
            platform() = Platform{};
            service_says(is_terminated ? text_answer(text) : characters(text));
            Command command;
            const auto [result, out, err] = run(ch_show_gch_ds_id, command.keyword(xml));
            EXPECT_EQ(result, 0);
            EXPECT_EQ(out + err, "");
            EXPECT_EQ(platform().printed, Lines{"%s|30740068=" + text});
            EXPECT_EQ(platform().sends, 1);
        }
    }
}

class ServiceInfoTest : public SignatureDisplayTest {
 protected:
    static std::uint32_t type_asked_by(Command& command) {
        return request_of<ServiceInfoRequest>(ch_show_gch_info, command).info_type;
    }
    static std::string shown(Answer reply) {
        service_says(std::move(reply));
        Command command;
        const auto [result, out, err] = run(ch_show_gch_info, command.keyword(120));
        EXPECT_EQ(result, 0);
        EXPECT_EQ(err, "");
        EXPECT_EQ(platform().sends, 0);
        return out;
    }
};

TEST_F(ServiceInfoTest, EachKeywordAsksForItsType) {
    const std::map<std::uint32_t, std::uint32_t> types{
        {120, 0x01000000}, {121, 0x02000000}, {122, 0x03000000}, {127, 0x04000000},
        {123, 0x05000000}, {124, 0x06000000}, {125, 0x07000000}, {126, 0x08000000}};
    for (const auto& [keyword, type] : types) {
        Command command;
        EXPECT_EQ(type_asked_by(command.keyword(keyword)), type) << keyword;
    }
    EXPECT_EQ(asked(), Asked(types.size(), "312324/1"));
    EXPECT_EQ(platform().exchanges.front().length, 4U);
}

TEST_F(ServiceInfoTest, TheLastKeywordDecides) {
    Command command;
    EXPECT_EQ(type_asked_by(command.keyword(126).keyword(127).keyword(128)), 0x04000000U);
    Command none;
    EXPECT_EQ(type_asked_by(none.keyword(119).null_token()), 0U);
}

TEST_F(ServiceInfoTest, TheTextIsPrintedAsAFormat) {
    EXPECT_EQ(shown(text_answer("memory: 12%% of 64 MiB\n")), "memory: 12% of 64 MiB\n");
    EXPECT_EQ(shown(text_answer("50% %s %n %%%d %")), "50% %s %n %%d %");
    EXPECT_EQ(shown(text_answer("")), "");
    EXPECT_EQ(shown(characters("")), "");
    EXPECT_EQ(shown(characters("no terminator")), "no terminator");
    EXPECT_EQ(shown(characters({"text\0more", 9})), "text");
}

TEST_F(ServiceInfoTest, PrintsALongText) {
    const std::string text(10'000'000, '%');
    EXPECT_EQ(shown(characters(text)).size(), text.size() / 2);
}

class ClearMessageStatisticsTest : public SignatureDisplayTest {
 protected:
    static Outcome clear(Command& command) { return run(ch_test_send_msg_clear_stat, command); }
    static Outcome clear() {
        Command command;
        return clear(command.keyword(118));
    }
    static Answer status(std::uint32_t status) {
        return answer(MsgStatsClearRecord{.counters = 1, .status = status});
    }
};

TEST_F(ClearMessageStatisticsTest, TheLastKeywordSaysWhichCounters) {
    const std::vector<std::pair<std::vector<std::uint32_t>, std::uint32_t>> commands{
        {{118}, 1}, {{119}, 2}, {{119, 118}, 1}, {{118, 119, 120}, 2}, {{}, 0}, {{117}, 0}};
    for (const auto& [keywords, counters] : commands) {
        platform() = Platform{};
        service_says(status(0));
        Command command;
        for (const std::uint32_t keyword : keywords) {
            command.keyword(keyword);
        }
        const auto [result, out, err] = clear(command);
        EXPECT_EQ(result, 0);
        EXPECT_EQ(out + err, "");
        ASSERT_EQ(asked(), Asked{"312327/1"});
        EXPECT_EQ(platform().exchanges[0].length, 8U);
        EXPECT_EQ(platform().exchanges[0].cmd_type, 1U);
        EXPECT_TRUE(platform().exchanges[0].sent ==
                    in_transport_order(MsgStatsClearRecord{.counters = counters, .status = 0}));
    }
}

TEST_F(ClearMessageStatisticsTest, SaysWhyItWasRefusedAndSucceedsAllTheSame) {
    const std::map<std::uint32_t, std::string> texts{{1, "Call-home generic error.\n"},
                                                     {25, "Invalid parameter.\n"},
                                                     {0x403B0001, "Unknown error code.\n"}};
    for (const auto& [code, text] : texts) {
        service_says(status(code));
        const auto [result, out, err] = clear();
        EXPECT_EQ(result, 0);
        EXPECT_EQ(out, "");
        EXPECT_EQ(err, text);
    }
}

TEST_F(ClearMessageStatisticsTest, SaysTheSameOfEveryFailure) {
    std::vector<Answer> failures{refusal(5), refusal(0x403B0001), {}};
    Answer with_reply = status(0);
    with_reply.status = 0x403B0010;
    failures.push_back(with_reply);
    for (std::size_t length = 0; length < sizeof(MsgStatsClearRecord); ++length) {
        failures.push_back(cut(status(0), length));
    }
    for (const Answer& failure : failures) {
        service_says(failure);
        const auto [result, out, err] = clear();
        EXPECT_EQ(result, 1);
        EXPECT_EQ(out, "");
        EXPECT_EQ(err, "Failed to execute command.\n");
    }
}

constexpr auto text_handlers = {ch_show_gch_ds, ch_show_gch_ds_id, ch_show_gch_ds_failure_stats_dnld,
                                ch_show_gch_info};

TEST_F(SignatureDisplayTest, SaysTheSameOfEveryFailedExchange) {
    Answer refusal_with_text = text_answer("not to be shown\n");
    refusal_with_text.status = 0x403B0010;
    for (const Handler handler : text_handlers) {
        for (const Answer& failure : {refusal(5), refusal(0x403B0001), refusal_with_text, Answer{}}) {
            service_says(failure);
            Command command;
            const auto [result, out, err] = run(handler, command);
            EXPECT_EQ(result, 1);
            EXPECT_EQ(out, "");
            EXPECT_EQ(err, exchange_failed);
        }
    }
    EXPECT_EQ(platform().printed, Lines{});
    EXPECT_EQ(platform().sends, 0);
}

TEST_F(SignatureDisplayTest, RunsOnTheActiveSupervisorOnly) {
    for (const Handler handler : {ch_show_gch_ds_id, ch_show_gch_ds_failure_stats_dnld, ch_show_gch_info,
                                  ch_test_send_msg_clear_stat}) {
        for (const std::uint32_t active_sup : {0U, 2U}) {
            Command command;
            command.keyword(42).context()->active_sup = active_sup;
            const auto [result, out, err] = run(handler, command);
            EXPECT_EQ(result, 1);
            EXPECT_EQ(out, "");
            EXPECT_EQ(err, standby_refusal);
        }
    }
    EXPECT_EQ(asked(), Asked{});
    EXPECT_EQ(platform().printed, Lines{});
    EXPECT_EQ(platform().sends, 0);
    EXPECT_EQ(cmd_type, 7U);
}

TEST_F(SignatureDisplayTest, SaysThatThereIsNoHandle) {
    const std::map<std::string, Handler> displays{
        {"ch_show_gch_ds", ch_show_gch_ds},
        {"ch_show_gch_ds_id", ch_show_gch_ds_id},
        {"ch_show_gch_ds_failure_stats_dnld", ch_show_gch_ds_failure_stats_dnld}};
    platform().has_output_handle = false;
    for (const auto& [name, handler] : displays) {
        Command command;
        const auto [result, out, err] = run(handler, command);
        EXPECT_EQ(result, 1);
        EXPECT_EQ(out.substr(0, name.size() + 1), name + ":");
        EXPECT_EQ(out.substr(out.find(' ')), " cli_reply_handle_from_param failed\n");
        EXPECT_EQ(err, "");
    }
    EXPECT_EQ(asked(), Asked{});
}

}  // namespace
}  // namespace callhome::test
