// Installing a signature: its questions, what is typed, and what of it reaches the service.
#include "command.h"
#include "protocol/records/signature.h"
#include "typed_input.h"

namespace callhome::test {
namespace {

using protocol::DsActionRecord;
using protocol::DsQuestionRecord;

constexpr std::uint32_t signature_id = 107;
constexpr std::uint32_t install_action = 32;
constexpr std::uint32_t answers_action = 33;
constexpr std::size_t record_size = 217;
constexpr std::size_t question_size = 400;

constexpr const char* exchange_failed = "Failed to run this command due to mts error.\n";

using Questions = std::vector<DsQuestionRecord>;

DsQuestionRecord question(std::string_view prompt, std::string_view default_answer = {}) {
    DsQuestionRecord record{};
    std::memset(record.key, 0xA5, sizeof record.key);
    put(record.answer, default_answer);
    put(record.prompt, prompt);
    return record;
}

DsQuestionRecord result(std::string_view message) {
    DsQuestionRecord record{};
    put(record.result, message);
    return record;
}

// What the service sends: the record, then the entries; by default as many as it says.
Answer reply_of(const Questions& entries, std::uint32_t status = 0,
                std::optional<std::uint32_t> count = std::nullopt) {
    DsActionRecord record{};
    record.action = install_action;
    record.ds_id = 7;
    record.status = status;
    record.entry_count = count.value_or(static_cast<std::uint32_t>(entries.size()));
    Answer reply = answer(record);
    for (const DsQuestionRecord& entry : entries) {
        const auto* bytes = reinterpret_cast<const std::byte*>(&entry);
        reply.reply->insert(reply.reply->end(), bytes, bytes + sizeof entry);
    }
    return reply;
}

Questions three_questions() {
    return {question("Which interface?", "eth0"), question("How many times?"), question("Who?", "ops")};
}

class SignatureInstallTest : public LibraryTest {
 protected:
    Outcome install(std::string_view typed, InputFrom from = InputFrom::pipe) {
        TypedInput input(typed, from);
        Outcome outcome = run(ch_exec_gch_ds_install, command_);
        // At a terminal, nothing would come and all would stand still.
        unread_ = from == InputFrom::pipe ? input.rest() : "";
        return outcome;
    }
    // Both exchanges go well.
    Outcome install(const Questions& questions, std::string_view typed, InputFrom from = InputFrom::pipe) {
        service_says(reply_of(questions));
        service_says(reply_of({}));
        return install(typed, from);
    }

    // Entry `index` as it went back to the service.
    static DsQuestionRecord sent_back(std::size_t index) {
        const Bytes& sent = platform().exchanges.back().sent;
        DsQuestionRecord record{};
        const std::size_t start = record_size + index * question_size;
        EXPECT_LE(start + question_size, sent.size());
        if (start + question_size <= sent.size()) {
            std::memcpy(&record, sent.data() + start, sizeof record);
        }
        return record;
    }
    static std::vector<std::string> answers_sent() {
        std::vector<std::string> answers;
        const std::size_t length = platform().exchanges.back().sent.size();
        for (std::size_t index = 0; record_size + index * question_size < length; ++index) {
            answers.push_back(text(sent_back(index).answer));
        }
        return answers;
    }

    void expect_abandoned(const Outcome& outcome, const char* asked_questions) {
        EXPECT_EQ(outcome.result, 1);
        EXPECT_EQ(outcome.out, asked_questions);
        EXPECT_EQ(outcome.err, "");
        EXPECT_EQ(asked(), Asked{"312332/3"}) << "no answers go to the service";
    }

