#include <ostream>

#include "command.h"
#include "protocol/records/message.h"

namespace callhome::test {
namespace {

using protocol::SendMessageRecord;

constexpr std::uint32_t text_offset = 68;
constexpr std::uint32_t in_progress = 0x403B001C;
constexpr std::uint32_t not_sent = 0x403B001D;

struct SendCommand {
    const char* name;
    uint32_t (*handler)(CommandContext*);
    const char* type;
    const char* announcement;
    bool active_sup_only;
    bool lenient;
    const char* success;  // of an action message
};

void PrintTo(const SendCommand& command, std::ostream* out) {
    *out << command.name;
}

constexpr SendCommand commands[] = {
    {"test", callhome_test, "test", "trying to send test callhome message\n", true, false, nullptr},
    {"inventory", callhome_test_inventory, "inventory", "trying to send test callhome inventory message\n",
     false, true, nullptr},
    {"config", callhome_send_config, "PERIODIC_CONFIGURATION",
     "trying to send configuration callhome message\n", true, false, nullptr},
    {"diag", callhome_send_diag, "TEMO-normal", "trying to send diagnostic callhome message\n", true, false,
     nullptr},
    {"swcrash", callhome_send_swcrash, "SW_CRASH", "trying to send swcrash action mail- callhome message\n",
     true, false, "successfully sent swcrash action mail- callhome message\n"},
    {"obx", callhome_send_obx, "OBX_ALERT", "trying to send obx action mail- callhome message\n", true,
     false, "successfully sent obx action mail- callhome message\n"},
};

Answer answer_with_text(std::string_view text, ServiceStatus status = 0) {
    SendMessageRecord reply{};
    put(reply.reply_text, text);
    return answer(reply, status);
}

class SendMessageTest : public LibraryTest, public testing::WithParamInterface<SendCommand> {
 protected:
    Outcome send() {
        Command command;
        return run(GetParam().handler, command);
    }

    // What is printed behind the announcement, on standard output.
    std::string printed_after_announcement(const Outcome& outcome) {
        const std::string announcement = GetParam().announcement;
        EXPECT_EQ(outcome.out.substr(0, announcement.size()), announcement);
        return outcome.out.substr(std::min(announcement.size(), outcome.out.size()));
    }

