#include <ostream>

#include "command.h"
#include "protocol/records/destination_profile.h"

namespace callhome::test {
namespace {

using protocol::AddressRecord;

constexpr std::uint32_t user_profile = 22;
constexpr std::uint32_t address = 0x30710004;

struct AddressCommand {
    const char* name;
    uint32_t (*handler)(CommandContext*);
    std::uint32_t opcode;
    bool takes_email_parameter;
};

void PrintTo(const AddressCommand& command, std::ostream* out) {
    *out << command.name;
}

class AddressTest : public LibraryTest, public testing::WithParamInterface<AddressCommand> {
 protected:
    Outcome run_command() { return run(GetParam().handler, command_); }
    static AddressRecord sent() { return platform().exchanges.back().record<AddressRecord>(); }
    static std::string exchange_with(int operation) {
        return std::to_string(GetParam().opcode) + "/" + std::to_string(operation);
    }

    Command command_;
};

TEST_P(AddressTest, AddsAnAddressToAProfile) {
    command_.text(user_profile, "noc").text(address, "noc@example.net");
    const auto [result, out, err] = run_command();
    EXPECT_EQ(result, 0);
    EXPECT_EQ(out + err, "");
    EXPECT_EQ(asked(), Asked{exchange_with(3)});
    EXPECT_EQ(platform().exchanges.at(0).length, 297U);
    EXPECT_FALSE(platform().exchanges.at(0).wants_reply);
    EXPECT_EQ(cmd_type, 2U);

    AddressRecord expected{};
    put(expected.name, "noc");
    put(expected.address, "noc@example.net");
    expected.index = 0;
    expected.reserved = 1;
    EXPECT_EQ(platform().exchanges.at(0).sent, in_transport_order(expected));
}

TEST_P(AddressTest, RemovesAnAddressByTheNoForm) {
    command_.no().text(user_profile, "noc").text(address, "noc@example.net");
    EXPECT_EQ(run_command().result, 0);
    EXPECT_EQ(asked(), Asked{exchange_with(4)});
    EXPECT_EQ(text(sent().address), "noc@example.net");
    EXPECT_EQ(sent().reserved, 1U);
}

TEST_P(AddressTest, KnowsTheBuiltInProfilesByTheirKeywords) {
    const std::map<std::uint32_t, std::string> names{
        {18, "ZUVA-profile"}, {19, "full_txt"}, {20, "short_txt"}};
    for (const auto& [keyword, name] : names) {
        Command command;
        run(GetParam().handler, command.text(keyword, "another word").text(address, "a"));
        EXPECT_EQ(text(sent().name), name);
    }
}

TEST_P(AddressTest, TheEmailParameterIsReadByTheEmailCommandAlone) {
    command_.text(user_profile, "noc").text(16, "noc@example.net");
    run_command();
    EXPECT_EQ(text(sent().address), GetParam().takes_email_parameter ? "noc@example.net" : "");
}

TEST_P(AddressTest, LetsLaterTokensWinAndIgnoresOthers) {
    command_.keyword(18)
        .text(user_profile, "noc")
        .text(address, "first")
        .text(24, "x")
        .text(address, "2nd");
    run_command();
    EXPECT_EQ(text(sent().name), "noc");
    EXPECT_EQ(text(sent().address), "2nd");
}

TEST_P(AddressTest, CutsTextsToTheirFields) {
    command_.text(user_profile, std::string(300, 'n')).text(address, std::string(5000, 'a')).null_token();
    run_command();
    EXPECT_EQ(text(sent().name), std::string(31, 'n'));
    EXPECT_EQ(text(sent().address), std::string(255, 'a'));
    EXPECT_EQ(sent().index, 0U);
    EXPECT_EQ(sent().reserved, 1U);
    EXPECT_EQ(sent().trailing_flag, 0);
}

TEST_P(AddressTest, PassesOverMissingValues) {
    command_.text(user_profile, "noc").text(address, "kept").keyword(user_profile).keyword(address);
    run_command();
    EXPECT_EQ(text(sent().name), "noc");
    EXPECT_EQ(text(sent().address), "kept");
}

TEST_P(AddressTest, ReportsEveryRefusalByItsText) {
    for (const bool no_form : {false, true}) {
        Command command;
        command.context()->no_form = no_form ? 1 : 0;
        service_refuses(0x403B000D);
        const auto [result, out, err] = run(GetParam().handler, command);
        EXPECT_EQ(result, 1);
        EXPECT_EQ(out, "text of 0x403B000D\n");
        EXPECT_EQ(err, "");
    }
}

INSTANTIATE_TEST_SUITE_P(Kinds, AddressTest,
                         testing::Values(AddressCommand{"email", callhome_destprofile_email, 2153, true},
                                         AddressCommand{"url", callhome_destprofile_url, 2190, false}),
                         [](const auto& command) { return command.param.name; });

}  // namespace
}  // namespace callhome::test
