#include <algorithm>

#include "command.h"
#include "kept_configuration.h"
#include "platform/interface.h"

namespace callhome::test {
namespace {

using Handler = std::uint32_t (*)(CommandContext*);

// One of the five displays, as it shows one profile.
struct Display {
    std::string name;
    Handler handler;
    std::string profile;
    std::uint32_t command_id;
    // Tags, in the order of the lines; 0 where there is no such line.
    const char *header, *size, *format, *level, *transport;
    const char *email_heading, *email, *url_heading, *url, *group_heading, *group;
    // What follows the number of a refusal of the profile, of its addresses, of its groups.
    std::string profile_end, address_end, group_end;
};

const Display all_profiles{"all",      callhome_show_destprofile,
                           "noc",      0,
                           "3074001C", "3074001D",
                           "3074001E", "3074001F",
                           "30740020", "30740021",
                           "30740022", "30740023",
                           "30740024", "30740025",
                           "30740026", "",
                           "",         ""};
const Display named_profile{"named",    callhome_show_user_destprofile,
                            "noc",      101,
                            "30740046", "30740047",
                            "30740048", "30740049",
                            "3074004A", "3074004B",
                            "3074004C", "3074004D",
                            "3074004E", "3074004F",
                            "30740050", "",
                            "",         ""};
const Display full_text{"full text", callhome_show_destprofile_fulltxt,
                        "full_txt",  0,
                        "30740027",  "30740028",
                        nullptr,     "30740029",
                        "3074002A",  "3074002B",
                        "3074002C",  "3074002D",
                        "3074002E",  "3074002F",
                        "30740030",  "",
                        "\n",        ""};
const Display short_text{"short text", callhome_show_destprofile_shorttxt,
                         "short_txt",  0,
                         "30740031",   "30740032",
                         nullptr,      "30740033",
                         "30740034",   "30740035",
                         "30740036",   "30740037",
                         "30740038",   "30740039",
                         "3074003A",   "\n",
                         "",           ""};
const Display zuva{"zuva",
                   callhome_show_destprofile_xml,
                   "ZUVA-profile",
                   0,
                   "3074003B",
                   "3074003C",
                   nullptr,
                   "3074003D",
                   "3074003E",
                   "3074003F",
                   "30740040",
                   "30740041",
                   "30740042",
                   "30740043",
                   "30740044",
                   "",
                   "",
                   ""};

const std::vector<Display> displays{all_profiles, named_profile, full_text, short_text, zuva};
const std::vector<Display> displays_of_one{named_profile, full_text, short_text, zuva};

constexpr std::uint32_t any_keyword = 22;
const std::string empty_line = "\n";

std::string tagged(const char* tag, const std::string& value) {
    return std::string("%s|") + tag + "=" + value;
}

class ProfileDisplayTest : public LibraryTest {
 protected:
    ProfileDisplayTest() { serve(kept_); }

    // Shows with a configuration in which the display's profile alone has entries.
    Outcome show(const Display& display) {
        platform().printed.clear();
        platform().exchanges.clear();
        platform().sends = 0;
        platform().tuples.clear();
        kept_.exchanges = 0;
        Command command;
        command.form(display.command_id).text(any_keyword, display.profile);
        return run(display.handler, command);
    }

    void keep_profile_of(const Display& display) {
        kept_ = KeptConfiguration{};
        ProfileRecord& profile = add_profile(kept_, display.profile);
        profile.transport_methods = 3;
        profile.format = 2;
        profile.message_size = 123456;
        profile.message_level = 4;
        for (const char* address : {"ada@example.net", "noc@example.net"}) {
            add_email(kept_, display.profile, address);
        }
        for (const char* url : {"https://a.example.net/in", "https://b.example.net/in"}) {
            add_url(kept_, display.profile, url);
        }
        for (const char* group : {"system", "a group of the service's own"}) {
            add_group(kept_, display.profile, group);
        }
    }

    // The lines that are shown of it, without what ends the display.
    static Lines lines_of(const Display& display) {
        const std::string before = display.name == "all" && display.profile == "full_txt" ? "\n" : "";
        Lines lines{
            tagged(display.header, before + display.profile + " destination profile information\n"),
            tagged(display.size, "maximum message size:123456\n"),
        };
        if (display.format != nullptr) {
            lines.push_back(tagged(display.format, "message format:full-txt\n"));
        }
        const Lines rest{
            tagged(display.level, "message-level:4\n"),
            tagged(display.transport, "transport-method:email and http\n"),
            tagged(display.email_heading, "email addresses configured:\n"),
            tagged(display.email, "ada@example.net\n"),
            tagged(display.email, "noc@example.net\n"),
            empty_line,
            tagged(display.url_heading, "url addresses configured:\n"),
            tagged(display.url, "https://a.example.net/in\n"),
            tagged(display.url, "https://b.example.net/in\n"),
            empty_line,
            tagged(display.group_heading, "alert groups configured:\n"),
            tagged(display.group, "system\n"),
            tagged(display.group, "a group of the service's own\n"),
            empty_line,
        };
        lines.insert(lines.end(), rest.begin(), rest.end());
        return lines;
    }

