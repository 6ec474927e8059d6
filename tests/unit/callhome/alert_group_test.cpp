#include "protocol/alert_group.h"
#include "profiles.h"
#include "protocol/records/alert_group.h"

namespace callhome::test {
namespace {

using protocol::SubscriptionRecord;

constexpr std::uint32_t system_group = 28;
constexpr std::uint32_t tac_group = 37;

constexpr const char* tac_only =
    "ZUVA-profile destination profile can be configured with only ZUVA-TAC alert-group\n";
constexpr const char* no_such_profile = "alert group cannot be configured for a new destination profile\n";

class AlertGroupTest : public LibraryTest {
 protected:
    Outcome configure() { return run(callhome_alert_groups, command_); }

    static SubscriptionRecord subscription(std::string_view profile, std::string_view group) {
        SubscriptionRecord record{};
        put(record.name, profile);
        record.reserved = 1;
        put(record.group, group);
        return record;
    }
    static void expect_sent(const SubscriptionRecord& expected) {
        const Exchange& last = platform().exchanges.back();
        EXPECT_EQ(last.opcode, 2162U);
        EXPECT_EQ(last.length, 301U);
        EXPECT_TRUE(last.sent == in_transport_order(expected)) << text(expected.group);
        EXPECT_FALSE(last.wants_reply);
    }

