#include "profiles.h"

namespace callhome::test {
namespace {

class DestinationProfileTest : public ProfileTest {
 protected:
    Outcome configure() { return run(callhome_destprofile, command_); }
};

TEST_F(DestinationProfileTest, ReadsTheProfileChangesItAndSendsItBack) {
    service_says(answer(kept_profile()));
    command_.text(user_profile, "noc").number<std::uint32_t>(message_size, 70000);
    const auto [result, out, err] = configure();
    EXPECT_EQ(result, 0);
    EXPECT_EQ(out + err, "");
    EXPECT_EQ(asked(), (Asked{"2154/5", "2154/3"}));
    EXPECT_EQ(cmd_type, 2U);
    ProfileRecord expected = kept_profile();
    expected.message_size = 70000;
    expected.trailing_flag = 0;
    expect_sent(expected);
    EXPECT_FALSE(platform().exchanges.back().wants_reply);
}

TEST_F(DestinationProfileTest, LooksUpByARecordThatHoldsTheNameAndTheTokensOfTheCommand) {
    command_.text(user_profile, "noc")
        .number<std::uint32_t>(message_size, 70000)
        .keyword(format_short_text)
        .number<std::uint8_t>(message_level, 5);
    service_refuses(0x403B0001);
    configure();
    ProfileRecord expected{};
    put(expected.name, "noc");
    expected.lookup_flag = 1;
    expected.message_size = 70000;
    expected.format = 3;
    expected.message_level = 5;
    expect_sent(expected);
    EXPECT_TRUE(platform().exchanges.back().wants_reply);
}

TEST_F(DestinationProfileTest, AsksForTheEffectiveCopyWhenThereIsNoPendingOne) {
    for (const ServiceStatus no_pending_copy : {0x403B0032, 0x403B0034}) {
        Command command;
        platform().exchanges.clear();
        service_says(answer(kept_profile(), no_pending_copy));  // released before the second look-up
        service_says(answer(kept_profile()));
        run(callhome_destprofile, command.text(user_profile, "noc").keyword(format_xml));
        EXPECT_EQ(asked(), (Asked{"2154/5", "2154/1", "2154/3"}));
    }
}

TEST_F(DestinationProfileTest, SendsTheSameKeyAgainConvertedASecondTime) {
    service_refuses(0x403B0034);
    service_says(answer(kept_profile()));
    command_.text(user_profile, "noc").keyword(format_xml);
    configure();
    const Exchange& first = platform().exchanges.at(0);
    const Exchange& second = platform().exchanges.at(1);
    EXPECT_EQ(second.handed_over, first.sent);
    EXPECT_EQ(second.sent, first.handed_over);
    EXPECT_EQ(second.length, 51U);
}

TEST_F(DestinationProfileTest, RetriesTheLookUpOnce) {
    service_refuses(0x403B0034);
    service_refuses(0x403B0032);
    const auto [result, out, err] = configure();
    EXPECT_EQ(asked(), (Asked{"2154/5", "2154/1"}));
    EXPECT_EQ(result, 1);
    EXPECT_EQ(out, "text of 0x403B0032\n");
    EXPECT_EQ(err, "");
}

TEST_F(DestinationProfileTest, ReportsEveryOtherRefusalOfTheLookUp) {
    for (const ServiceStatus status : {5, 0x403B0001, 0x403B0010}) {
        Command command;
        platform().exchanges.clear();
        service_says(answer(kept_profile(), status));
        const auto [result, out, err] = run(callhome_destprofile, command.text(user_profile, "noc"));
        EXPECT_EQ(result, 1);
        EXPECT_EQ(asked(), Asked{"2154/5"});
        EXPECT_EQ(err, "");
    }
}

TEST_F(DestinationProfileTest, ReportsARefusedSet) {
    service_says(answer(kept_profile()));
    service_refuses(0x403B000F);
    const auto [result, out, err] = configure();
    EXPECT_EQ(result, 1);
    EXPECT_EQ(out, "text of 0x403B000F\n");
    EXPECT_EQ(err, "");
}

TEST_F(DestinationProfileTest, CreatesAProfileWithItsDefaults) {
    service_refuses(not_found);
    command_.form(create_form).text(user_profile, "noc");
    const auto [result, out, err] = configure();
    EXPECT_EQ(result, 0);
    EXPECT_EQ(out + err, "");
    EXPECT_EQ(asked(), (Asked{"2154/5", "2154/3"}));
    expect_sent(new_profile("noc"));
}

TEST_F(DestinationProfileTest, CreatesAProfileAlsoAfterTheFallback) {
    service_refuses(0x403B0034);
    service_refuses(not_found);
    command_.text(user_profile, "noc").number<std::uint32_t>(message_size, 9000);
    EXPECT_EQ(configure().result, 0);
    EXPECT_EQ(asked(), (Asked{"2154/5", "2154/1", "2154/3"}));
    ProfileRecord expected = new_profile("noc");
    expected.message_size = 9000;
    expect_sent(expected);
}

TEST_F(DestinationProfileTest, TheCreationFormReadsNothingButTheName) {
    service_refuses(not_found);
    command_.form(create_form)
        .text(1, "destination-profile")
        .keyword(format_short_text)
        .text(message_size, "noc");
    EXPECT_EQ(configure().result, 0);
    EXPECT_EQ(platform().exchanges.front().record<ProfileRecord>().message_size, 0U);
    expect_sent(new_profile("noc"));
}

TEST_F(DestinationProfileTest, ANewProfileTakesItsNameAlsoWhenTheServiceSendsARecordAlong) {
    ProfileRecord reply = kept_profile();
    put(reply.name, "someone else");
    service_says(answer(reply, not_found_code));
    command_.text(user_profile, "noc").keyword(format_short_text);
    EXPECT_EQ(configure().result, 0);
    ProfileRecord expected = new_profile("noc");
    expected.format = 3;
    expected.message_size = 4000;
    expected.spare = kept_profile().spare;
    expected.lookup_flag = 0x55000000;  // left as it came, which is in transport order
    expect_sent(expected);
}

TEST_F(DestinationProfileTest, ANewProfileStartsFromNothingWhenTheReplyIsCutShort) {
    for (std::size_t length = 0; length < sizeof(ProfileRecord); ++length) {
        Command command;
        service_says(cut(answer(kept_profile(), not_found_code), length));
        EXPECT_EQ(run(callhome_destprofile, command.text(user_profile, "noc")).result, 0);
        expect_sent(new_profile("noc"));
    }
}

struct FormatCase {
    std::uint32_t keyword, format, size;
};

TEST_F(DestinationProfileTest, AFormatBringsItsSize) {
    for (const auto& [keyword, format, size] :
         {FormatCase{format_xml, 1, 2500000}, FormatCase{format_full_text, 2, 2500000},
          FormatCase{format_short_text, 3, 4000}}) {
        Command command;
        service_says(answer(kept_profile()));
        run(callhome_destprofile, command.text(user_profile, "noc").keyword(keyword));
        ProfileRecord expected = kept_profile();
        expected.trailing_flag = 0;
        expected.format = format;
        expected.message_size = size;
        expect_sent(expected);
    }
}

TEST_F(DestinationProfileTest, AFormatReplacesAnEarlierSizeAndALaterSizeReplacesTheFormats) {
    service_says(answer(kept_profile()));
    command_.number<std::uint32_t>(message_size, 70000).keyword(format_short_text);
    configure();
    EXPECT_EQ(sent().message_size, 4000U);
    Command other;
    service_says(answer(kept_profile()));
    run(callhome_destprofile, other.keyword(format_short_text).number<std::uint32_t>(message_size, 70000));
    EXPECT_EQ(sent().message_size, 70000U);
    EXPECT_EQ(sent().format, 3U);
}

TEST_F(DestinationProfileTest, SettingTheSizeOfAnUnknownProfileCreatesItAsAnXmlProfile) {
    service_refuses(not_found);
    command_.text(user_profile, "noc").number<std::uint32_t>(message_size, 70000);
    EXPECT_EQ(configure().result, 0);
    ProfileRecord expected = new_profile("noc");
    expected.message_size = 70000;
    expect_sent(expected);
}

TEST_F(DestinationProfileTest, SetsTheLevelAsASingleByte) {
    service_says(answer(kept_profile()));
    command_.number<std::uint8_t>(message_level, 0xF9);
    configure();
    ProfileRecord expected = kept_profile();
    expected.trailing_flag = 0;
    expected.message_level = 0xF9;
    expect_sent(expected);
}

TEST_F(DestinationProfileTest, KnowsTheBuiltInProfilesByTheirKeywords) {
    const std::map<std::uint32_t, std::string> names{
        {zuva_profile, "ZUVA-profile"}, {full_text_profile, "full_txt"}, {short_text_profile, "short_txt"}};
    for (const auto& [keyword, name] : names) {
        Command command;
        run(callhome_destprofile, command.no().text(keyword, "full-txt-destination"));
        EXPECT_EQ(text(sent().name), name);
    }
}

TEST_F(DestinationProfileTest, DeletesAProfileByTheNoForm) {
    command_.no().text(user_profile, "noc");
    const auto [result, out, err] = configure();
    EXPECT_EQ(result, 0);
    EXPECT_EQ(out + err, "");
    EXPECT_EQ(asked(), Asked{"2154/4"});
    EXPECT_FALSE(platform().exchanges.at(0).wants_reply);
    ProfileRecord expected{};
    put(expected.name, "noc");
    expected.lookup_flag = 1;
    expect_sent(expected);
}

TEST_F(DestinationProfileTest, DeletesAProfileByTheNoFormOfItsCreation) {
    command_.no().form(create_form).text(1, "destination-profile").text(2, "noc");
    configure();
    EXPECT_EQ(asked(), Asked{"2154/4"});
    EXPECT_EQ(text(sent().name), "noc");
}

TEST_F(DestinationProfileTest, ReportsARefusedDeletion) {
    service_refuses(not_found);
    const auto [result, out, err] = run(callhome_destprofile, command_.no().text(user_profile, "noc"));
    EXPECT_EQ(result, 1);
    EXPECT_EQ(out, not_found_text);
    EXPECT_EQ(err, "");
}

TEST_F(DestinationProfileTest, SettingsHaveNoNoForm) {
    for (const std::uint32_t setting :
         {message_size, format_xml, format_full_text, format_short_text, message_level}) {
        Command command;
        const auto [result, out, err] = run(
            callhome_destprofile, command.no().text(user_profile, "noc").number<std::uint32_t>(setting, 1));
        EXPECT_EQ(result, 1);
        EXPECT_EQ(out, "");
        EXPECT_EQ(err, no_form_refusal);
        EXPECT_EQ(asked(), Asked{});
        EXPECT_EQ(cmd_type, 2U);
    }
}

TEST_F(DestinationProfileTest, CutsANameToItsField) {
    for (const std::uint32_t form : {0U, create_form}) {
        Command command;
        service_refuses(not_found);
        run(callhome_destprofile, command.form(form).text(user_profile, std::string(5000, 'n')));
        expect_sent(new_profile(std::string(31, 'n')));
    }
}

TEST_F(DestinationProfileTest, PassesOverEmptySlotsAndMissingValues) {
    service_says(answer(kept_profile()));
    command_.null_token().text(user_profile, "noc");
    for (const std::uint32_t id : {user_profile, message_size, message_level}) {
        command_.keyword(id).null_token();
    }
    EXPECT_EQ(configure().result, 0);
    EXPECT_EQ(text(platform().exchanges.front().record<ProfileRecord>().name), "noc");
    ProfileRecord expected = kept_profile();
    expected.trailing_flag = 0;
    expect_sent(expected);
}

TEST_F(DestinationProfileTest, ChangesNothingWhenTheAnswerIsIncomplete) {
    for (std::size_t length = 0; length < sizeof(ProfileRecord); ++length) {
        Command command;
        platform().exchanges.clear();
        service_says(cut(answer(kept_profile()), length));
        const auto [result, out, err] = run(callhome_destprofile, command.text(user_profile, "noc"));
        EXPECT_EQ(result, 1);
        EXPECT_EQ(out, "");
        EXPECT_EQ(err, "The answer of the call-home service was incomplete (" + std::to_string(length) +
                           " of 51 bytes); nothing was changed\n");
        EXPECT_EQ(asked(), Asked{"2154/5"});
    }
}

TEST_F(DestinationProfileTest, ChangesNothingWhenNoRecordCame) {
    service_says({.status = 0});
    const auto [result, out, err] = configure();
    EXPECT_EQ(result, 1);
    EXPECT_EQ(err,
              "The answer of the call-home service was incomplete (0 of 51 bytes); nothing was changed\n");
    EXPECT_EQ(asked(), Asked{"2154/5"});
}

}  // namespace
}  // namespace callhome::test