    static std::string success_line() { return GetParam().success == nullptr ? "" : GetParam().success; }
};

TEST_P(SendMessageTest, NamesItsTypeInAnOtherwiseEmptyRequest) {
    const Outcome outcome = send();
    EXPECT_EQ(asked(), Asked{"2157/3"});
    const Exchange& exchange = platform().exchanges.at(0);
    EXPECT_EQ(exchange.length, 2628U);
    EXPECT_TRUE(exchange.wants_reply);
    EXPECT_EQ(exchange.cmd_type, 1U);
    SendMessageRecord expected{};
    put(expected.type, GetParam().type);
    EXPECT_EQ(exchange.sent, in_transport_order(expected));
    EXPECT_EQ(outcome.err, "");
}

TEST_P(SendMessageTest, RunsOnTheActiveSupervisorOnlyWhereItMust) {
    for (const std::uint32_t active_sup : {0U, 2U}) {
        Command command;
        command.context()->active_sup = active_sup;
        cmd_type = 2;
        const auto [result, out, err] = run(GetParam().handler, command);
        if (GetParam().active_sup_only) {
            EXPECT_EQ(result, 1);
            EXPECT_EQ(out, "");
            EXPECT_EQ(err, "this command is supported on active sup only\n");
            EXPECT_EQ(asked(), Asked{});
            EXPECT_EQ(cmd_type, 2U) << "left as the previous command has set it";
        } else {
            EXPECT_EQ(result, 0);
            EXPECT_EQ(asked().back(), "2157/3");
        }
    }
}

TEST_P(SendMessageTest, HasNoNoForm) {
    Command command;
    const auto [result, out, err] = run(GetParam().handler, command.no());
    EXPECT_EQ(result, 1);
    EXPECT_EQ(out, "");
    EXPECT_EQ(err, no_form_refusal);
    EXPECT_EQ(asked(), Asked{});
    EXPECT_EQ(cmd_type, 1U);
}

TEST_P(SendMessageTest, SaysNothingMoreWhenTheReplyIsBlank) {
    for (const char* blank : {"", " ", "\n", " \t\r\n \f "}) {
        service_says(answer_with_text(blank));
        const Outcome outcome = send();
        EXPECT_EQ(outcome.result, 0);
        EXPECT_EQ(printed_after_announcement(outcome), success_line());
    }
}

TEST_P(SendMessageTest, TakesEveryReplyWithoutTextForABlankOne) {
    std::vector<Answer> answers{{.status = 0}};
    for (std::uint32_t length = 0; length <= text_offset; ++length) {
        answers.push_back(cut(answer_with_text("unseen"), length));
    }
    for (const Answer& short_answer : answers) {
        service_says(short_answer);
        const Outcome outcome = send();
        EXPECT_EQ(outcome.result, 0);
        EXPECT_EQ(printed_after_announcement(outcome), success_line());
    }
}

TEST_P(SendMessageTest, ReadsATextOnlyAsFarAsTheReplyGoes) {
    const std::string text = "delivery is delayed";
    for (std::size_t length = 1; length <= text.size(); ++length) {
        service_says(cut(answer_with_text(text), text_offset + length));
        std::string expected = text.substr(0, length);
        expected.erase(expected.find_last_not_of(' ') + 1);
        EXPECT_EQ(printed_after_announcement(send()), success_line() + "warning:\n" + expected + "\n");
    }
}

TEST_P(SendMessageTest, SurvivesAReplyOfEveryLengthWithoutATerminator) {
    SendMessageRecord reply;
    std::memset(&reply, 'Q', sizeof reply);
    for (std::size_t length = text_offset + 1; length <= sizeof reply; length += 61) {
        service_says(cut(answer(reply), length));
        const Outcome outcome = send();
        EXPECT_EQ(outcome.result, 0);
        EXPECT_EQ(std::count(outcome.out.begin(), outcome.out.end(), 'Q'),
                  std::min<std::ptrdiff_t>(static_cast<std::ptrdiff_t>(length - text_offset),
                                           success_line().empty() ? 2047 : 2560));
    }
}

TEST_P(SendMessageTest, PrintsTheStatusAloneWhileAMessageIsProcessed) {
    service_says(answer_with_text("a reply that is not shown", static_cast<ServiceStatus>(in_progress)));
    const Outcome outcome = send();
    EXPECT_EQ(outcome.result, 1);
    EXPECT_EQ(printed_after_announcement(outcome), "text of 0x403B001C\n");
    EXPECT_EQ(outcome.err, "");
}

TEST_P(SendMessageTest, PrintsTheStatusAndThenTheReplyOfARefusal) {
    service_says(answer_with_text(" mail.example: no route \n", static_cast<ServiceStatus>(not_sent)));
    const Outcome outcome = send();
    EXPECT_EQ(outcome.result, GetParam().lenient ? 0 : 1);
    EXPECT_EQ(printed_after_announcement(outcome), "text of 0x403B001D\n mail.example: no route \n\n");
    EXPECT_EQ(outcome.err, "");
}

TEST_P(SendMessageTest, PrintsTheStatusAloneWhenARefusalHasNoText) {
    service_refuses(static_cast<ServiceStatus>(not_sent));
    service_says(answer_with_text("", static_cast<ServiceStatus>(not_sent)));
    for (int attempt = 0; attempt < 2; ++attempt) {
        EXPECT_EQ(printed_after_announcement(send()), "text of 0x403B001D\n");
    }
}

TEST_P(SendMessageTest, PrintsPercentSignsAsTheyAre) {
    service_says(answer_with_text("50% of %s %n %d", static_cast<ServiceStatus>(not_sent)));
    EXPECT_EQ(printed_after_announcement(send()), "text of 0x403B001D\n50% of %s %n %d\n");
    service_says(answer_with_text("50% of %s %n %d"));
    EXPECT_EQ(printed_after_announcement(send()), success_line() + "warning:\n50% of %s %n %d\n");
}

TEST_P(SendMessageTest, SplitsOrRepeatsTheServicesWords) {
    service_says(answer_with_text("  Successfully sent to a@b.example\ncould not reach c@d.example\n"));
    const std::string printed = printed_after_announcement(send());
    if (GetParam().success == nullptr) {
        EXPECT_EQ(printed, "Successfully sent to a@b.example\nwarning:\ncould not reach c@d.example\n");
    } else {
        EXPECT_EQ(printed, success_line() +
                               "warning:\nSuccessfully sent to a@b.example\ncould not reach c@d.example\n");
        EXPECT_TRUE(files().opened.empty()) << "an action message never parses its reply";
    }
}

TEST_P(SendMessageTest, PrintsTheReplyWholeWhenItCannotBeSplit) {
    std::filesystem::create_directory(files().working_file);
    service_says(answer_with_text("Successfully sent\nnot sent"));
    const std::string name = GetParam().name == std::string("config") ? "configuration"
                             : GetParam().name == std::string("diag") ? "diagnostic"
                                                                      : GetParam().name;
    const std::string header = GetParam().success == nullptr
                                   ? "successfully sent " + name + " callhome message\n"
                                   : success_line();
    EXPECT_EQ(printed_after_announcement(send()), header + "warning:\nSuccessfully sent\nnot sent\n");
}

INSTANTIATE_TEST_SUITE_P(Commands, SendMessageTest, testing::ValuesIn(commands),
                         [](const auto& command) { return command.param.name; });

// The parameters of the action messages.

class ActionMessageTest : public LibraryTest {
 protected:
    static SendMessageRecord sent() { return platform().exchanges.at(0).record<SendMessageRecord>(); }