    static Asked exchanges_of(const Display& display) {
        Asked asked{display.name == "all" ? "2154/2" : "2154/1"};
        for (const char* list : {"2153/2", "2190/2", "2162/2"}) {
            asked.insert(asked.end(), 3, list);
        }
        if (display.name == "all") {
            asked.emplace_back("2154/2");
        }
        return asked;
    }

    KeptConfiguration kept_;
};

TEST_F(ProfileDisplayTest, ShowsEverySettingAndEveryListUnderTagsOfItsOwn) {
    for (const Display& display : displays) {
        keep_profile_of(display);
        cmd_type = 7;
        const auto [result, out, err] = show(display);
        EXPECT_EQ(result, 0) << display.name;
        EXPECT_EQ(out + err, "") << "all output goes through the handle";
        Lines expected = lines_of(display);
        expected.push_back(empty_line);
        EXPECT_EQ(platform().printed, expected) << display.name;
        EXPECT_EQ(platform().sends, 1);
        EXPECT_EQ(cmd_type, 1U);
    }
}

TEST_F(ProfileDisplayTest, AsksForEachEntryByTheNameAndTheIndexOfTheLast) {
    for (const Display& display : displays) {
        keep_profile_of(display);
        show(display);
        EXPECT_EQ(asked(), exchanges_of(display)) << display.name;
        ProfileRecord profile{};
        if (display.name != "all") {
            put(profile.name, display.profile);
        }
        EXPECT_EQ(platform().exchanges.at(0).sent, in_transport_order(profile)) << display.name;
        EXPECT_EQ(platform().exchanges.at(0).length, 51U);
        for (std::uint32_t cursor = 0; cursor < 3; ++cursor) {
            AddressRecord address{};
            put(address.name, display.profile);
            address.index = cursor;
            SubscriptionRecord subscription{};
            put(subscription.name, display.profile);
            subscription.index = cursor;
            EXPECT_EQ(platform().exchanges.at(1 + cursor).sent, in_transport_order(address));
            EXPECT_EQ(platform().exchanges.at(4 + cursor).sent, in_transport_order(address));
            EXPECT_EQ(platform().exchanges.at(7 + cursor).sent, in_transport_order(subscription));
            EXPECT_EQ(platform().exchanges.at(1 + cursor).length, 297U);
            EXPECT_EQ(platform().exchanges.at(7 + cursor).length, 301U);
        }
    }
}

TEST_F(ProfileDisplayTest, AListEndsSilentlyWhereTheServiceGoesOnToAnotherProfile) {
    for (const Display& display : displays) {
        keep_profile_of(display);
        kept_.walks_on_to_other_profiles = true;
        add_profile(kept_, "zz").format = 2;
        add_email(kept_, "zz", "other@example.net");
        add_url(kept_, "zz", "https://other.example.net");
        add_group(kept_, "zz", "test");
        EXPECT_EQ(show(display).result, 0);
        Lines expected = lines_of(display);
        std::erase(expected, empty_line);
        if (display.name == "all") {
            EXPECT_EQ(Lines(platform().printed.begin(),
                            platform().printed.begin() + static_cast<std::ptrdiff_t>(expected.size())),
                      expected);
        } else {
            expected.push_back(empty_line);
            EXPECT_EQ(platform().printed, expected) << display.name;
        }
    }
}

TEST_F(ProfileDisplayTest, RemovedAddressesAreWalkedPast) {
    for (const Display& display : displays) {
        for (const bool comes_along : {false, true}) {
            keep_profile_of(display);
            kept_.sends_removed_entries = comes_along;
            kept_.emails.front().is_removed = true;
            kept_.urls.back().is_removed = true;
            EXPECT_EQ(show(display).result, 0);
            Lines expected = lines_of(display);
            std::erase(expected, tagged(display.email, "ada@example.net\n"));
            std::erase(expected, tagged(display.url, "https://b.example.net/in\n"));
            expected.push_back(empty_line);
            EXPECT_EQ(platform().printed, expected) << display.name;
            EXPECT_EQ(platform().exchanges.at(2).record<AddressRecord>().index, 1U)
                << "one behind the last cursor";
        }
    }
}

TEST_F(ProfileDisplayTest, GroupsHaveNoRemovedEntries) {
    for (const Display& display : displays) {
        keep_profile_of(display);
        kept_.groups.front().is_removed = true;
        EXPECT_EQ(show(display).result, 1);
        EXPECT_EQ(platform().printed.back(), "%s|0=1077608518" + display.group_end) << display.name;
    }
}

// The lines that have been printed before each exchange.
Lines lines_before(const Lines& lines, const Display& display, std::size_t exchange) {
    const std::size_t settings = display.format == nullptr ? 4 : 5;
    // The header of a built-in profile is printed before its answer is looked at.
    const std::size_t at_profile = display.command_id == 0 && display.name != "all" ? 1 : 0;
    const std::vector<std::size_t> counts{at_profile,    settings + 1,  settings + 2, settings + 3,
                                          settings + 5,  settings + 6,  settings + 7, settings + 9,
                                          settings + 10, settings + 11, settings + 12};
    return {lines.begin(), lines.begin() + static_cast<std::ptrdiff_t>(counts.at(exchange))};
}

TEST_F(ProfileDisplayTest, EndsAtARefusalWithItsNumberAndKeepsWhatWasShown) {
    for (const Display& display : displays) {
        keep_profile_of(display);
        const std::size_t exchanges = exchanges_of(display).size();
        for (std::size_t place = 0; place < exchanges; ++place) {
            kept_.fault = {.exchange = static_cast<int>(place) + 1, .status = 0x403B0010};
            const auto [result, out, err] = show(display);
            EXPECT_EQ(result, 1);
            EXPECT_EQ(out + err, "");
            const bool of_profile = place == 0 || place == 10;
            const std::string end = of_profile  ? display.profile_end
                                    : place < 7 ? display.address_end
                                                : display.group_end;
            Lines expected = lines_before(lines_of(display), display, place);
            expected.push_back("%s|0=1077608464" + end);
            EXPECT_EQ(platform().printed, expected) << display.name << " " << place;
            EXPECT_EQ(platform().sends, 1);
            EXPECT_EQ(platform().exchanges.size(), place + 1);
        }
    }
}

TEST_F(ProfileDisplayTest, DistributionThatIsOffEndsNoList) {
    for (const Display& display : displays) {
        keep_profile_of(display);
        kept_.fault = {.exchange = 2, .status = 0x403B0034};
        EXPECT_EQ(show(display).result, 1);
        EXPECT_EQ(platform().printed.back(), "%s|0=1077608500" + display.address_end);
    }
}

TEST_F(ProfileDisplayTest, EndsAtAnAnswerThatIsCutShort) {
    for (const Display& display : displays) {
        keep_profile_of(display);
        for (const std::size_t place : {0U, 1U, 5U, 8U}) {
            const std::size_t whole = place == 0 ? 51 : place == 8 ? 301 : 297;
            for (std::size_t length = 0; length < whole; ++length) {
                kept_.fault = {.exchange = static_cast<int>(place) + 1, .status = 0, .length = length};
                ASSERT_EQ(show(display).result, 1);
                Lines expected = lines_before(lines_of(display), display, place);
                expected.push_back("%s|0=The answer of the call-home service was incomplete (" +
                                   std::to_string(length) + " of " + std::to_string(whole) + " bytes)\n");
                ASSERT_EQ(platform().printed, expected) << display.name << " " << place;
                ASSERT_EQ(platform().sends, 1);
            }
        }
    }
}

TEST_F(ProfileDisplayTest, EndsWhenAListGoesInCircles) {
    const std::map<std::uint32_t, std::string> lists{
        {2153, "e-mail addresses"}, {2190, "URLs"}, {2162, "alert groups"}};
    for (const Display& display : displays) {
        for (const auto& [opcode, name] : lists) {
            keep_profile_of(display);
            platform().service = [this, circle = opcode](const Exchange& exchange) {
                if (exchange.opcode == circle) {
                    return circle == 2162 ? answer(kept_.groups.front().record)
                                          : answer(kept_.emails.front().record);
                }
                return exchange.opcode == 2154 ? answer(kept_.profiles.front()) : refusal(0x403B000C);
            };
            EXPECT_EQ(show(display).result, 1);
            EXPECT_EQ(platform().printed.back(),
                      "%s|0=The list of " + name + " has no end; the display ends here\n");
            EXPECT_EQ(platform().sends, 1);
            EXPECT_LT(platform().exchanges.size(), 10U) << "the second answer already tells";
        }
    }
}

TEST_F(ProfileDisplayTest, EndsWhenEveryEntryIsToBeSkipped) {
    keep_profile_of(full_text);
    kept_.refusals[2153] = 0x403B0046;
    EXPECT_EQ(show(full_text).result, 1);
    EXPECT_EQ(platform().printed.back(),
              "%s|0=The list of e-mail addresses has no end; the display ends here\n");
    EXPECT_EQ(platform().exchanges.back().record<AddressRecord>().index, 16383U);
}

TEST_F(ProfileDisplayTest, AProfileWithoutEntriesShowsEmptyLists) {
    for (const Display& display : displays) {
        kept_ = KeptConfiguration{};
        add_profile(kept_, display.profile);
        EXPECT_EQ(show(display).result, 0);
        const auto& printed = platform().printed;
        const auto heading =
            std::ranges::find(printed, tagged(display.email_heading, "email addresses configured:\n"));
        ASSERT_NE(heading, printed.end());
        EXPECT_EQ(
            Lines(heading + 1, printed.end()),
            (Lines{empty_line, tagged(display.url_heading, "url addresses configured:\n"), empty_line,
                   tagged(display.group_heading, "alert groups configured:\n"), empty_line, empty_line}));
    }
}

struct Shown {
    std::uint32_t number;
    std::string words;
};

TEST_F(ProfileDisplayTest, NamesTheTransportMethods) {
    for (const Display& display : displays) {
        for (const auto& [methods, words] :
             {Shown{0, ""}, Shown{1, "email"}, Shown{2, "http"}, Shown{3, "email and http"},
              Shown{4, "email and http"}, Shown{0xFFFFFFFF, "email and http"}}) {
            keep_profile_of(display);
            kept_.profiles.front().transport_methods = methods;
            show(display);
            EXPECT_EQ(std::ranges::count(platform().printed,
                                         tagged(display.transport, "transport-method:" + words + "\n")),
                      1);
        }
    }
}

TEST_F(ProfileDisplayTest, NamesTheFormatOrShowsTheSizeOnceMore) {
    for (const Display& display : {all_profiles, named_profile}) {
        for (const auto& [format, line] :
             {Shown{1, "message format:XML\n"}, Shown{2, "message format:full-txt\n"},
              Shown{3, "message format:short-txt\n"}, Shown{0, "maximum message size:123456\n"},
              Shown{4, "maximum message size:123456\n"}}) {
            keep_profile_of(display);
            kept_.profiles.front().format = format;
            show(display);
            EXPECT_EQ(platform().printed.at(2), tagged(display.format, line));
        }
    }
}

TEST_F(ProfileDisplayTest, SizesAndLevelsAreSigned) {
    for (const Display& display : displays) {
        keep_profile_of(display);
        kept_.profiles.front().message_size = 0xFFFFFFFE;
        kept_.profiles.front().message_level = 0xF9;
        show(display);
        EXPECT_EQ(platform().printed.at(1), tagged(display.size, "maximum message size:-2\n"));
        EXPECT_EQ(platform().printed.at(display.format == nullptr ? 2 : 3),
                  tagged(display.level, "message-level:-7\n"));
    }
}

TEST_F(ProfileDisplayTest, ReadsTextsWithoutATerminatorWithinTheirFields) {
    for (const Display& display : displays) {
        keep_profile_of(display);
        std::memset(kept_.emails.front().record.address, 'e', 256);
        std::memset(kept_.groups.front().record.group, 'g', 256);
        EXPECT_EQ(show(display).result, 0);
        EXPECT_EQ(
            std::ranges::count(platform().printed, tagged(display.email, std::string(256, 'e') + "\n")), 1);
        EXPECT_EQ(
            std::ranges::count(platform().printed, tagged(display.group, std::string(256, 'g') + "\n")), 1);
    }
}

TEST_F(ProfileDisplayTest, RunsOnTheActiveSupervisorOnly) {
    for (const Display& display : displays) {
        for (const std::uint32_t active_sup : {0U, 2U}) {
            Command command;
            command.context()->active_sup = active_sup;
            platform().printed.clear();
            platform().sends = 0;
            cmd_type = 7;
            const auto [result, out, err] = run(display.handler, command);
            EXPECT_EQ(result, 1);
            EXPECT_EQ(out + err, "");
            EXPECT_EQ(platform().printed, Lines{"%s|0=this command is supported on active sup only\n"});
            EXPECT_EQ(platform().sends, 1);
            EXPECT_EQ(asked(), Asked{});
            EXPECT_EQ(cmd_type, 7U);
        }
    }
}

TEST_F(ProfileDisplayTest, SaysThatThereIsNoHandle) {
    const std::vector<std::string> names{
        "callhome_show_destprofile:", "callhome_show_user_destprofile:",
        "callhome_show_destprofile_fulltxt:", "callhome_show_destprofile_shorttxt:",
        "callhome_show_destprofile_xml:"};
    platform().has_output_handle = false;
    for (std::size_t place = 0; place < displays.size(); ++place) {
        const auto [result, out, err] = show(displays[place]);
        EXPECT_EQ(result, 1);
        EXPECT_EQ(out.substr(0, names[place].size()), names[place]);
        EXPECT_EQ(out.substr(out.find(' ')), " cli_reply_handle_from_param failed\n");
        EXPECT_EQ(asked(), Asked{});
    }
}

}  // namespace
}  // namespace callhome::test
