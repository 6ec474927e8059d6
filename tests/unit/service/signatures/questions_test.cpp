#include "signatures/questions.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>

#include "fake_signatures.h"
#include "requests/fields.h"

namespace callhome::service {
namespace {

using protocol::DsQuestionRecord;
using protocol::ResultCode;

constexpr const char* text = "the text of the signature";

Signature asking_signature() {
    Signature signature = plain_signature(7);
    SignatureVariable port = prompted_variable("ds_port", "Which port?");
    port.pattern = "[0-9]+";
    port.default_value = "1";
    SignatureVariable site;
    site.name = "ds_site";
    signature.variables = {port, site, prompted_variable("ds_mail", "Whom to tell?")};
    return signature;
}

CatalogueEntry entry_of(const Signature& signature) {
    CatalogueEntry entry;
    entry.id = signature.id;
    entry.signature = std::make_shared<const Signature>(signature);
    return entry;
}

std::vector<DsQuestionRecord> asked() {
    return questions_of(entry_of(asking_signature()), text, {});
}

void set_answer(DsQuestionRecord& question, std::string_view answer) {
    std::ranges::fill(question.answer, '\0');
    write_text(question.answer, answer);
}

TEST(Questions, AreThoseOfTheVariablesThatAreAskedForInTheirOrder) {
    const auto questions = asked();
    ASSERT_EQ(questions.size(), 2U);
    EXPECT_STREQ(questions[0].prompt, "Which port?");
    EXPECT_STREQ(questions[0].answer, "1");
    EXPECT_STREQ(questions[0].result, "");
    EXPECT_STREQ(questions[1].prompt, "Whom to tell?");
    EXPECT_STREQ(questions[1].answer, "");
}

TEST(Questions, OfferFirstWhatWasAnsweredBeforeThenTheDefaultThenTheEnvironment) {
    CatalogueEntry entry = entry_of(asking_signature());
    const VariableValues environment{{"ds_port", "5"}, {"ds_mail", "ada@example.net"}};
    auto questions = questions_of(entry, text, environment);
    EXPECT_STREQ(questions[0].answer, "1");
    EXPECT_STREQ(questions[1].answer, "ada@example.net");
    entry.answers = {{"ds_port", "8"}};
    questions = questions_of(entry, text, environment);
    EXPECT_STREQ(questions[0].answer, "8");
}

TEST(Questions, AreAnsweredAsTheyCome) {
    auto answered = asked();
    set_answer(answered[0], "23");
    set_answer(answered[1], "ada@example.net");
    const Answers answers = read_answers(asking_signature(), text, answered);
    EXPECT_EQ(answers.code, ResultCode::ok);
    EXPECT_EQ(answers.values.at("ds_port"), "23");
    EXPECT_EQ(answers.values.at("ds_mail"), "ada@example.net");
    EXPECT_EQ(answers.values.size(), 2U);
    EXPECT_STREQ(answered[0].result, "");
}

TEST(Questions, MayBeAnsweredInAnotherOrder) {
    auto answered = asked();
    set_answer(answered[1], "ada@example.net");
    std::ranges::reverse(answered);
    const Answers answers = read_answers(asking_signature(), text, answered);
    EXPECT_EQ(answers.code, ResultCode::ok);
    EXPECT_EQ(answers.values.at("ds_port"), "1");
}

TEST(Questions, AnAnswerThatDoesNotMatchIsNamedAndTheOthersAreNot) {
    auto answered = asked();
    set_answer(answered[0], "many");
    set_answer(answered[1], "ada@example.net");
    const Answers answers = read_answers(asking_signature(), text, answered);
    EXPECT_EQ(answers.code, ResultCode::prompt_value_invalid);
    EXPECT_NE(std::string(answered[0].result).find("ds_port"), std::string::npos) << answered[0].result;
    EXPECT_STREQ(answered[1].result, "");
}

TEST(Questions, AResultFromOutsideIsNotHandedBack) {
    auto answered = asked();
    set_answer(answered[1], "ada@example.net");
    write_text(answered[0].result, "forged");
    EXPECT_EQ(read_answers(asking_signature(), text, answered).code, ResultCode::ok);
    EXPECT_STREQ(answered[0].result, "");
}

TEST(Questions, AnAnswerToAnotherTextIsNone) {
    auto answered = asked();
    const Answers answers = read_answers(asking_signature(), "a later text", answered);
    EXPECT_EQ(answers.code, ResultCode::prompt_missing);
    EXPECT_STRNE(answered[0].result, "");
    EXPECT_STRNE(answered[1].result, "");
}

TEST(Questions, AKeyThatNobodyHasGivenIsNoQuestion) {
    for (const std::uint8_t byte : std::array<std::uint8_t, 3>{0x00, 0x01, 0xFF}) {
        auto answered = asked();
        std::ranges::fill(answered[0].key, byte);
        EXPECT_EQ(read_answers(asking_signature(), text, answered).code, ResultCode::prompt_missing);
        EXPECT_STRNE(answered[0].result, "");
    }
}

TEST(Questions, AVariableOfTheEnvironmentIsNotAnswered) {
    Signature all_asked = asking_signature();
    all_asked.variables[1].prompt = "Which site?";
    auto answered = questions_of(entry_of(all_asked), text, {});
    ASSERT_EQ(answered.size(), 3U);
    EXPECT_EQ(read_answers(asking_signature(), text, answered).code, ResultCode::prompt_missing);
    EXPECT_STRNE(answered[1].result, "");
}

TEST(Questions, OneThatIsNotAnsweredIsMissed) {
    auto answered = asked();
    answered.pop_back();
    const Answers answers = read_answers(asking_signature(), text, answered);
    EXPECT_EQ(answers.code, ResultCode::prompt_missing);
    EXPECT_EQ(answers.why, "ds_mail was not answered");
}

TEST(Questions, AnAnswerWithoutATerminatorIsTooLong) {
    auto answered = asked();
    std::ranges::fill(answered[0].answer, '7');
    EXPECT_EQ(read_answers(asking_signature(), text, answered).code, ResultCode::prompt_value_invalid);
    EXPECT_STRNE(answered[0].result, "");
}

}  // namespace
}  // namespace callhome::service
