// Which profiles the displays show.
#include "command.h"
#include "kept_configuration.h"
#include "platform/interface.h"

namespace callhome::test {
namespace {

constexpr std::uint32_t show_form = 101;

class ListingTest : public LibraryTest {
 protected:
    ListingTest() { serve(kept_); }

    Outcome show() { return run(callhome_show_destprofile, command_); }
    // The headers that were printed, and nothing else.
    static Lines headers() {
        Lines result;
        for (const std::string& line : platform().printed) {
            if (line.find("destination profile information") != std::string::npos) {
                result.push_back(line);
            }
        }
        return result;
    }

    KeptConfiguration kept_ = built_in_configuration();
    Command command_;
};

TEST_F(ListingTest, ShowsTheBuiltInProfilesOneAfterAnother) {
    EXPECT_EQ(show().result, 0);
    EXPECT_EQ(platform().printed, (Lines{
                                      "%s|30740019=\nfull_txt destination profile information\n",
                                      "%s|3074001D=maximum message size:2500000\n",
                                      "%s|3074001E=message format:full-txt\n",
                                      "%s|3074001F=message-level:0\n",
                                      "%s|30740020=transport-method:email\n",
                                      "%s|30740021=email addresses configured:\n",
                                      "\n",
                                      "%s|30740023=url addresses configured:\n",
                                      "\n",
                                      "%s|30740025=alert groups configured:\n",
                                      "%s|30740026=all\n",
                                      "\n",
                                      "%s|3074001A=short_txt destination profile information\n",
                                      "%s|3074001D=maximum message size:4000\n",
                                      "%s|3074001E=message format:short-txt\n",
                                      "%s|3074001F=message-level:0\n",
                                      "%s|30740020=transport-method:email\n",
                                      "%s|30740021=email addresses configured:\n",
                                      "\n",
                                      "%s|30740023=url addresses configured:\n",
                                      "\n",
                                      "%s|30740025=alert groups configured:\n",
                                      "%s|30740026=all\n",
                                      "\n",
                                      "%s|3074001B=ZUVA-profile destination profile information\n",
                                      "%s|3074001D=maximum message size:5000000\n",
                                      "%s|3074001E=message format:XML\n",
                                      "%s|3074001F=message-level:0\n",
                                      "%s|30740020=transport-method:email\n",
                                      "%s|30740021=email addresses configured:\n",
                                      "\n",
                                      "%s|30740023=url addresses configured:\n",
                                      "\n",
                                      "%s|30740025=alert groups configured:\n",
                                      "%s|30740026=ZUVA-TAC\n",
                                      "\n",
                                      "\n",
                                  }));
    EXPECT_EQ(platform().sends, 1);
}

TEST_F(ListingTest, AsksForEachProfileByTheNameOfTheLastAlone) {
    show();
    std::vector<std::string> names;
    for (const Exchange& exchange : platform().exchanges) {
        if (exchange.opcode == 2154) {
            const auto key = exchange.record<ProfileRecord>();
            ProfileRecord expected{};
            put(expected.name, text(key.name));
            EXPECT_EQ(exchange.sent, in_transport_order(expected));
            names.push_back(text(key.name));
        }
    }
    EXPECT_EQ(names, (Lines{"", "full_txt", "short_txt", "ZUVA-profile"}));
}

TEST_F(ListingTest, NamesThatOnlyBeginLikeABuiltInOneAreTheUsersOwn) {
    kept_ = KeptConfiguration{};
    for (const char* name : {"full_tx", "full_txt2", "short_TXT", "ZUVA", "noc"}) {
        add_profile(kept_, name);
    }
    show();
    EXPECT_EQ(headers(), (Lines{
                             "%s|3074001C=full_tx destination profile information\n",
                             "%s|3074001C=full_txt2 destination profile information\n",
                             "%s|3074001C=short_TXT destination profile information\n",
                             "%s|3074001C=ZUVA destination profile information\n",
                             "%s|3074001C=noc destination profile information\n",
                         }));
}

TEST_F(ListingTest, AnEmptyConfigurationIsAnEmptyLine) {
    kept_ = KeptConfiguration{};
    EXPECT_EQ(show().result, 0);
    EXPECT_EQ(platform().printed, Lines{"\n"});
    EXPECT_EQ(platform().sends, 1);
    EXPECT_EQ(asked(), Asked{"2154/2"});
}

TEST_F(ListingTest, ARefusalOfTheNextProfileKeepsTheOnesBefore) {
    kept_.fault = {.exchange = 6, .status = 0x403B000B};
    EXPECT_EQ(show().result, 1);
    EXPECT_EQ(headers(), Lines{"%s|30740019=\nfull_txt destination profile information\n"});
    EXPECT_EQ(platform().printed.back(), "%s|0=1077608459");
    EXPECT_EQ(platform().sends, 1);
}

TEST_F(ListingTest, EndsWhenTheServiceStaysAtAProfile) {
    platform().service = [this](const Exchange& exchange) {
        return exchange.opcode == 2154 ? answer(kept_.profiles.front()) : refusal(0x403B000C);
    };
    EXPECT_EQ(show().result, 1);
    EXPECT_EQ(platform().printed.back(),
              "%s|0=The list of destination profiles has no end; the display ends here\n");
    EXPECT_EQ(headers().size(), 1U);
    EXPECT_EQ(platform().sends, 1);
}

TEST_F(ListingTest, EndsWhenTheProfilesGoInCircles) {
    int profiles = 0;
    platform().service = [&](const Exchange& exchange) {
        if (exchange.opcode != 2154) {
            return refusal(0x403B000C);
        }
        platform().exchanges.clear();
        return answer(kept_.profiles.at(static_cast<std::size_t>(profiles++ % 2)));
    };
    EXPECT_EQ(show().result, 1);
    EXPECT_EQ(platform().printed.back(),
              "%s|0=The list of destination profiles has no end; the display ends here\n");
    EXPECT_EQ(profiles, 16384);
    EXPECT_EQ(platform().sends, 1);
}

TEST_F(ListingTest, ANameWithoutATerminatorIsReadWithinItsField) {
    kept_ = KeptConfiguration{};
    std::memset(add_profile(kept_, "").name, 'n', 32);
    kept_.fault = {.exchange = 5, .status = 0x403B000C};
    EXPECT_EQ(show().result, 0);
    EXPECT_EQ(headers(),
              Lines{"%s|3074001C=" + std::string(32, 'n') + " destination profile information\n"});
}

TEST_F(ListingTest, ARefusalThatBringsAnEntryOfAnotherProfileEndsTheListLikeAnyOtherAnswer) {
    AddressRecord other{};
    put(other.name, "noc");
    platform().service = [&](const Exchange& exchange) {
        if (exchange.opcode == 2153) {
            return answer(other, 0x403B0010);
        }
        const bool is_first = exchange.opcode == 2154 && platform().exchanges.size() == 1;
        return is_first ? answer(kept_.profiles.front()) : refusal(0x403B000C);
    };
    EXPECT_EQ(show().result, 0);
    const auto& printed = platform().printed;
    EXPECT_EQ(printed.at(6), "%s|30740023=url addresses configured:\n") << "without an empty line before";
}

// The display of the profile that the command names.

class NamedProfileTest : public LibraryTest {
 protected:
    NamedProfileTest() {
        add_profile(kept_, "noc");
        serve(kept_);
    }