    Command command_;
    std::string unread_;
};

TEST_F(SignatureInstallTest, AsksTheServiceForTheQuestions) {
    service_says(reply_of({}));
    command_.number(signature_id, 3U).keyword(108).null_token().number(signature_id, 7U);
    const auto [result, out, err] = install("unread\n");
    EXPECT_EQ(result, 0);
    EXPECT_EQ(out + err, "");
    EXPECT_EQ(unread_, "unread\n") << "without questions, nothing is read";
    const Exchange& only = platform().exchanges.back();
    DsActionRecord expected{};
    expected.action = install_action;
    expected.ds_id = 7;
    EXPECT_EQ(asked(), Asked{"312332/3"});
    EXPECT_EQ(only.length, 217U);
    EXPECT_TRUE(only.sent == in_transport_order(expected));
    EXPECT_EQ(only.cmd_type, 1U);
}

TEST_F(SignatureInstallTest, AsksEachQuestionWithItsDefaultAndSendsTheAnswersBack) {
    const auto [result, out, err] = install(three_questions(), "eth7\n3\nthe night shift\nrest\n");
    EXPECT_EQ(result, 0);
    EXPECT_EQ(out, "Which interface? [eth0]?How many times? Who? [ops]?");
    EXPECT_EQ(err, "");
    EXPECT_EQ(unread_, "rest\n");
    EXPECT_EQ(asked(), (Asked{"312332/3", "312332/3"}));
    EXPECT_EQ(answers_sent(), (Lines{"eth7", "3", "the night shift"}));
}

TEST_F(SignatureInstallTest, SendsTheReplyBackAsItCameButForActionAndAnswers) {
    service_says(reply_of(three_questions()));
    service_says(reply_of({}));
    // More came than was announced: it goes back, too.
    platform().answers.front().reply->resize(record_size + 3 * question_size + 11, std::byte{0x77});
    const Bytes came = *platform().answers.front().reply;
    install("\n3\n\n");
    const Exchange& second = platform().exchanges.back();
    EXPECT_EQ(second.length, came.size());
    Bytes expected = came;
    expected[3] = std::byte{answers_action};
    const std::size_t answered = record_size + question_size;
    expected[answered + 16] = std::byte{'3'};
    expected[answered + 144] = std::byte{0};  // the answer's terminator falls on the prompt
    EXPECT_TRUE(second.sent == expected);
}

TEST_F(SignatureInstallTest, KeepsTheDefaultForAnEmptyAnswer) {
    install(three_questions(), "\n\n\n");
    EXPECT_EQ(answers_sent(), (Lines{"eth0", "", "ops"}));
    EXPECT_EQ(text(sent_back(0).prompt), "Which interface?") << "nothing was put over it";
}

TEST_F(SignatureInstallTest, LeavesNothingOfTheDefaultBehindAShorterAnswer) {
    install({question("Who?", "the whole department")}, "me\n");
    const DsQuestionRecord sent = sent_back(0);
    EXPECT_EQ(std::string(sent.answer, sizeof sent.answer), "me" + std::string(126, '\0'));
    EXPECT_EQ(std::string(sent.prompt, 4), std::string("\0ho?", 4));
}

TEST_F(SignatureInstallTest, TakesAnAnswerOf127CharactersWhole) {
    const std::string longest(127, 'a');
    install({question("Who?")}, longest + "\nnext\n");
    EXPECT_EQ(answers_sent(), Lines{longest});
    EXPECT_EQ(unread_, "\nnext\n") << "the line end did not fit";
}

TEST_F(SignatureInstallTest, LeavesALineEndThatDidNotFitToTheNextQuestion) {
    const std::string longest(127, 'a');
    install({question("Who?"), question("When?", "now")}, longest + "\nlater\n");
    EXPECT_EQ(answers_sent(), (Lines{longest, "now"}));
    EXPECT_EQ(unread_, "later\n");
}

TEST_F(SignatureInstallTest, ReadsALongerLineInPieces) {
    const Questions four(4, question("Who?"));
    install(four, std::string(128, 'a') + "\nlast\nrest\n");
    EXPECT_EQ(answers_sent(), (Lines{std::string(127, 'a'), "a", "last", "rest"}));

    install(four, std::string(300, 'b') + "\nlast\n");
    EXPECT_EQ(answers_sent(),
              (Lines{std::string(127, 'b'), std::string(127, 'b'), std::string(46, 'b'), "last"}));
    EXPECT_EQ(unread_, "");
}

TEST_F(SignatureInstallTest, TakesALastLineWithoutItsEnd) {
    install({question("Who?")}, "me");
    EXPECT_EQ(answers_sent(), Lines{"me"});
}

TEST_F(SignatureInstallTest, KeepsBlanksTabsAndOtherControlCharacters) {
    install({question("Who?"), question("When?"), question("Why?")}, "  a\tb \r\n\x1B[31m\xFF\n \n");
    EXPECT_EQ(answers_sent(), (Lines{"  a\tb \r", "\x1B[31m\xFF", " "}));
}

TEST_F(SignatureInstallTest, EndsAnAnswerAtAZeroByte) {
    install({question("Who?", "ops"), question("When?", "now")}, std::string_view("\0me\nla\0ter\n", 11));
    EXPECT_EQ(answers_sent(), (Lines{"ops", "la"}));
}

TEST_F(SignatureInstallTest, GivesUpAtTheEndOfInput) {
    for (const char* typed : {"", "eth7", "eth7\n"}) {
        platform() = Platform{};
        const bool has_first = *typed != '\0';
        expect_abandoned(install(three_questions(), typed), has_first
                                                                ? "Which interface? [eth0]?How many times? "
                                                                : "Which interface? [eth0]?");
    }
}

TEST_F(SignatureInstallTest, GivesUpWhereTheInputCannotBeRead) {
    service_says(reply_of(three_questions()));
    TypedInput input("eth7\n");
    std::FILE* readable = stdin;
    stdin = std::fopen("/", "r");  // a folder
    const Outcome outcome = run(ch_exec_gch_ds_install, command_);
    (void)std::fclose(stdin);
    stdin = readable;
    expect_abandoned(outcome, "Which interface? [eth0]?");
}

TEST_F(SignatureInstallTest, GivesUpWhenAnAnswerHoldsOneOfThreeKeys) {
    for (const char* key : {"\x1A", "\x03", "\x04"}) {
        for (const char* around : {"", "eth7", "a b"}) {
            platform() = Platform{};
            const std::string line = std::string(around) + key + around + "\n";
            expect_abandoned(install(three_questions(), line + "3\nops\n"), "Which interface? [eth0]?");
            EXPECT_EQ(unread_, "3\nops\n") << "the line was read whole";
        }
    }
}

TEST_F(SignatureInstallTest, GivesUpAtALaterQuestionToo) {
    expect_abandoned(install(three_questions(), "eth7\n\x1A\nops\n"),
                     "Which interface? [eth0]?How many times? ");
}

TEST_F(SignatureInstallTest, TakesAnswersFromATerminal) {
    for (const InputFrom from : {InputFrom::terminal, InputFrom::raw_terminal}) {
        const auto [result, out, err] = install(three_questions(), "eth7\n\nthe night shift\n", from);
        EXPECT_EQ(result, 0);
        EXPECT_EQ(out, "Which interface? [eth0]?How many times? Who? [ops]?");
        EXPECT_EQ(answers_sent(), (Lines{"eth7", "", "the night shift"}));
    }
}

TEST_F(SignatureInstallTest, GivesUpWhenOneOfThreeKeysIsTypedAtATerminal) {
    for (const char* key : {"\x1A", "\x03", "\x04"}) {
        for (const char* before : {"", "eth7"}) {
            platform() = Platform{};
            expect_abandoned(
                install(three_questions(), std::string(before) + key + "\n", InputFrom::raw_terminal),
                "Which interface? [eth0]?");
        }
    }
    for (const char* typed : {"\x1A\n", "eth7\x1A\n", "\x03\n", "eth7\x03\n", "\x04"}) {
        platform() = Platform{};
        expect_abandoned(install(three_questions(), typed, InputFrom::terminal),
                         "Which interface? [eth0]?");
    }
}

TEST_F(SignatureInstallTest, AsksAgainAtATerminalWhereTheLastInstallationWasGivenUp) {
    const TypedInput input("\x04", InputFrom::terminal);
    service_says(reply_of(three_questions()));
    expect_abandoned(run(ch_exec_gch_ds_install, command_), "Which interface? [eth0]?");
    service_says(reply_of(three_questions()));
    input.type("eth7\n3\nme\n");
    EXPECT_EQ(run(ch_exec_gch_ds_install, command_).out,
              "Which interface? [eth0]?How many times? Who? [ops]?");
    EXPECT_EQ(answers_sent(), (Lines{"eth7", "3", "me"}));
}

TEST_F(SignatureInstallTest, AsksManyQuestions) {
    constexpr std::size_t many = 1000;
    std::string typed;
    for (std::size_t index = 0; index < many; ++index) {
        typed += std::to_string(index) + "\n";
    }
    EXPECT_EQ(install(Questions(many, question("Which?")), typed).result, 0);
    ASSERT_EQ(answers_sent().size(), many);
    EXPECT_EQ(answers_sent()[many - 1], "999");
}

TEST_F(SignatureInstallTest, ReadsQuestionsThatFillTheirFields) {
    DsQuestionRecord full = question(std::string(200, 'p'), std::string(200, 'd'));
    install({full, full}, "\nme\n");
    EXPECT_EQ(answers_sent(), (Lines{std::string(128, 'd'), "me"}));
    service_says(reply_of({full}));
    EXPECT_EQ(install("\n").out, std::string(128, 'p') + " [" + std::string(128, 'd') + "]?");
}

TEST_F(SignatureInstallTest, PrintsPercentSignsAsTheyStand) {
    EXPECT_EQ(install({question("100%s %n?", "50%%")}, "%d\n").out, "100%s %n? [50%%]?");
    EXPECT_EQ(answers_sent(), Lines{"%d"});
}

TEST_F(SignatureInstallTest, IsDoneWithoutAWordWhenNoReplyComes) {
    const auto [result, out, err] = install("");
    EXPECT_EQ(result, 0);
    EXPECT_EQ(out + err, "");
    EXPECT_EQ(asked().size(), 1U);
}

TEST_F(SignatureInstallTest, FailsWhenTheServiceRefuses) {
    service_says(reply_of(three_questions(), 1017));
    const auto [result, out, err] = install("eth7\n3\nme\n");
    EXPECT_EQ(result, 1);
    EXPECT_EQ(out, "");
    EXPECT_EQ(err, "DS does not exist.\n");
    EXPECT_EQ(asked().size(), 1U);
}

TEST_F(SignatureInstallTest, FailsWhenTheFirstExchangeDoes) {
    for (const ServiceStatus status : {5, 0x403B0001, 0x403B0010}) {
        Answer refused = reply_of(three_questions());
        refused.status = status;
        service_says(refused);
        const auto [result, out, err] = install("eth7\n3\nme\n");
        EXPECT_EQ(result, 1);
        EXPECT_EQ(out, "");
        EXPECT_EQ(err, exchange_failed);
    }
}

TEST_F(SignatureInstallTest, AsksNothingWhenTheQuestionsAreIncomplete) {
    const std::size_t whole = record_size + 3 * question_size;
    for (std::size_t length = 1; length < whole; length += length < record_size + 2 ? 1 : 57) {
        platform() = Platform{};
        service_says(cut(reply_of(three_questions()), length));
        const auto [result, out, err] = install("eth7\n3\nme\n");
        EXPECT_EQ(result, 1) << length;
        EXPECT_EQ(out, "") << length;
        EXPECT_EQ(err, exchange_failed) << length;
        EXPECT_EQ(asked().size(), 1U);
    }
}

TEST_F(SignatureInstallTest, BelievesNoCountOfQuestions) {
    for (const std::uint32_t count : {4U, 0x00A3D70BU, 0x7FFFFFFFU, 0xFFFFFFFFU}) {
        service_says(reply_of(three_questions(), 0, count));
        const auto [result, out, err] = install("eth7\n3\nme\nmore\n");
        EXPECT_EQ(result, 1);
        EXPECT_EQ(out, "");
        EXPECT_EQ(err, exchange_failed);
    }
    service_says(reply_of(three_questions(), 0, 1));
    service_says(reply_of({}));
    EXPECT_EQ(install("eth7\n3\n").out, "Which interface? [eth0]?");
    EXPECT_EQ(unread_, "3\n");
    EXPECT_EQ(answers_sent(), (Lines{"eth7", "", "ops"})) << "all of the reply goes back";
}

TEST_F(SignatureInstallTest, SaysWhatTheServiceFindsWrongWithTheAnswersAndIsDone) {
    service_says(reply_of(three_questions()));
    service_says(reply_of({result("eth7 is down: 100%"), result(""), result("nobody is called me")}, 1030));
    const auto [result, out, err] = install("eth7\n3\nme\n");
    EXPECT_EQ(result, 0);
    EXPECT_EQ(err, "DS prompt variable contains invalid value.\neth7 is down: 100%\nnobody is called me\n");
}

TEST_F(SignatureInstallTest, ShowsMessagesOfASuccessToo) {
    service_says(reply_of(three_questions()));
    service_says(reply_of({result(""), result("taken as three"), result("")}));
    EXPECT_EQ(install("\n3\n\n").err, "taken as three\n");
}

TEST_F(SignatureInstallTest, ReadsAsManyMessagesAsWereAskedAndCame) {
    const std::string longest(128, 'm');
    const Questions messages{result("1"), result(longest + "cut"), result("3"), result("4")};
    // How many the second reply says to have means nothing.
    for (const std::uint32_t count : {0U, 4U, 0xFFFFFFFFU}) {
        service_says(reply_of(three_questions()));
        service_says(reply_of(messages, 0, count));
        EXPECT_EQ(install("\n\n\n").err, "1\n" + longest + "\n3\n");
    }
    service_says(reply_of(three_questions()));
    service_says(cut(reply_of(messages), record_size + 2 * question_size - 1));
    EXPECT_EQ(install("\n\n\n").err, "1\n");
    service_says(reply_of(three_questions()));
    service_says(cut(reply_of(messages, 1017), record_size));
    const auto [result, out, err] = install("\n\n\n");
    EXPECT_EQ(result, 0);
    EXPECT_EQ(err, "DS does not exist.\n");
}

TEST_F(SignatureInstallTest, FailsWhenTheAnswersReachNobody) {
    std::vector<Answer> failures{Answer{}, refusal(5), refusal(protocol::Status::permission_denied)};
    failures.push_back(reply_of(three_questions(), 1017));
    failures.back().status = 5;
    for (std::size_t length = 0; length < record_size; length += 31) {
        failures.push_back(cut(reply_of({}, 1017), length));
    }
    for (const Answer& failure : failures) {
        service_says(reply_of(three_questions()));
        service_says(failure);
        const auto [result, out, err] = install("\n\n\n");
        EXPECT_EQ(result, 1);
        EXPECT_EQ(err, exchange_failed);
    }
}

}  // namespace
}  // namespace callhome::test
