#include "command.h"
#include "kept_configuration.h"
#include "platform/interface.h"

namespace callhome::test {
namespace {

using Generator = std::int32_t (*)(CommandContext*);

const std::string walk_failed = "; the running configuration ends here\n";

class LinesTest : public LibraryTest {
 protected:
    LinesTest() { serve(kept_); }

    Outcome generate(Generator generator) {
        platform().configuration_lines.clear();
        platform().exchanges.clear();
        kept_.exchanges = 0;
        pxd_data_present = 0;
        cmd_type = 7;
        return run(generator, command_);
    }
    static const Lines& lines() { return platform().configuration_lines; }

    KeptConfiguration kept_;
    Command command_;
};

// The profiles of the user's own.

class UserLinesTest : public LinesTest {
 protected:
    Outcome generate() { return LinesTest::generate(callhome_asciigen_destprofile); }
};

TEST_F(UserLinesTest, WritesEverySettingThatIsNoDefault) {
    ProfileRecord& profile = add_profile(kept_, "noc");
    profile.message_size = 4000;
    profile.format = 3;
    profile.message_level = 0xFE;
    add_email(kept_, "noc", "ada@example.net");
    add_email(kept_, "noc", "noc@example.net");
    add_url(kept_, "noc", "https://not.written.here");
    add_group(kept_, "noc", "system");
    add_group(kept_, "noc", "all");
    const auto [result, out, err] = generate();
    EXPECT_EQ(result, 0);
    EXPECT_EQ(out + err, "");
    EXPECT_EQ(lines(), (Lines{
                           "destination-profile noc message-size 4000\n",
                           "destination-profile noc format short-txt\n",
                           "destination-profile noc message-level -2\n",
                           "destination-profile noc email-addr ada@example.net\n",
                           "destination-profile noc email-addr noc@example.net\n",
                           "destination-profile noc alert-group system\n",
                           "destination-profile noc alert-group all\n",
                       }));
    EXPECT_EQ(asked(),
              (Asked{"2154/2", "2153/2", "2153/2", "2153/2", "2162/2", "2162/2", "2162/2", "2154/2"}));
    EXPECT_EQ(cmd_type, 1U);
    EXPECT_EQ(pxd_data_present, 1U);
}

TEST_F(UserLinesTest, AProfileExistsByItsFormatAlone) {
    const std::map<std::uint32_t, std::string> formats{{1, "XML"}, {2, "full-txt"}, {3, "short-txt"}};
    for (const auto& [format, name] : formats) {
        kept_ = KeptConfiguration{};
        add_profile(kept_, "noc").format = format;
        EXPECT_EQ(generate().result, 0);
        EXPECT_EQ(lines(), Lines{"destination-profile noc format " + name + "\n"});
        EXPECT_EQ(pxd_data_present, 1U);
    }
}

TEST_F(UserLinesTest, AnUnknownFormatHasNoLine) {
    for (const std::uint32_t format : {0U, 4U, 0xFFFFFFFFU}) {
        kept_ = KeptConfiguration{};
        add_profile(kept_, "noc").format = format;
        EXPECT_EQ(generate().result, 0);
        EXPECT_EQ(lines(), Lines{});
        EXPECT_EQ(pxd_data_present, 0U);
    }
}

TEST_F(UserLinesTest, LeavesOutTheBuiltInProfilesByTheirWholeNames) {
    kept_ = built_in_configuration();
    add_email(kept_, "full_txt", "not@written.here");
    EXPECT_EQ(generate().result, 0);
    EXPECT_EQ(lines(), Lines{});
    EXPECT_EQ(asked(), (Asked{"2154/2", "2154/2", "2154/2", "2154/2"}));
    add_profile(kept_, "full_txt2");
    add_profile(kept_, "ZUVA");
    generate();
    EXPECT_EQ(lines(), (Lines{"destination-profile full_txt2 format XML\n",
                              "destination-profile ZUVA format XML\n"}));
}

TEST_F(UserLinesTest, AnEmptyListOfProfilesHasNoLines) {
    for (const ServiceStatus status : {0x403B000C, 0x403B0034}) {
        kept_.fault = {.exchange = 1, .status = status};
        const auto [result, out, err] = generate();
        EXPECT_EQ(result, 0);
        EXPECT_EQ(out + err, "");
        EXPECT_EQ(lines(), Lines{});
        EXPECT_EQ(asked(), Asked{"2154/2"});
    }
}

TEST_F(UserLinesTest, SendsEachWholeEntryBackAsTheNextKey) {
    add_profile(kept_, "noc");
    add_email(kept_, "noc", "ada@example.net");
    add_group(kept_, "noc", "system");
    generate();
    AddressRecord first{};
    put(first.name, "noc");
    EXPECT_EQ(platform().exchanges.at(1).sent, in_transport_order(first));
    EXPECT_EQ(platform().exchanges.at(2).sent, in_transport_order(kept_.emails.front().record));
    EXPECT_EQ(platform().exchanges.at(2).length, 297U);
    EXPECT_EQ(platform().exchanges.at(4).sent, in_transport_order(kept_.groups.front().record));
    EXPECT_EQ(platform().exchanges.at(4).length, 301U);
    ProfileRecord last{};
    put(last.name, "noc");
    EXPECT_EQ(platform().exchanges.at(5).sent, in_transport_order(last));
    EXPECT_EQ(platform().exchanges.at(5).length, 51U);
}

TEST_F(UserLinesTest, RemovedAddressesAreWalkedPast) {
    for (const bool comes_along : {false, true}) {
        kept_ = KeptConfiguration{};
        kept_.sends_removed_entries = comes_along;
        add_profile(kept_, "noc");
        for (const char* address : {"first@example.net", "second@example.net", "third@example.net"}) {
            add_email(kept_, "noc", address);
        }
        kept_.emails.at(0).is_removed = kept_.emails.at(1).is_removed = true;
        EXPECT_EQ(generate().result, 0);
        EXPECT_EQ(lines(), (Lines{"destination-profile noc format XML\n",
                                  "destination-profile noc email-addr third@example.net\n"}));
        EXPECT_EQ(platform().exchanges.at(2).record<AddressRecord>().index, 1U);
        if (comes_along) {
            EXPECT_EQ(platform().exchanges.at(2).sent, in_transport_order(kept_.emails.at(0).record))
                << "the removed entry is the next key, like any other";
        }
    }
}

TEST_F(UserLinesTest, GroupsHaveNoRemovedEntries) {
    add_profile(kept_, "noc");
    add_group(kept_, "noc", "system");
    kept_.groups.front().is_removed = true;
    const auto [result, out, err] = generate();
    EXPECT_EQ(result, 1);
    EXPECT_EQ(out, "text of 0x403B0046\n");
    EXPECT_EQ(err, "");
}

TEST_F(UserLinesTest, AListEndsWhereTheServiceGoesOnToAnotherProfile) {
    kept_.walks_on_to_other_profiles = true;
    for (const char* name : {"a", "b"}) {
        add_profile(kept_, name);
        add_email(kept_, name, std::string(name) + "@example.net");
        add_group(kept_, name, "test");
    }
    EXPECT_EQ(generate().result, 0);
    EXPECT_EQ(lines(), (Lines{
                           "destination-profile a format XML\n",
                           "destination-profile a email-addr a@example.net\n",
                           "destination-profile a alert-group test\n",
                           "destination-profile b format XML\n",
                           "destination-profile b email-addr b@example.net\n",
                           "destination-profile b alert-group test\n",
                       }));
}

// What the fault of one exchange leaves of the lines of a profile with one address and one group.
const std::vector<std::size_t> user_lines_before{0, 1, 2, 2, 3, 3};

TEST_F(UserLinesTest, DistributionThatIsOffEndsAListLikeItsEnd) {
    for (std::size_t place = 0; place < user_lines_before.size(); ++place) {
        kept_ = KeptConfiguration{};
        add_profile(kept_, "noc");
        add_email(kept_, "noc", "ada@example.net");
        add_group(kept_, "noc", "system");
        kept_.fault = {.exchange = static_cast<int>(place) + 1, .status = 0x403B0034};
        const auto [result, out, err] = generate();
        EXPECT_EQ(result, 0) << place;
        EXPECT_EQ(out + err, "");
    }
}

TEST_F(UserLinesTest, EndsAtTheFirstRefusal) {
    add_profile(kept_, "noc");
    add_email(kept_, "noc", "ada@example.net");
    add_group(kept_, "noc", "system");
    for (const ServiceStatus status : {5, 0x403B000B, 0x403B0032}) {
        for (std::size_t place = 0; place < user_lines_before.size(); ++place) {
            kept_.fault = {.exchange = static_cast<int>(place) + 1, .status = status};
            const auto [result, out, err] = generate();
            EXPECT_EQ(result, 1);
            EXPECT_EQ(out, std::string(sys_err_to_str(status)) + "\n");
            EXPECT_EQ(err, "");
            EXPECT_EQ(lines().size(), user_lines_before[place]);
            EXPECT_EQ(platform().exchanges.size(), place + 1);
        }
    }
}

TEST_F(UserLinesTest, EndsAtAnAnswerThatIsCutShort) {
    add_profile(kept_, "noc");
    add_email(kept_, "noc", "ada@example.net");
    add_group(kept_, "noc", "system");
    for (const auto& [place, whole] : std::map<int, std::size_t>{{1, 51}, {2, 297}, {4, 301}}) {
        for (std::size_t length = 0; length < whole; ++length) {
            kept_.fault = {.exchange = place, .status = 0, .length = length};
            const auto [result, out, err] = generate();
            ASSERT_EQ(result, 1);
            ASSERT_EQ(out, "");
            ASSERT_EQ(err, "The answer of the call-home service was incomplete (" + std::to_string(length) +
                               " of " + std::to_string(whole) + " bytes)" + walk_failed);
        }
    }
}

TEST_F(UserLinesTest, EndsWhenAListGoesInCircles) {
    add_profile(kept_, "noc");
    add_email(kept_, "noc", "ada@example.net");
    add_group(kept_, "noc", "system");
    const std::map<std::uint32_t, std::string> lists{
        {2154, "destination profiles"}, {2153, "e-mail addresses"}, {2162, "alert groups"}};
    for (const auto& [opcode, name] : lists) {
        platform().service = [this, circle = opcode](const Exchange& exchange) {
            if (exchange.opcode != circle && exchange.opcode != 2154) {
                return refusal(0x403B000C);
            }
            return exchange.opcode == 2154   ? answer(kept_.profiles.front())
                   : exchange.opcode == 2153 ? answer(kept_.emails.front().record)
                                             : answer(kept_.groups.front().record);
        };
        const auto [result, out, err] = generate();
        EXPECT_EQ(result, 1);
        EXPECT_EQ(out, "");
        EXPECT_EQ(err, "The list of " + name + " has no end" + walk_failed);
    }
}

TEST_F(UserLinesTest, EndsWhenEveryAddressIsToBeSkipped) {
    add_profile(kept_, "noc");
    kept_.refusals[2153] = 0x403B0046;
    const auto [result, out, err] = generate();
    EXPECT_EQ(result, 1);
    EXPECT_EQ(err, "The list of e-mail addresses has no end" + walk_failed);
}

TEST_F(UserLinesTest, ReadsThePendingCopyWhenItIsToldTo) {
    print_running_config = 0;
    add_profile(kept_, "noc");
    EXPECT_EQ(generate().result, 0);
    EXPECT_EQ(asked(), (Asked{"2154/6", "2153/6", "2162/6", "2154/6"}));
}

TEST_F(UserLinesTest, ReadsTextsWithoutATerminatorWithinTheirFieldsAndPercentSignsAsTheyAre) {
    add_profile(kept_, "%s%n");
    add_email(kept_, "%s%n", "");
    add_group(kept_, "%s%n", "");
    std::memset(kept_.emails.front().record.address, 'e', 256);
    std::memset(kept_.groups.front().record.group, 'g', 256);
    EXPECT_EQ(generate().result, 0);
    EXPECT_EQ(lines(), (Lines{"destination-profile %s%n format XML\n",
                              "destination-profile %s%n email-addr " + std::string(256, 'e') + "\n",
                              "destination-profile %s%n alert-group " + std::string(256, 'g') + "\n"}));
}

// The built-in profiles.

struct BuiltIn {
    Generator generator;
    std::string profile;       // in records
    std::string level_begin;   // of the line of the level
    std::string others_begin;  // of the other lines
    std::uint32_t default_size;
    std::string default_group;
};

const std::vector<BuiltIn> built_ins{
    {callhome_asciigen_destprofile_xml, "ZUVA-profile", "destination-profile ZUVA-profile  message-level ",
     "destination-profile ZUVA-profile ", 5000000, "ZUVA-TAC"},
    {callhome_asciigen_destprofile_fulltxt, "full_txt", "destination-profile full_txt message-level ",
     "destination-profile full-txt-destination ", 2500000, "all"},
    {callhome_asciigen_destprofile_shorttxt, "short_txt", "destination-profile short_txt message-level ",
     "destination-profile short-txt-destination ", 4000, "all"},
};

class BuiltInLinesTest : public LinesTest {
 protected:
    void keep(const BuiltIn& row) {
        kept_ = KeptConfiguration{};
        ProfileRecord& profile = add_profile(kept_, row.profile);
        profile.message_level = 4;
        profile.message_size = 70000;
        add_email(kept_, row.profile, "ada@example.net");
        add_group(kept_, row.profile, "system");
        add_group(kept_, row.profile, row.default_group);
    }
    static Lines lines_of(const BuiltIn& row) {
        return {row.level_begin + "4\n", row.others_begin + "message-size 70000\n",
                row.others_begin + "email-addr ada@example.net\n",
                row.others_begin + "alert-group system\n"};
    }
};

TEST_F(BuiltInLinesTest, WritesTheLevelFirstAndNamesTheProfileInTwoWays) {
    for (const BuiltIn& row : built_ins) {
        keep(row);
        const auto [result, out, err] = generate(row.generator);
        EXPECT_EQ(result, 0);
        EXPECT_EQ(lines(), lines_of(row));
        EXPECT_EQ(out, "\n") << "behind the groups, not among the lines";
        EXPECT_EQ(err, "");
        EXPECT_EQ(asked(), (Asked{"2154/1", "2153/2", "2153/2", "2162/2", "2162/2", "2162/2"}));
        ProfileRecord request{};
        put(request.name, row.profile);
        EXPECT_EQ(platform().exchanges.at(0).sent, in_transport_order(request));
        AddressRecord address{};
        put(address.name, row.profile);
        EXPECT_EQ(platform().exchanges.at(1).sent, in_transport_order(address));
        EXPECT_EQ(cmd_type, 1U);
        EXPECT_EQ(pxd_data_present, 1U);
    }
}

TEST_F(BuiltInLinesTest, DefaultsHaveNoLines) {
    for (const BuiltIn& row : built_ins) {
        kept_ = built_in_configuration();
        const auto [result, out, err] = generate(row.generator);
        EXPECT_EQ(result, 0);
        EXPECT_EQ(lines(), Lines{});
        EXPECT_EQ(out, "\n");
        EXPECT_EQ(pxd_data_present, 0U);
    }
}

TEST_F(BuiltInLinesTest, TheDefaultOfOneIsALineOfAnother) {
    for (const BuiltIn& row : built_ins) {
        for (const std::uint32_t size : {4000U, 2500000U, 5000000U}) {
            kept_ = KeptConfiguration{};
            add_profile(kept_, row.profile).message_size = size;
            add_group(kept_, row.profile, row.default_group == "all" ? "ZUVA-TAC" : "all");
            generate(row.generator);
            Lines expected;
            if (size != row.default_size) {
                expected.push_back(row.others_begin + "message-size " + std::to_string(size) + "\n");
            }
            expected.push_back(row.others_begin + "alert-group " +
                               (row.default_group == "all" ? "ZUVA-TAC" : "all") + "\n");
            EXPECT_EQ(lines(), expected);
        }
    }
}

TEST_F(BuiltInLinesTest, EachLineMarksDataByItself) {
    for (const BuiltIn& row : built_ins) {
        for (std::size_t line = 0; line < 4; ++line) {
            kept_ = KeptConfiguration{};
            ProfileRecord& profile = add_profile(kept_, row.profile);
            profile.message_level = line == 0 ? 4 : 0;
            profile.message_size = line == 1 ? 70000 : row.default_size;
            if (line == 2) {
                add_email(kept_, row.profile, "ada@example.net");
            } else if (line == 3) {
                add_group(kept_, row.profile, "system");
            }
            generate(row.generator);
            EXPECT_EQ(lines(), Lines{lines_of(row)[line]});
            EXPECT_EQ(pxd_data_present, 1U);
        }
    }
}

TEST_F(BuiltInLinesTest, ReadsThePendingCopyWhenItIsToldTo) {
    print_running_config = 0;
    for (const BuiltIn& row : built_ins) {
        keep(row);
        generate(row.generator);
        EXPECT_EQ(asked(), (Asked{"2154/5", "2153/6", "2153/6", "2162/6", "2162/6", "2162/6"}));
        EXPECT_EQ(lines(), lines_of(row));
    }
}

TEST_F(BuiltInLinesTest, AProfileThatThePendingCopyLacksStillHasItsLists) {
    for (const BuiltIn& row : built_ins) {
        keep(row);
        kept_.refusals[2154] = 0x403B000B;
        print_running_config = 0;
        EXPECT_EQ(generate(row.generator).result, 0);
        EXPECT_EQ(lines(), (Lines{lines_of(row)[2], lines_of(row)[3]}));
        print_running_config = 1;
        const auto [result, out, err] = generate(row.generator);
        EXPECT_EQ(result, 1) << "in the effective copy that is an error";
        EXPECT_EQ(out, not_found_text);
        EXPECT_EQ(lines(), Lines{});
    }
}

TEST_F(BuiltInLinesTest, PassesOnThatThereIsNoPendingCopy) {
    for (const BuiltIn& row : built_ins) {
        keep(row);
        kept_.fault = {.exchange = 1, .status = 0x403B0034};
        const auto [result, out, err] = generate(row.generator);
        EXPECT_EQ(result, 0x403B0034);
        EXPECT_EQ(out + err, "");
        EXPECT_EQ(asked(), Asked{"2154/1"});
    }
}

TEST_F(BuiltInLinesTest, DistributionThatIsOffEndsAListLikeItsEnd) {
    for (const BuiltIn& row : built_ins) {
        for (int exchange = 2; exchange <= 6; ++exchange) {
            keep(row);
            kept_.fault = {.exchange = exchange, .status = 0x403B0034};
            const auto [result, out, err] = generate(row.generator);
            EXPECT_EQ(result, 0);
            EXPECT_EQ(out, "\n");
            EXPECT_EQ(err, "");
        }
    }
}

TEST_F(BuiltInLinesTest, WritesNoEmptyLineWhereTheServiceGoesOnToAnotherProfile) {
    for (const BuiltIn& row : built_ins) {
        keep(row);
        kept_.walks_on_to_other_profiles = true;
        add_profile(kept_, "zz");
        add_email(kept_, "zz", "other@example.net");
        add_group(kept_, "zz", "test");
        const auto [result, out, err] = generate(row.generator);
        EXPECT_EQ(result, 0);
        EXPECT_EQ(out + err, "");
        EXPECT_EQ(lines(), lines_of(row));
    }
}

TEST_F(BuiltInLinesTest, EndsAtTheFirstRefusal) {
    const std::vector<std::size_t> lines_before{0, 2, 3, 3, 4, 4};
    for (const BuiltIn& row : built_ins) {
        keep(row);
        for (std::size_t place = 0; place < lines_before.size(); ++place) {
            kept_.fault = {.exchange = static_cast<int>(place) + 1, .status = 0x403B0032};
            const auto [result, out, err] = generate(row.generator);
            EXPECT_EQ(result, 1);
            EXPECT_EQ(out, "text of 0x403B0032\n") << "and no empty line";
            EXPECT_EQ(lines().size(), lines_before[place]);
            EXPECT_EQ(platform().exchanges.size(), place + 1);
        }
    }
}

TEST_F(BuiltInLinesTest, EndsAtAnAnswerThatIsCutShort) {
    for (const BuiltIn& row : built_ins) {
        keep(row);
        for (const auto& [place, whole] : std::map<int, std::size_t>{{1, 51}, {2, 297}, {4, 301}}) {
            for (std::size_t length = 0; length < whole; ++length) {
                kept_.fault = {.exchange = place, .status = 0, .length = length};
                const auto [result, out, err] = generate(row.generator);
                ASSERT_EQ(result, 1);
                ASSERT_EQ(out, "");
                ASSERT_EQ(err, "The answer of the call-home service was incomplete (" +
                                   std::to_string(length) + " of " + std::to_string(whole) + " bytes)" +
                                   walk_failed);
            }
        }
    }
}

}  // namespace
}  // namespace callhome::test
