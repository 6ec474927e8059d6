#include "profiles.h"

namespace callhome::test {
namespace {

class TransportMethodTest : public ProfileTest {
 protected:
    Outcome configure() { return run(callhome_destprofile_transport_method, command_); }

    static ProfileRecord profile_with(std::uint32_t methods) {
        ProfileRecord profile = kept_profile();
        profile.transport_methods = methods;
        return profile;
    }
};

struct Change {
    bool no_form;
    std::uint32_t before, keyword, after;
    bool default_set;
};

TEST_F(TransportMethodTest, AddsAndRemovesMethodsAndAlwaysKeepsOne) {
    constexpr std::uint32_t other_bit = 0x80;
    for (const auto& [no_form, before, keyword, after, default_set] : {
             Change{false, 1, transport_http, 3, false},
             Change{false, 2, transport_email, 3, false},
             Change{false, 1, transport_email, 1, false},
             Change{false, 0, transport_http, 2, false},
             Change{true, 3, transport_http, 1, false},
             Change{true, 3, transport_email, 2, false},
             Change{true, 1, transport_email, 1, true},
             Change{true, 2, transport_http, 1, true},
             Change{true, 1, transport_http, 1, false},
             Change{false, other_bit | 1, transport_http, other_bit | 3, false},
             Change{true, other_bit | 1, transport_email, 1, true},
         }) {
        Command command;
        command.context()->no_form = no_form ? 1 : 0;
        service_says(answer(profile_with(before)));
        const auto [result, out, err] =
            run(callhome_destprofile_transport_method, command.text(user_profile, "noc").keyword(keyword));
        EXPECT_EQ(result, 0);
        EXPECT_EQ(out, default_set ? "Setting default transport-method: email\n" : "");
        EXPECT_EQ(err, "");
        ProfileRecord expected = profile_with(after);
        expected.trailing_flag = 0;
        expect_sent(expected);
    }
}

TEST_F(TransportMethodTest, SendsTheChangedProfileWithASetInBothForms) {
    for (const std::uint32_t no_form : {0U, 1U}) {
        Command command;
        command.context()->no_form = no_form;
        platform().exchanges.clear();
        service_says(answer(kept_profile()));
        run(callhome_destprofile_transport_method, command);
        EXPECT_EQ(asked(), (Asked{"2154/5", "2154/3"}));
        EXPECT_EQ(cmd_type, 2U);
    }
}

TEST_F(TransportMethodTest, LooksUpByTheNameAlone) {
    service_refuses(0x403B0001);
    command_.text(user_profile, "noc").keyword(transport_http).number<std::uint32_t>(message_size, 9);
    const auto [result, out, err] = configure();
    EXPECT_EQ(result, 1);
    EXPECT_EQ(out, "text of 0x403B0001\n");
    ProfileRecord expected{};
    put(expected.name, "noc");
    expected.lookup_flag = 1;
    expect_sent(expected);
}

TEST_F(TransportMethodTest, FallsBackToTheEffectiveCopy) {
    for (const ServiceStatus no_pending_copy : {0x403B0032, 0x403B0034}) {
        Command command;
        platform().exchanges.clear();
        service_says(answer(kept_profile(), no_pending_copy));
        service_says(answer(kept_profile()));
        run(callhome_destprofile_transport_method, command.keyword(full_text_profile));
        EXPECT_EQ(asked(), (Asked{"2154/5", "2154/1", "2154/3"}));
        EXPECT_EQ(platform().exchanges.at(1).handed_over, platform().exchanges.at(0).sent);
        EXPECT_EQ(text(platform().exchanges.at(0).record<ProfileRecord>().name), "full_txt");
    }
}

TEST_F(TransportMethodTest, MeansEmailWhenNoMethodIsNamed) {
    service_says(answer(profile_with(2)));
    configure();
    EXPECT_EQ(sent().transport_methods, 3U);
}

TEST_F(TransportMethodTest, LetsLaterTokensWin) {
    service_says(answer(profile_with(0)));
    command_.keyword(transport_http).keyword(transport_email).keyword(transport_http);
    configure();
    EXPECT_EQ(sent().transport_methods, 2U);
}

TEST_F(TransportMethodTest, CreatesAnUnknownProfileWithEmailAndTheMethod) {
    const std::map<std::uint32_t, std::uint32_t> methods{{transport_email, 1}, {transport_http, 3}};
    for (const auto& [keyword, mask] : methods) {
        Command command;
        service_refuses(not_found);
        const auto [result, out, err] =
            run(callhome_destprofile_transport_method, command.text(user_profile, "noc").keyword(keyword));
        EXPECT_EQ(result, 0);
        EXPECT_EQ(out + err, "");
        ProfileRecord expected = new_profile("noc");
        expected.transport_methods = mask;
        expect_sent(expected);
    }
}

TEST_F(TransportMethodTest, ANewProfileKeepsWhatTheServiceSendsAlong) {
    service_says(answer(kept_profile(), not_found_code));
    command_.text(user_profile, "new").keyword(transport_http);
    EXPECT_EQ(configure().result, 0);
    ProfileRecord expected = new_profile("new");
    expected.transport_methods = 3;
    expected.spare = kept_profile().spare;
    expected.lookup_flag = 0x55000000;  // left as it came, which is in transport order
    expect_sent(expected);
}

TEST_F(TransportMethodTest, AnUnknownProfileHasNoMethodToRemove) {
    service_refuses(not_found);
    command_.no().text(user_profile, "noc").keyword(transport_email);
    const auto [result, out, err] = configure();
    EXPECT_EQ(result, 1);
    EXPECT_EQ(out, "Unknown destination-profile\n");
    EXPECT_EQ(err, "");
    EXPECT_EQ(asked(), Asked{"2154/5"});
}

TEST_F(TransportMethodTest, ReportsARefusedSet) {
    service_says(answer(kept_profile()));
    service_refuses(0x403B0010);
    const auto [result, out, err] = configure();
    EXPECT_EQ(result, 1);
    EXPECT_EQ(out, "text of 0x403B0010\n");
    EXPECT_EQ(err, "");
}

TEST_F(TransportMethodTest, ChangesNothingWhenTheAnswerIsIncomplete) {
    for (std::size_t length = 0; length < sizeof(ProfileRecord); ++length) {
        Command command;
        platform().exchanges.clear();
        service_says(cut(answer(kept_profile()), length));
        const auto [result, out, err] = run(callhome_destprofile_transport_method, command);
        EXPECT_EQ(result, 1);
        EXPECT_EQ(out, "");
        EXPECT_EQ(err, "The answer of the call-home service was incomplete (" + std::to_string(length) +
                           " of 51 bytes); nothing was changed\n");
        EXPECT_EQ(asked(), Asked{"2154/5"});
    }
}

}  // namespace
}  // namespace callhome::test
