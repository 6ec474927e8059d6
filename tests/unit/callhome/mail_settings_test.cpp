#include "command.h"
#include "mail_records.h"

namespace callhome::test {
namespace {

class MailSettingsTest : public LibraryTest {
 protected:
    // Runs the command against settings that the service keeps.
    Outcome configure() {
        service_says(answer(kept_settings()));
        return run(callhome_email, command_);
    }
    static MailSettingsRecord sent() { return platform().exchanges.back().record<MailSettingsRecord>(); }
    // A copy: the field itself lies at an odd address.
    static std::uint32_t sent_vrf_id() { return sent().vrf_id; }
    // The settings that the service keeps, as a change must send them.
    static MailSettingsRecord unchanged() {
        MailSettingsRecord settings = kept_settings();
        settings.trailing_flag = 0;
        return settings;
    }
    static void expect_sent(const MailSettingsRecord& expected) {
        EXPECT_EQ(platform().exchanges.back().length, 1293U);
        EXPECT_TRUE(platform().exchanges.back().sent == in_transport_order(expected));
    }

    Command command_;
};

TEST_F(MailSettingsTest, ReadsTheSettingsAndWritesThemBack) {
    const auto [result, out, err] = configure();
    EXPECT_EQ(result, 0);
    EXPECT_EQ(out + err, "");
    EXPECT_EQ(asked(), (Asked{"2152/5", "2152/3"}));
    EXPECT_EQ(platform().exchanges.at(0).sent, in_transport_order(MailSettingsRecord{}));
    EXPECT_TRUE(platform().exchanges.at(0).wants_reply);
    EXPECT_FALSE(platform().exchanges.at(1).wants_reply);
    EXPECT_EQ(cmd_type, 2U);
    expect_sent(unchanged());
}

TEST_F(MailSettingsTest, WritesBackBytesThatNoHandlerKnows) {
    Bytes kept = in_transport_order(kept_settings());
    kept[200] = std::byte{0xAB};  // behind the terminator of the sender
    service_says({.status = 0, .reply = kept});
    run(callhome_email, command_.text(reply_to_address, "x"));
    EXPECT_EQ(platform().exchanges.back().sent[200], std::byte{0xAB});
}

TEST_F(MailSettingsTest, FallsBackToTheEffectiveCopy) {
    for (const ServiceStatus no_pending_copy : {0x403B0032, 0x403B0034}) {
        Command command;
        platform().exchanges.clear();
        service_says(answer(kept_settings(), no_pending_copy));
        service_says(answer(kept_settings()));
        EXPECT_EQ(run(callhome_email, command).result, 0);
        EXPECT_EQ(asked(), (Asked{"2152/5", "2152/1", "2152/3"}));
        EXPECT_EQ(platform().exchanges.at(1).length, 1293U);
    }
}

TEST_F(MailSettingsTest, ReportsARefusalOfTheLookUpOrOfTheSet) {
    service_refuses(not_found);
    Outcome outcome = run(callhome_email, command_);
    EXPECT_EQ(outcome.result, 1);
    EXPECT_EQ(outcome.out, not_found_text);
    EXPECT_EQ(asked(), Asked{"2152/5"});
    service_says(answer(kept_settings()));
    service_refuses(0x403B0010);
    outcome = run(callhome_email, command_);
    EXPECT_EQ(outcome.result, 1);
    EXPECT_EQ(outcome.out, "text of 0x403B0010\n");
    EXPECT_EQ(outcome.err, "");
}

struct TextCase {
    std::uint32_t keyword;
    char (MailSettingsRecord::*field)[256];
};
constexpr TextCase text_cases[] = {
    {from_address, &MailSettingsRecord::from},
    {reply_to_address, &MailSettingsRecord::reply_to},
    {return_receipt_address, &MailSettingsRecord::return_receipt},
    {vrf_name, &MailSettingsRecord::vrf_name},
};

TEST_F(MailSettingsTest, SetsEachText) {
    for (const auto& [keyword, field] : text_cases) {
        Command command;
        service_says(answer(kept_settings()));
        EXPECT_EQ(run(callhome_email, command.text(keyword, "new")).result, 0);
        MailSettingsRecord expected = unchanged();
        put(expected.*field, "new");
        if (keyword == vrf_name) {
            expected.vrf_id = 1;
        }
        expect_sent(expected);
    }
}

TEST_F(MailSettingsTest, CutsEachTextToItsField) {
    for (const auto& [keyword, field] : text_cases) {
        for (const std::size_t length : {255U, 256U, 300U, 5000U}) {
            Command command;
            service_says(answer(kept_settings()));
            run(callhome_email, command.text(keyword, std::string(length, 'x')));
            EXPECT_EQ(text(sent().*field), std::string(255, 'x'));
        }
    }
}

TEST_F(MailSettingsTest, TakesTheServerInEachForm) {
    for (const HostCase& host : host_cases) {
        Command command;
        host.add(command);
        service_says(answer(kept_settings()));
        const auto [result, out, err] = run(callhome_email, command);
        EXPECT_EQ(result, 0);
        EXPECT_EQ(out + err, "");
        MailSettingsRecord expected = unchanged();
        put(expected.smtp_server, host.text);
        expected.address_type = host.type;
        expect_sent(expected);
    }
}

TEST_F(MailSettingsTest, RefusesAServerOfAnotherForm) {
    for (const std::uint32_t value_type : {0U, 1U, 0x40000001U, 0x40000003U, 0xFFFFFFFFU}) {
        Command command;
        platform().exchanges.clear();
        service_says(answer(kept_settings()));
        const auto [result, out, err] = run(
            callhome_email, command.text(from_address, "x").address(mail_host, value_type, {1, 2, 3, 4}));
        EXPECT_EQ(result, 1);
        EXPECT_EQ(out, "");
        EXPECT_EQ(err, "Invalid host address");
        EXPECT_EQ(asked(), Asked{"2152/5"}) << "nothing is changed";
    }
}

TEST_F(MailSettingsTest, WarnsOfAPortThatIsNotTheStandardOne) {
    for (const std::uint32_t port : {0U, 1U, 24U, 25U, 26U, 587U, 65535U}) {
        Command command;
        service_says(answer(kept_settings()));
        const auto [result, out, err] = run(callhome_email, command.number(mail_port, port));
        EXPECT_EQ(result, 0);
        EXPECT_EQ(out, port == 25 ? "" : port_warning);
        EXPECT_EQ(err, "");
        MailSettingsRecord expected = unchanged();
        expected.port = port;
        expect_sent(expected);
    }
}

TEST_F(MailSettingsTest, TheNoFormSendsTheChangedSettingsAsARemovalWithoutAWarning) {
    command_.no().number<std::uint32_t>(mail_port, 587).text(from_address, "still set");
    const auto [result, out, err] = configure();
    EXPECT_EQ(result, 0);
    EXPECT_EQ(out + err, "");
    EXPECT_EQ(asked(), (Asked{"2152/5", "2152/4"}));
    MailSettingsRecord expected = unchanged();
    expected.port = 587;
    put(expected.from, "still set");
    expect_sent(expected);
}

TEST_F(MailSettingsTest, TheNoFormClearsTheFirstCharacterOfTheNamedAddress) {
    const std::map<std::uint32_t, char(MailSettingsRecord::*)[256]> fields{
        {from_keyword, &MailSettingsRecord::from},
        {reply_to_keyword, &MailSettingsRecord::reply_to},
        {smtp_server_keyword, &MailSettingsRecord::smtp_server}};
    for (const auto& [keyword, field] : fields) {
        Command command;
        service_says(answer(kept_settings()));
        EXPECT_EQ(run(callhome_email, command.no().keyword(keyword)).result, 0);
        MailSettingsRecord expected = unchanged();
        (expected.*field)[0] = '\0';
        expect_sent(expected);
    }
}

TEST_F(MailSettingsTest, TheSetFormClearsNothing) {
    command_.keyword(from_keyword).keyword(reply_to_keyword).keyword(smtp_server_keyword);
    configure();
    expect_sent(unchanged());
}

TEST_F(MailSettingsTest, ReportsARefusedRemoval) {
    service_says(answer(kept_settings()));
    service_refuses(not_found);
    const auto [result, out, err] = run(callhome_email, command_.no());
    EXPECT_EQ(result, 1);
    EXPECT_EQ(out, not_found_text);
    EXPECT_EQ(err, "");
}

TEST_F(MailSettingsTest, StoresAVrfWithItsContext) {
    platform().vrfs = {{"management", 2}};
    command_.text(vrf_name, "management");
    configure();
    MailSettingsRecord expected = unchanged();
    put(expected.vrf_name, "management");
    expected.vrf_id = 2;
    expect_sent(expected);
    const Lines calls(platform().calls.begin() + 3, platform().calls.begin() + 5);
    EXPECT_EQ(calls, (Lines{"vrf init", "vrf id of management"}));
}

TEST_F(MailSettingsTest, StoresAnUnknownVrfWithTheContextOne) {
    command_.text(vrf_name, "unheard-of");
    configure();
    EXPECT_EQ(text(sent().vrf_name), "unheard-of");
    EXPECT_EQ(sent_vrf_id(), 1U);
}

TEST_F(MailSettingsTest, StoresAVrfWithTheContextOneWhenThereIsNoVrfManager) {
    platform().vrfs = {{"management", 2}};
    platform().vrf_init_result = -1;
    command_.text(vrf_name, "management");
    configure();
    EXPECT_EQ(text(sent().vrf_name), "management");
    EXPECT_EQ(sent_vrf_id(), 1U);
}

TEST_F(MailSettingsTest, AVrfWithoutANameHasTheContextOne) {
    command_.keyword(vrf_name);
    configure();
    EXPECT_EQ(sent_vrf_id(), 1U);
}

TEST_F(MailSettingsTest, IgnoresKeywordsThatItDoesNotKnowAndThePriority) {
    command_.keyword(1).number<std::uint32_t>(mail_priority, 3).text(999, "x").null_token();
    const auto [result, out, err] = configure();
    EXPECT_EQ(result, 0);
    EXPECT_EQ(out + err, "");
    expect_sent(unchanged());
}

TEST_F(MailSettingsTest, PassesOverMissingValues) {
    for (const std::uint32_t id : {from_address, reply_to_address, return_receipt_address, mail_port}) {
        command_.keyword(id);
    }
    command_.valueless(mail_host, CALLHOME_VALUE_IPV4).valueless(mail_host, CALLHOME_VALUE_HOST_NAME);
    const auto [result, out, err] = configure();
    EXPECT_EQ(result, 0);
    EXPECT_EQ(out + err, "");
    expect_sent(unchanged());
}

TEST_F(MailSettingsTest, ChangesNothingWhenTheAnswerIsIncomplete) {
    for (std::size_t length = 0; length < sizeof(MailSettingsRecord); ++length) {
        Command command;
        platform().exchanges.clear();
        service_says(cut(answer(kept_settings()), length));
        const auto [result, out, err] = run(callhome_email, command.text(from_address, "x"));
        ASSERT_EQ(result, 1);
        ASSERT_EQ(out, "");
        ASSERT_EQ(err, "The answer of the call-home service was incomplete (" + std::to_string(length) +
                           " of 1293 bytes); nothing was changed\n");
        ASSERT_EQ(asked(), Asked{"2152/5"});
    }
}

}  // namespace
}  // namespace callhome::test