    Outcome show(Command& command) { return run(callhome_show_user_destprofile, command); }
    static std::string name_asked_for() {
        return text(platform().exchanges.at(0).record<ProfileRecord>().name);
    }

    KeptConfiguration kept_;
    Command command_;
};

TEST_F(NamedProfileTest, TheLastTokenCountsWhateverItsKeyword) {
    EXPECT_EQ(show(command_.form(show_form).text(1, "first").text(99, "noc")).result, 0);
    EXPECT_EQ(name_asked_for(), "noc");
    EXPECT_EQ(platform().printed.front(), "%s|30740046=noc destination profile information\n");
}

TEST_F(NamedProfileTest, RefusesACommandThatNamesNoProfile) {
    Command without_tokens;
    Command of_another_form;
    Command with_an_id_as_keyword;
    Command valueless;
    without_tokens.form(show_form);
    of_another_form.form(102).text(22, "noc");
    with_an_id_as_keyword.text(show_form, "noc");
    valueless.form(show_form).keyword(22).null_token();
    for (Command* command : {&without_tokens, &of_another_form, &with_an_id_as_keyword, &valueless}) {
        platform().printed.clear();
        platform().sends = 0;
        const auto [result, out, err] = show(*command);
        EXPECT_EQ(result, 1);
        EXPECT_EQ(out + err, "");
        EXPECT_EQ(platform().printed, Lines{"%s|0=Invalid destination profile id\n"});
        EXPECT_EQ(platform().sends, 1);
        EXPECT_EQ(asked(), Asked{});
    }
}

TEST_F(NamedProfileTest, CutsANameToItsField) {
    show(command_.form(show_form).text(22, std::string(5000, 'n')));
    EXPECT_EQ(name_asked_for(), std::string(31, 'n'));
}

TEST_F(NamedProfileTest, AnUnknownProfileIsANumberAndNoHeader) {
    EXPECT_EQ(show(command_.form(show_form).text(22, "nobody")).result, 1);
    EXPECT_EQ(platform().printed, Lines{"%s|0=1077608459"});
    EXPECT_EQ(platform().sends, 1);
}

TEST_F(NamedProfileTest, WalksTheListsByTheNameInTheCommand) {
    platform().service = [this](const Exchange& exchange) {
        return exchange.opcode == 2154 ? answer(kept_.profiles.front()) : refusal(0x403B000C);
    };
    show(command_.form(show_form).text(22, "alias"));
    EXPECT_EQ(text(platform().exchanges.at(1).record<AddressRecord>().name), "alias");
    EXPECT_EQ(text(platform().exchanges.at(2).record<AddressRecord>().name), "alias");
    EXPECT_EQ(text(platform().exchanges.at(3).record<SubscriptionRecord>().name), "alias");
}

TEST_F(NamedProfileTest, OfABuiltInProfileTheGroupsAreWalkedByTheNameInTheReply) {
    platform().service = [this](const Exchange& exchange) {
        return exchange.opcode == 2154 ? answer(kept_.profiles.front()) : refusal(0x403B000C);
    };
    run(callhome_show_destprofile_xml, command_);
    EXPECT_EQ(platform().printed.front(), "%s|3074003B=ZUVA-profile destination profile information\n");
    EXPECT_EQ(text(platform().exchanges.at(1).record<AddressRecord>().name), "ZUVA-profile");
    EXPECT_EQ(text(platform().exchanges.at(2).record<AddressRecord>().name), "ZUVA-profile");
    EXPECT_EQ(text(platform().exchanges.at(3).record<SubscriptionRecord>().name), "noc");
}

}  // namespace
}  // namespace callhome::test
