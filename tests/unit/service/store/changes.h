// One of each change that the store knows, in an order in which each has something to work on.
#pragma once

#include <array>
#include <string>

#include "store/store.h"

namespace callhome::service {

inline Profile user_profile(const char* name) {
    Profile profile;
    profile.name = name;
    profile.transport_methods = protocol::transport_http;
    profile.format = protocol::MessageFormat::short_text;
    profile.message_size = 4'321;
    profile.message_level = 3;
    return profile;
}

struct NamedChange {
    const char* name;
    void (*make)(Store& store);
};

inline constexpr std::array changes{
    NamedChange{"enabled", [](Store& store) { store.set_enabled(true); }},
    NamedChange{"traps", [](Store& store) { store.set_traps_enabled(true); }},
    NamedChange{"contact", [](Store& store) { store.set_contact("siteId", std::string(2'000, 's')); }},
    NamedChange{"contact_again", [](Store& store) { store.set_contact("siteId", "harbour"); }},
    NamedChange{"contact_removed", [](Store& store) { store.remove_contact("siteId"); }},
    NamedChange{"priority", [](Store& store) { store.set_contact("priority", "3"); }},
    NamedChange{"priority_removed", [](Store& store) { store.remove_contact("priority"); }},
    NamedChange{"profile", [](Store& store) { store.put_profile(user_profile("ops")); }},
    NamedChange{"profile_before_it", [](Store& store) { store.put_profile(user_profile("lab")); }},
    NamedChange{"built_in_profile",
                [](Store& store) {
                    Profile profile = user_profile("ZUVA-profile");
                    profile.format = protocol::MessageFormat::xml;
                    store.put_profile(profile);
                }},
    NamedChange{"email_address",
                [](Store& store) { store.add_address(AddressKind::email, "ops", "a@example.net"); }},
    NamedChange{"second_email_address",
                [](Store& store) { store.add_address(AddressKind::email, "ops", "b@example.net"); }},
    NamedChange{"url",
                [](Store& store) { store.add_address(AddressKind::url, "ops", "https://h.example"); }},
    NamedChange{"email_address_removed",
                [](Store& store) { store.remove_address(AddressKind::email, "ops", "b@example.net"); }},
    NamedChange{"profile_changed",
                [](Store& store) {
                    Profile profile = user_profile("ops");
                    profile.message_size = 999;
                    store.put_profile(profile);
                }},
    NamedChange{"mail_settings",
                [](Store& store) {
                    store.put_mail_settings({.from = "from@example.net",
                                             .reply_to = "reply@example.net",
                                             .return_receipt = "receipt@example.net",
                                             .smtp_server = "2001:db8::25",
                                             .address_type = protocol::AddressType::ipv6,
                                             .port = 2525,
                                             .vrf_name = "management",
                                             .vrf_id = 7});
                }},
    NamedChange{"mail_server",
                [](Store& store) {
                    store.put_mail_server({.host = "mx2.example.net",
                                           .address_type = protocol::AddressType::host_name,
                                           .port = 26,
                                           .priority = 9,
                                           .vrf_name = "blue",
                                           .vrf_id = 4});
                }},
    NamedChange{"mail_server_before_it",
                [](Store& store) { store.put_mail_server({.host = "mx1.example.net", .vrf_name = {}}); }},
    NamedChange{"mail_server_changed",
                [](Store& store) {
                    store.put_mail_server(
                        {.host = "mx2.example.net", .port = 26, .priority = 1, .vrf_name = {}});
                }},
    NamedChange{"mail_server_removed", [](Store& store) { store.remove_mail_server("mx1.example.net"); }},
    NamedChange{"profile_removed", [](Store& store) { store.remove_profile("ops"); }},
    NamedChange{"disabled", [](Store& store) { store.set_enabled(false); }},
};

}  // namespace callhome::service
