#include "protocol/records/contact.h"
#include "command.h"

namespace callhome::test {
namespace {

using protocol::ContactRecord;

constexpr std::uint32_t site_id = 88;
constexpr std::uint32_t switch_priority = 94;
constexpr std::uint32_t text_value = 4;
constexpr std::uint32_t integer_value = 7;

constexpr const char* cannot_be_deleted =
    "Parameter not set or Callhome enabled\n"
    "The following fields cannot be deleted while callhome is enabled\n"
    "email-contact\n";

class ContactTest : public LibraryTest {
 protected:
    static ContactRecord sent() { return platform().exchanges.back().record<ContactRecord>(); }

    Command command_;
};

TEST_F(ContactTest, NamesEachFieldByItsMibName) {
    const std::map<std::uint32_t, std::string> fields{
        {88, "siteId"},          {89, "contractId"},       {90, "custId"},  {91, "sysContactPhoneNumber"},
        {92, "sysContactEmail"}, {93, "sysStreetAddress"}, {94, "priority"}};
    for (const auto& [keyword, name] : fields) {
        Command command;
        EXPECT_EQ(run(callhome_info, command.keyword(keyword).text(text_value, "v")).result, 0);
        EXPECT_EQ(text(sent().name), name);
        EXPECT_EQ(text(sent().value), "v");
    }
}

TEST_F(ContactTest, SetsAFieldSilently) {
    const auto [result, out, err] =
        run(callhome_info, command_.keyword(site_id).text(text_value, "Berlin 1"));
    EXPECT_EQ(result, 0);
    EXPECT_EQ(out + err, "");
    EXPECT_EQ(asked(), Asked{"2155/3"});
    const Exchange& exchange = platform().exchanges.at(0);
    EXPECT_EQ(exchange.length, 2305U);
    EXPECT_FALSE(exchange.wants_reply);
    ContactRecord expected{};
    put(expected.name, "siteId");
    put(expected.value, "Berlin 1");
    EXPECT_EQ(exchange.sent, in_transport_order(expected)) << "all other bytes are zero";
    EXPECT_EQ(cmd_type, 2U);
}

TEST_F(ContactTest, TakesATextFromEveryTextParameter) {
    for (const std::uint32_t parameter : {4U, 5U, 6U, 8U, 9U, 10U}) {
        Command command;
        run(callhome_info, command.keyword(site_id).text(parameter, "text"));
        EXPECT_EQ(text(sent().value), "text") << parameter;
    }
}

TEST_F(ContactTest, WritesAnIntegerAsSignedDecimalText) {
    const std::map<std::int32_t, std::string> numbers{
        {0, "0"}, {7, "7"}, {-5, "-5"}, {2147483647, "2147483647"}, {INT32_MIN, "-2147483648"}};
    for (const auto& [number, written] : numbers) {
        Command command;
        run(callhome_info, command.keyword(switch_priority).number(integer_value, number));
        EXPECT_EQ(text(sent().name), "priority");
        EXPECT_EQ(text(sent().value), written);
    }
}

TEST_F(ContactTest, LetsLaterTokensWin) {
    run(callhome_info, command_.keyword(92)
                           .text(text_value, "a long first value")
                           .keyword(site_id)
                           .number(integer_value, 12)
                           .text(9, "x"));
    ContactRecord expected{};
    put(expected.name, "siteId");
    put(expected.value, "x");
    EXPECT_EQ(platform().exchanges.at(0).sent, in_transport_order(expected));
}

TEST_F(ContactTest, IgnoresEveryOtherKeyword) {
    run(callhome_info,
        command_.text(1, "callhome").keyword(site_id).text(3, "no").text(text_value, "x").text(11, "y"));
    EXPECT_EQ(text(sent().name), "siteId");
    EXPECT_EQ(text(sent().value), "x");
}

TEST_F(ContactTest, SendsAnEmptyNameWhenNoKeywordNamesAField) {
    run(callhome_info, command_.text(text_value, "x"));
    EXPECT_EQ(text(sent().name), "");
}

TEST_F(ContactTest, CutsATextThatIsLongerThanItsField) {
    run(callhome_info, command_.keyword(site_id).text(text_value, std::string(5000, 'x')));
    EXPECT_EQ(text(sent().value), std::string(2047, 'x'));
    EXPECT_EQ(sent().trailing_flag, 0);
}

TEST_F(ContactTest, PassesOverEmptySlotsAndMissingValues) {
    run(callhome_info, command_.null_token()
                           .keyword(site_id)
                           .text(text_value, "kept")
                           .keyword(text_value)
                           .keyword(integer_value)
                           .null_token());
    EXPECT_EQ(text(sent().name), "siteId");
    EXPECT_EQ(text(sent().value), "kept");
}

TEST_F(ContactTest, ReadsEverySlotOfAFullCommandAndNoneBeyond) {
    for (int slot = 1; slot < 62; ++slot) {
        command_.keyword(1000);
    }
    command_.keyword(site_id).text(text_value, "in the last slot");
    ASSERT_EQ(command_.context()->token_count, 63);
    run(callhome_info, command_);
    EXPECT_EQ(text(sent().value), "in the last slot");
    command_.context()->token_count = 255;
    run(callhome_info, command_);
    EXPECT_EQ(text(sent().value), "in the last slot");
}

TEST_F(ContactTest, SaysHowToGoOnWhenDistributionIsOn) {
    service_refuses(0x403B003A);
    const auto [result, out, err] = run(callhome_info, command_.keyword(site_id).text(text_value, "x"));
    EXPECT_EQ(result, 1);
    EXPECT_EQ(out,
              "text of 0x403B003A\n"
              "please disable pxd distribution for callhome\n"
              "and run this command\n");
    EXPECT_EQ(err, "");
}

TEST_F(ContactTest, PrintsTheTextOfAnyOtherRefusal) {
    service_refuses(0x403B0001);
    const auto [result, out, err] = run(callhome_info, command_.keyword(site_id).text(text_value, "x"));
    EXPECT_EQ(result, 1);
    EXPECT_EQ(out, "text of 0x403B0001\n");
    EXPECT_EQ(err, "");
}

TEST_F(ContactTest, RemovesAField) {
    const auto [result, out, err] = run(callhome_info, command_.no().keyword(site_id));
    EXPECT_EQ(result, 0);
    EXPECT_EQ(out + err, "");
    EXPECT_EQ(asked(), Asked{"2155/4"});
    EXPECT_EQ(platform().exchanges.at(0).length, 2305U);
    EXPECT_FALSE(platform().exchanges.at(0).wants_reply);
    EXPECT_EQ(text(sent().name), "siteId");
    EXPECT_EQ(cmd_type, 2U);
}

TEST_F(ContactTest, NamesTheEmailContactWhicheverFieldCannotBeRemoved) {
    for (const ServiceStatus status : {5, 0x403B000B, 0x403B003A}) {
        Command command;
        service_refuses(status);
        const auto [result, out, err] = run(callhome_info, command.no().keyword(site_id));
        EXPECT_EQ(result, 1);
        EXPECT_EQ(out, cannot_be_deleted);
        EXPECT_EQ(err, "");
    }
}

}  // namespace
}  // namespace callhome::test