    Command command_;
};

TEST_F(ActionMessageTest, SwcrashNamesItsParametersInOrder) {
    run(callhome_send_swcrash, command_.text(69, "one").text(70, "two"));
    const Bytes& bytes = platform().exchanges.at(0).sent;
    EXPECT_STREQ(reinterpret_cast<const char*>(bytes.data()), "SW_CRASH");
    EXPECT_STREQ(reinterpret_cast<const char*>(bytes.data() + 2116), "one");
    EXPECT_STREQ(reinterpret_cast<const char*>(bytes.data() + 2372), "two");
}

TEST_F(ActionMessageTest, ObxNamesItsParametersCrosswise) {
    run(callhome_send_obx, command_.text(65, "one").text(66, "two"));
    const Bytes& bytes = platform().exchanges.at(0).sent;
    EXPECT_STREQ(reinterpret_cast<const char*>(bytes.data()), "OBX_ALERT");
    EXPECT_STREQ(reinterpret_cast<const char*>(bytes.data() + 2372), "one");
    EXPECT_STREQ(reinterpret_cast<const char*>(bytes.data() + 2116), "two");
}

TEST_F(ActionMessageTest, NamesAnUnknownTokenAndStillSends) {
    const auto [result, out, err] =
        run(callhome_send_swcrash, command_.keyword(65).text(69, "one").null_token().keyword(0xFFFFFFFF));
    EXPECT_EQ(result, 0);
    EXPECT_EQ(err, "token id 65 \ntoken id -1 \n");
    EXPECT_EQ(asked(), Asked{"2157/3"});
    EXPECT_EQ(text(sent().parameter_1), "one");
}

TEST_F(ActionMessageTest, EachKnowsOnlyItsOwnParameters) {
    Command swcrash;
    EXPECT_EQ(run(callhome_send_swcrash, swcrash.text(66, "x")).err, "token id 66 \n");
    Command obx;
    EXPECT_EQ(run(callhome_send_obx, obx.text(69, "x").text(70, "y")).err, "token id 69 \ntoken id 70 \n");
    EXPECT_EQ(text(sent().parameter_1) + text(sent().parameter_2), "");
}

TEST_F(ActionMessageTest, OtherMessagesDoNotLookAtTheirTokens) {
    EXPECT_EQ(run(callhome_test, command_.text(69, "x")).err, "");
    EXPECT_EQ(text(sent().parameter_1), "");
}

TEST_F(ActionMessageTest, CutsAParameterThatIsLongerThanItsField) {
    run(callhome_send_swcrash, command_.text(69, std::string(300, 'a')).text(70, std::string(5000, 'b')));
    EXPECT_EQ(text(sent().parameter_1), std::string(255, 'a'));
    EXPECT_EQ(text(sent().parameter_2), std::string(255, 'b'));
}

TEST_F(ActionMessageTest, PassesOverAParameterWithoutAValue) {
    EXPECT_EQ(run(callhome_send_obx, command_.text(66, "kept").keyword(66).keyword(65)).err, "");
    EXPECT_EQ(text(sent().parameter_1), "kept");
    EXPECT_EQ(text(sent().parameter_2), "");
}

}  // namespace
}  // namespace callhome::test
