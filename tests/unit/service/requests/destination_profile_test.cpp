#include <fmt/format.h>

#include "requests_fixture.h"

namespace callhome::service {
namespace {

using protocol::AddressRecord;
using protocol::ProfileRecord;

ProfileRecord profile_named(std::string_view name) {
    ProfileRecord record{};
    write_text(record.name, name);
    record.transport_methods = protocol::transport_email;
    record.format = static_cast<std::uint32_t>(protocol::MessageFormat::xml);
    record.message_size = 2'500'000;
    return record;
}

class ProfileTest : public RequestsTest {
 protected:
    Answer<ProfileRecord> profile(Operation operation, const ProfileRecord& record) {
        return ask(Opcode::destination_profile, operation, record);
    }

    std::vector<std::string> walk() {
        std::vector<std::string> names;
        auto answer = profile(Operation::get_next, ProfileRecord{});
        while (answer.status == Status::ok) {
            names.push_back(read_text(answer.record->name));
            answer = profile(Operation::get_next, *answer.record);
        }
        EXPECT_EQ(answer.status, Status::no_further_entry);
        return names;
    }
};

TEST_F(ProfileTest, AProfileIsCreatedReadChangedAndRemoved) {
    ProfileRecord record = profile_named("ops");
    EXPECT_EQ(profile(Operation::get, record).status, Status::not_found);
    EXPECT_EQ(profile(Operation::set, record).status, Status::ok);
    record.transport_methods = protocol::transport_email | protocol::transport_http;
    record.format = static_cast<std::uint32_t>(protocol::MessageFormat::short_text);
    record.message_size = 4'000;
    record.message_level = 9;
    EXPECT_EQ(profile(Operation::set, record).status, Status::ok);
    const auto answer = profile(Operation::get, profile_named("ops"));
    EXPECT_EQ(answer.status, Status::ok);
    EXPECT_EQ(+answer.record->transport_methods, 3U);
    EXPECT_EQ(+answer.record->format, 3U);
    EXPECT_EQ(+answer.record->message_size, 4'000U);
    EXPECT_EQ(+answer.record->message_level, 9U);
    EXPECT_EQ(profile(Operation::remove, record).status, Status::ok);
    EXPECT_EQ(profile(Operation::get, record).status, Status::not_found);
    EXPECT_EQ(profile(Operation::remove, record).status, Status::not_found);
}

TEST_F(ProfileTest, AMissingProfileHasNoRecord) {
    EXPECT_FALSE(profile(Operation::get, profile_named("ops")).record);
}

struct BadProfile {
    const char* why;
    void (*spoil)(ProfileRecord& record);
};

constexpr std::array bad_profiles{
    BadProfile{"no name", [](ProfileRecord& record) { record.name[0] = 0; }},
    BadProfile{"a blank in the name", [](ProfileRecord& record) { record.name[1] = ' '; }},
    BadProfile{"a line end in the name", [](ProfileRecord& record) { record.name[1] = '\n'; }},
    BadProfile{"a name that is no UTF-8", [](ProfileRecord& record) { record.name[1] = '\xff'; }},
    BadProfile{"format 0", [](ProfileRecord& record) { record.format = 0; }},
    BadProfile{"format 4", [](ProfileRecord& record) { record.format = 4; }},
    BadProfile{"no transport method", [](ProfileRecord& record) { record.transport_methods = 0; }},
    BadProfile{"an unknown transport method", [](ProfileRecord& record) { record.transport_methods = 4; }},
    BadProfile{"a built-in profile's word",
               [](ProfileRecord& record) { write_text(record.name, "full-txt-destination"); }},
    BadProfile{"size 0", [](ProfileRecord& record) { record.message_size = 0; }},
    BadProfile{"size too large", [](ProfileRecord& record) { record.message_size = 5'000'001; }},
    BadProfile{"level 10", [](ProfileRecord& record) { record.message_level = 10; }},
    BadProfile{"level -1", [](ProfileRecord& record) { record.message_level = 0xFF; }},
};

TEST_F(ProfileTest, WhatNoProfileCanBeIsRefused) {
    for (const BadProfile& bad : bad_profiles) {
        ProfileRecord record = profile_named("ops");
        bad.spoil(record);
        EXPECT_EQ(profile(Operation::set, record).status, Status::malformed_request) << bad.why;
    }
    EXPECT_EQ(walk().size(), 3U);
}

TEST_F(ProfileTest, TheEndsOfEachRangeAreAccepted) {
    ProfileRecord record = profile_named(std::string(31, 'n'));
    record.message_size = 5'000'000;
    record.message_level = 9;
    EXPECT_EQ(profile(Operation::set, record).status, Status::ok);
    record.message_size = 1;
    EXPECT_EQ(profile(Operation::set, record).status, Status::ok);
}

TEST_F(ProfileTest, ABuiltInProfileKeepsItsFormatAndStays) {
    ProfileRecord record = profile_named("full_txt");
    EXPECT_EQ(profile(Operation::set, record).status, Status::built_in_profile);
    EXPECT_EQ(profile(Operation::remove, record).status, Status::built_in_profile);
    record.format = static_cast<std::uint32_t>(protocol::MessageFormat::full_text);
    record.message_size = 1'000;
    EXPECT_EQ(profile(Operation::set, record).status, Status::ok);
    EXPECT_EQ(store.effective().find_profile("full_txt")->message_size, 1'000U);
}

TEST_F(ProfileTest, TheWalkGivesBuiltInProfilesFirstThenUserProfilesByName) {
    for (const char* name : {"ops", "lab"}) {
        profile(Operation::set, profile_named(name));
    }
    EXPECT_EQ(walk(), (std::vector<std::string>{"full_txt", "short_txt", "ZUVA-profile", "lab", "ops"}));
}

TEST_F(ProfileTest, TheWalkGoesOnBehindAProfileThatIsGone) {
    profile(Operation::set, profile_named("ops"));
    const auto answer = profile(Operation::get_next, profile_named("night"));
    EXPECT_STREQ(answer.record->name, "ops");
    EXPECT_EQ(profile(Operation::get_next, profile_named("zebra")).status, Status::no_further_entry);
}

TEST_F(ProfileTest, AThousandUserProfilesAreTheLimit) {
    database.connection().exec("PRAGMA synchronous = OFF");
    for (int number = 0; number < 1'000; ++number) {
        ASSERT_EQ(profile(Operation::set, profile_named(fmt::format("p{}", number))).status, Status::ok);
    }
    EXPECT_EQ(profile(Operation::set, profile_named("one-more")).status, Status::limit_reached);
    EXPECT_EQ(profile(Operation::set, profile_named("p7")).status, Status::ok) << "a change is no addition";
    EXPECT_EQ(profile(Operation::remove, profile_named("p7")).status, Status::ok);
    EXPECT_EQ(profile(Operation::set, profile_named("one-more")).status, Status::ok);
}

struct Kind {
    Opcode opcode;
    const char* first;
    const char* second;
    const char* not_one;
};

class AddressTest : public RequestsTest, public testing::WithParamInterface<Kind> {
 protected:
    Answer<AddressRecord> address(Operation operation, std::string_view name, std::string_view address,
                                  std::uint32_t index = 0) {
        AddressRecord record{};
        write_text(record.name, name);
        write_text(record.address, address);
        record.index = index;
        record.reserved = 1;
        return ask(GetParam().opcode, operation, record);
    }
    const char* first = GetParam().first;
    const char* second = GetParam().second;
};

TEST_P(AddressTest, AddressesAreWalkedInTheOrderOfAdding) {
    EXPECT_EQ(address(Operation::get_next, "full_txt", "").status, Status::no_further_entry);
    EXPECT_EQ(address(Operation::set, "full_txt", second).status, Status::ok);
    EXPECT_EQ(address(Operation::set, "full_txt", first).status, Status::ok);
    const auto one = address(Operation::get_next, "full_txt", "");
    EXPECT_STREQ(one.record->name, "full_txt");
    EXPECT_STREQ(one.record->address, second);
    EXPECT_EQ(+one.record->index, 1U);
    const auto two = address(Operation::get_next, "full_txt", "", one.record->index);
    EXPECT_STREQ(two.record->address, first);
    EXPECT_EQ(+two.record->index, 2U);
    EXPECT_EQ(address(Operation::get_next, "full_txt", "", 2).status, Status::no_further_entry);
}

TEST_P(AddressTest, AWalkStaysWithinItsProfile) {
    address(Operation::set, "short_txt", first);
    EXPECT_EQ(address(Operation::get_next, "full_txt", "").status, Status::no_further_entry);
    EXPECT_EQ(address(Operation::get_next, "unknown", "").status, Status::no_further_entry);
}

TEST_P(AddressTest, AWalkWithoutANameBeginsWithTheFirstProfileThatHasOne) {
    EXPECT_EQ(address(Operation::get_next, "", "").status, Status::no_further_entry);
    address(Operation::set, "short_txt", first);
    EXPECT_STREQ(address(Operation::get_next, "", "").record->name, "short_txt");
}

TEST_P(AddressTest, RemovedAddressesLeaveTheWalkToTheOthers) {
    address(Operation::set, "full_txt", first);
    address(Operation::set, "full_txt", second);
    EXPECT_EQ(address(Operation::remove, "full_txt", first).status, Status::ok);
    EXPECT_EQ(address(Operation::remove, "full_txt", first).status, Status::not_found);
    const auto left = address(Operation::get_next, "full_txt", "");
    EXPECT_STREQ(left.record->address, second);
    EXPECT_EQ(+left.record->index, 2U);
}

TEST_P(AddressTest, AnAddressIsKeptOnce) {
    address(Operation::set, "full_txt", first);
    EXPECT_EQ(address(Operation::set, "full_txt", first).status, Status::already_exists);
    EXPECT_EQ(address(Operation::set, "short_txt", first).status, Status::ok) << "another profile";
}

TEST_P(AddressTest, AProfileThatDoesNotExistTakesNone) {
    EXPECT_EQ(address(Operation::set, "unknown", first).status, Status::not_found);
    EXPECT_EQ(address(Operation::remove, "unknown", first).status, Status::not_found);
}

TEST_P(AddressTest, WhatIsNoAddressIsRefused) {
    for (const std::string& text : {std::string(), std::string(GetParam().not_one),
                                    std::string(first) + "\n", std::string(first) + " x"}) {
        EXPECT_EQ(address(Operation::set, "full_txt", text).status, Status::malformed_request) << text;
    }
}

TEST_P(AddressTest, AHundredOfAKindAreTheLimitOfAProfile) {
    database.connection().exec("PRAGMA synchronous = OFF");
    for (int number = 0; number < 100; ++number) {
        ASSERT_EQ(address(Operation::set, "full_txt", fmt::format("{}{}", first, number)).status,
                  Status::ok);
    }
    EXPECT_EQ(address(Operation::set, "full_txt", second).status, Status::limit_reached);
    EXPECT_EQ(address(Operation::set, "short_txt", second).status, Status::ok);
}

INSTANTIATE_TEST_SUITE_P(Of, AddressTest,
                         testing::Values(Kind{Opcode::profile_email, "a@example.net", "b@example.net",
                                              "nobody"},
                                         Kind{Opcode::profile_url, "http://a.example/",
                                              "https://b.example/", "ftp://c.example/"}),
                         [](const auto& instance) {
                             return instance.param.opcode == Opcode::profile_email ? "EmailAddresses"
                                                                                   : "Urls";
                         });

}  // namespace
}  // namespace callhome::service
