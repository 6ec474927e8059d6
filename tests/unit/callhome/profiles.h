// Profile records for the tests of the commands that read and change them.
#pragma once

#include "command.h"
#include "protocol/records/destination_profile.h"

namespace callhome::test {

using protocol::ProfileRecord;

enum : std::uint32_t {
    message_size = 17,
    zuva_profile = 18,
    full_text_profile = 19,
    short_text_profile = 20,
    user_profile = 22,
    format_xml = 24,
    format_full_text = 25,
    format_short_text = 26,
    message_level = 35,
    transport_email = 95,
    transport_http = 96,
};
inline constexpr std::uint32_t create_form = 102;
inline constexpr auto not_found = protocol::Status::not_found;
inline constexpr ServiceStatus not_found_code = 0x403B000B;

// A profile as the service keeps it; every byte that no handler sets carries something.
inline ProfileRecord kept_profile() {
    ProfileRecord profile{};
    put(profile.name, "noc");
    profile.transport_methods = 3;
    profile.format = 2;
    profile.message_size = 123456;
    profile.lookup_flag = 0x55;
    profile.message_level = 4;
    profile.spare = 0x77;
    profile.trailing_flag = 9;
    return profile;
}

// The defaults of a new profile.
inline ProfileRecord new_profile(std::string_view name) {
    ProfileRecord profile{};
    put(profile.name, name);
    profile.transport_methods = 1;
    profile.format = 1;
    profile.message_size = 2500000;
    return profile;
}

class ProfileTest : public LibraryTest {
 protected:
    // What the last exchange brought to the service.
    static ProfileRecord sent() { return platform().exchanges.back().record<ProfileRecord>(); }
    static void expect_sent(const ProfileRecord& expected) {
        EXPECT_EQ(platform().exchanges.back().length, 51U);
        EXPECT_EQ(platform().exchanges.back().sent, in_transport_order(expected));
    }

    Command command_;
};

}  // namespace callhome::test
