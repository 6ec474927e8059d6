#include "signatures/variables.h"

#include <gtest/gtest.h>

namespace callhome::service {
namespace {

using namespace std::string_literals;
using protocol::ResultCode;

const VariableValues values{
    {"ds_port", "eth0"},           {"ds_po", "short"}, {"ds_money", "$ds_port"}, {"ds_none", ""},
    {"ds_log", "a\r\nBcc: b\0c"s},
};

std::string filled(std::string_view text) {
    const auto result = fill_in(text, values);
    const auto* refusal = std::get_if<Refusal>(&result);
    return refusal == nullptr ? std::get<std::string>(result)
                              : "refused with " + std::to_string(static_cast<std::uint32_t>(refusal->code));
}

TEST(Variables, AreFilledIn) {
    const std::map<std::string, std::string> texts{
        {"", ""},
        {"no variable", "no variable"},
        {"$ds_port", "eth0"},
        {"on $ds_port.", "on eth0."},
        {"${ds_port}1", "eth01"},
        {"$ds_port$ds_port", "eth0eth0"},
        {"$ds_po-rt", "short-rt"},
        {"<$ds_none>", "<>"},
        {"$ds_money", "$ds_port"},  // what a value holds is text
        {"$$ds_port", "$ds_port"},
        {"$$$ds_port", "$eth0"},
        {"$5 $ $x $DS_PORT", "$5 $ $x $DS_PORT"},
        {"at the end $", "at the end $"},
        {"$$", "$"},
        {"{ds_port}", "{ds_port}"},
    };
    for (const auto& [text, expected] : texts) {
        EXPECT_EQ(filled(text), expected) << text;
    }
}

TEST(Variables, WithoutValueOrWithWrongNamesAreRefused) {
    const std::map<std::string, ResultCode> texts{
        {"$ds_unknown", ResultCode::variable_unresolved},
        {"$ds_port and $ds_ports", ResultCode::variable_unresolved},
        {"${ds_unknown}", ResultCode::variable_unresolved},
        {"$ds_", ResultCode::variable_name_invalid},
        {"$ds_3456789012345", ResultCode::variable_name_invalid},
        {"${port}", ResultCode::variable_name_invalid},
        {"${}", ResultCode::variable_name_invalid},
        {"${", ResultCode::variable_name_invalid},
        {"${ds_port", ResultCode::variable_name_invalid},
        {"${ds port}", ResultCode::variable_name_invalid},
        {"${${ds_port}}", ResultCode::variable_name_invalid},
    };
    for (const auto& [text, code] : texts) {
        EXPECT_EQ(filled(text), "refused with " + std::to_string(static_cast<std::uint32_t>(code))) << text;
    }
}

TEST(Variables, DoNotGrowATextWithoutEnd) {
    const VariableValues long_value{{"ds_output", std::string(1'000'000, 'o')}};
    EXPECT_TRUE(std::holds_alternative<std::string>(fill_in("$ds_output$ds_output", long_value)));
    std::string text;
    for (int i = 0; i < 100; ++i) {
        text += "$ds_output";
    }
    const auto result = fill_in(text, long_value);
    ASSERT_TRUE(std::holds_alternative<Refusal>(result));
    EXPECT_EQ(std::get<Refusal>(result).code, ResultCode::over_length);
}

TEST(Variables, CannotAddAHeaderToASubject) {
    const auto subject = fill_in_subject("Log: $ds_log\n", values);
    ASSERT_TRUE(std::holds_alternative<std::string>(subject));
    EXPECT_EQ(std::get<std::string>(subject), "Log: a Bcc: b c");
    const auto long_one = fill_in_subject(std::string(300, 'x'), values);
    EXPECT_EQ(std::get<std::string>(long_one), std::string(longest_signature_subject, 'x'));
}

TEST(Variables, HaveNamesThatARecordCarries) {
    for (const char* name : {"ds_a", "ds_0", "ds__", "ds_345678901234"}) {
        EXPECT_TRUE(is_variable_name(name)) << name;
    }
    for (const char* name :
         {"", "ds", "ds_", "DS_a", "ds_A", "ds-a", "xds_a", "ds_a ", "ds_3456789012345"}) {
        EXPECT_FALSE(is_variable_name(name)) << name;
    }
    EXPECT_FALSE(is_variable_name("ds_a\0b"s));
}

TEST(Variables, TakeOnlyValuesThatTheirPatternMatchesAsAWhole) {
    const SignatureVariable port{
        .name = "ds_port", .prompt = "Port?", .default_value = std::nullopt, .pattern = "eth[0-9]|lo"};
    for (const char* value : {"eth0", "lo"}) {
        EXPECT_FALSE(refuse_value(port, value)) << value;
    }
    for (const char* value : {"", "eth", "eth10", "xlo", "eth0\n", " lo"}) {
        const auto refusal = refuse_value(port, value);
        ASSERT_TRUE(refusal) << value;
        EXPECT_EQ(refusal->code, ResultCode::prompt_value_invalid);
    }
    EXPECT_EQ(refuse_value(port, "eth10")->why, "the value of ds_port does not match eth[0-9]|lo");
}

TEST(Variables, TakeOneLineOfBoundedLength) {
    const SignatureVariable any{.name = "ds_a", .prompt = "", .default_value = std::nullopt, .pattern = ""};
    for (const std::string& value : {""s, "Zürich 1"s, "a; b \"c\""s, std::string(127, 'x')}) {
        EXPECT_FALSE(refuse_value(any, value)) << value;
    }
    for (const std::string& value : {"a\nb"s, "a\rb"s, "a\0b"s, "\x1b[31m"s, "\xFF"s, "a "s,
                                     "a | include b"s, std::string(128, 'x')}) {
        EXPECT_TRUE(refuse_value(any, value)) << value;
    }
}

}  // namespace
}  // namespace callhome::service