    Command command_;
};

TEST_F(AlertGroupTest, SubscribesAProfileThatExists) {
    const auto [result, out, err] =
        run(callhome_alert_groups, command_.text(user_profile, "noc").keyword(system_group));
    EXPECT_EQ(result, 0);
    EXPECT_EQ(out + err, "");
    EXPECT_EQ(asked(), (Asked{"2154/5", "2162/3"}));
    expect_sent(subscription("noc", "system"));
    EXPECT_EQ(cmd_type, 2U);
}

TEST_F(AlertGroupTest, LooksForTheProfileByItsNameAlone) {
    run(callhome_alert_groups, command_.text(user_profile, "noc").keyword(system_group));
    ProfileRecord key{};
    put(key.name, "noc");
    key.lookup_flag = 1;
    EXPECT_EQ(platform().exchanges.at(0).length, 51U);
    EXPECT_TRUE(platform().exchanges.at(0).wants_reply);
    EXPECT_EQ(platform().exchanges.at(0).sent, in_transport_order(key));
}

TEST_F(AlertGroupTest, FallsBackToTheEffectiveCopyWithTheSameRecord) {
    for (const ServiceStatus no_pending_copy : {0x403B0032, 0x403B0034}) {
        Command command;
        platform().exchanges.clear();
        service_says(answer(kept_profile(), no_pending_copy));
        service_says(answer(kept_profile()));
        run(callhome_alert_groups, command.text(user_profile, "noc").keyword(system_group));
        EXPECT_EQ(asked(), (Asked{"2154/5", "2154/1", "2162/3"}));
        EXPECT_EQ(platform().exchanges.at(1).handed_over, platform().exchanges.at(0).sent);
        expect_sent(subscription("noc", "system"));
    }
}

TEST_F(AlertGroupTest, FallsBackOnlyOnce) {
    service_refuses(0x403B0032);
    service_refuses(0x403B0034);
    const auto [result, out, err] = configure();
    EXPECT_EQ(result, 1);
    EXPECT_EQ(out, "text of 0x403B0034\n");
    EXPECT_EQ(asked(), (Asked{"2154/5", "2154/1"}));
}

TEST_F(AlertGroupTest, KnowsEveryGroupByItsKeyword) {
    for (const AlertGroupRow& row : alert_group_list) {
        Command command;
        run(callhome_alert_groups, command.text(user_profile, "noc").keyword(row.keyword_id));
        expect_sent(subscription("noc", row.name));
    }
}

TEST_F(AlertGroupTest, KnowsTheBuiltInProfilesByTheirRecordNames) {
    const std::map<std::uint32_t, std::string> names{{full_text_profile, "full_txt"},
                                                     {short_text_profile, "short_txt"}};
    for (const auto& [keyword, name] : names) {
        Command command;
        run(callhome_alert_groups, command.keyword(keyword).keyword(system_group));
        expect_sent(subscription(name, "system"));
    }
}

TEST_F(AlertGroupTest, IgnoresKeywordsThatItDoesNotKnow) {
    for (const std::uint32_t id : {0U, 17U, 21U, 23U, 27U, 35U, 41U, 62U, 64U, 102U, 104U}) {
        Command command;
        const auto [result, out, err] =
            run(callhome_alert_groups,
                command.text(user_profile, "noc").keyword(system_group).text(id, "x").null_token());
        EXPECT_EQ(result, 0);
        EXPECT_EQ(out + err, "");
        expect_sent(subscription("noc", "system"));
    }
}

TEST_F(AlertGroupTest, LetsLaterTokensWin) {
    command_.text(user_profile, "a rather long name")
        .keyword(30)
        .text(user_profile, "b")
        .keyword(system_group);
    configure();
    expect_sent(subscription("b", "system"));
}

TEST_F(AlertGroupTest, RefusesOtherGroupsOfTheXmlProfileWithoutARequest) {
    for (const bool no_form : {false, true}) {
        for (const AlertGroupRow& row : alert_group_list) {
            if (row.keyword_id == tac_group) {
                continue;
            }
            Command command;
            command.context()->no_form = no_form ? 1 : 0;
            const auto [result, out, err] =
                run(callhome_alert_groups, command.keyword(zuva_profile).keyword(row.keyword_id));
            EXPECT_EQ(result, 0) << "a script goes on";
            EXPECT_EQ(out, "");
            EXPECT_EQ(err, tac_only);
            EXPECT_EQ(asked(), Asked{});
            EXPECT_EQ(cmd_type, 2U);
        }
    }
}

TEST_F(AlertGroupTest, RefusesTheXmlProfileWithoutAGroup) {
    EXPECT_EQ(run(callhome_alert_groups, command_.keyword(zuva_profile)).err, tac_only);
    EXPECT_EQ(asked(), Asked{});
}

TEST_F(AlertGroupTest, TakesTheProfileAndTheGroupThatStandLastForTheXmlProfilesRule) {
    Command to_tac;
    run(callhome_alert_groups, to_tac.keyword(zuva_profile).keyword(system_group).keyword(tac_group));
    expect_sent(subscription("ZUVA-profile", "ZUVA-TAC"));
    Command from_tac;
    EXPECT_EQ(
        run(callhome_alert_groups, from_tac.keyword(zuva_profile).keyword(tac_group).keyword(system_group))
            .err,
        tac_only);
    Command other_profile;
    run(callhome_alert_groups,
        other_profile.keyword(zuva_profile).text(user_profile, "noc").keyword(system_group));
    expect_sent(subscription("noc", "system"));
}

TEST_F(AlertGroupTest, SubscribesTheXmlProfileToItsGroup) {
    run(callhome_alert_groups, command_.keyword(zuva_profile).keyword(tac_group));
    EXPECT_EQ(asked(), (Asked{"2154/5", "2162/3"}));
    expect_sent(subscription("ZUVA-profile", "ZUVA-TAC"));
}

TEST_F(AlertGroupTest, OtherProfilesMayHaveThatGroupToo) {
    run(callhome_alert_groups, command_.text(user_profile, "noc").keyword(tac_group));
    expect_sent(subscription("noc", "ZUVA-TAC"));
}

TEST_F(AlertGroupTest, SendsAnEmptyRecordForACommandWithoutTokens) {
    configure();
    EXPECT_EQ(asked(), (Asked{"2154/5", "2162/3"}));
    expect_sent(subscription("", ""));
}

TEST_F(AlertGroupTest, RemovesASubscriptionWithoutLookingForTheProfile) {
    const auto [result, out, err] =
        run(callhome_alert_groups, command_.no().text(user_profile, "noc").keyword(system_group));
    EXPECT_EQ(result, 0);
    EXPECT_EQ(out + err, "");
    EXPECT_EQ(asked(), Asked{"2162/4"});
    expect_sent(subscription("noc", "system"));
}

TEST_F(AlertGroupTest, DoesNotCreateAProfile) {
    service_says(answer(kept_profile(), not_found_code));
    const auto [result, out, err] =
        run(callhome_alert_groups, command_.text(user_profile, "new").keyword(system_group));
    EXPECT_EQ(result, 0) << "a script goes on";
    EXPECT_EQ(out, "");
    EXPECT_EQ(err, no_such_profile);
    EXPECT_EQ(asked(), Asked{"2154/5"});
}

TEST_F(AlertGroupTest, SaysSoAlsoWhenOnlyTheEffectiveCopyWasAsked) {
    service_refuses(0x403B0034);
    service_refuses(not_found);
    EXPECT_EQ(configure().err, no_such_profile);
}

TEST_F(AlertGroupTest, ReportsAnyOtherFailureOfTheLookUp) {
    for (const ServiceStatus status : {5, 0x403B0001, 0x403B000C}) {
        Command command;
        platform().exchanges.clear();
        service_refuses(status);
        const auto [result, out, err] =
            run(callhome_alert_groups, command.text(user_profile, "noc").keyword(system_group));
        EXPECT_EQ(result, 1);
        EXPECT_EQ(out.find("text of 0x"), 0U);
        EXPECT_EQ(err, "");
        EXPECT_EQ(asked(), Asked{"2154/5"});
    }
}

TEST_F(AlertGroupTest, ReportsARefusedChange) {
    for (const bool no_form : {false, true}) {
        Command command;
        command.context()->no_form = no_form ? 1 : 0;
        if (!no_form) {
            service_says(answer(kept_profile()));
        }
        service_refuses(0x403B000D);
        const auto [result, out, err] =
            run(callhome_alert_groups, command.text(user_profile, "noc").keyword(system_group));
        EXPECT_EQ(result, 1);
        EXPECT_EQ(out, "text of 0x403B000D\n");
        EXPECT_EQ(err, "");
    }
}

TEST_F(AlertGroupTest, NeedsNoWholeAnswerToKnowThatTheProfileExists) {
    for (std::size_t length = 0; length <= sizeof(ProfileRecord); ++length) {
        Command command;
        platform().exchanges.clear();
        service_says(cut(answer(kept_profile()), length));
        EXPECT_EQ(
            run(callhome_alert_groups, command.text(user_profile, "noc").keyword(system_group)).result, 0);
        ASSERT_EQ(asked(), (Asked{"2154/5", "2162/3"}));
    }
}

TEST_F(AlertGroupTest, CutsAnOverlongNameToItsField) {
    run(callhome_alert_groups, command_.text(user_profile, std::string(5000, 'p')).keyword(system_group));
    expect_sent(subscription(std::string(31, 'p'), "system"));
    EXPECT_EQ(text(platform().exchanges.at(0).record<ProfileRecord>().name), std::string(31, 'p'));
}

TEST_F(AlertGroupTest, PassesOverAMissingName) {
    run(callhome_alert_groups,
        command_.text(user_profile, "noc").keyword(user_profile).keyword(system_group));
    expect_sent(subscription("noc", "system"));
}

}  // namespace
}  // namespace callhome::test
