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
    NamedChange{"profile", [](Store& store) { store.effective().put_profile(user_profile("ops")); }},
    NamedChange{"profile_before_it",
                [](Store& store) { store.effective().put_profile(user_profile("lab")); }},
    NamedChange{"built_in_profile",
                [](Store& store) {
                    Profile profile = user_profile("ZUVA-profile");
                    profile.format = protocol::MessageFormat::xml;
                    store.effective().put_profile(profile);
                }},
    NamedChange{
        "email_address",
        [](Store& store) { store.effective().add_address(AddressKind::email, "ops", "a@example.net"); }},
    NamedChange{
        "second_email_address",
        [](Store& store) { store.effective().add_address(AddressKind::email, "ops", "b@example.net"); }},
    NamedChange{
        "url",
        [](Store& store) { store.effective().add_address(AddressKind::url, "ops", "https://h.example"); }},
    NamedChange{
        "email_address_removed",
        [](Store& store) { store.effective().remove_address(AddressKind::email, "ops", "b@example.net"); }},
    NamedChange{"profile_changed",
                [](Store& store) {
                    Profile profile = user_profile("ops");
                    profile.message_size = 999;
                    store.effective().put_profile(profile);
                }},
    NamedChange{"mail_settings",
                [](Store& store) {
                    store.effective().put_mail_settings({.from = "from@example.net",
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
                    store.effective().put_mail_server({.host = "mx2.example.net",
                                                       .address_type = protocol::AddressType::host_name,
                                                       .port = 26,
                                                       .priority = 9,
                                                       .vrf_name = "blue",
                                                       .vrf_id = 4});
                }},
    NamedChange{"mail_server_before_it",
                [](Store& store) {
                    store.effective().put_mail_server({.host = "mx1.example.net", .vrf_name = {}});
                }},
    NamedChange{"mail_server_changed",
                [](Store& store) {
                    store.effective().put_mail_server(
                        {.host = "mx2.example.net", .port = 26, .priority = 1, .vrf_name = {}});
                }},
    NamedChange{"mail_server_removed",
                [](Store& store) { store.effective().remove_mail_server("mx1.example.net"); }},
    NamedChange{"alert_group",
                [](Store& store) { store.effective().add_alert_group("ops", "environmental"); }},
    NamedChange{"second_alert_group",
                [](Store& store) { store.effective().add_alert_group("ops", "RMON"); }},
    NamedChange{"alert_group_removed",
                [](Store& store) { store.effective().remove_alert_group("ops", "environmental"); }},
    NamedChange{"http_settings",
                [](Store& store) {
                    HttpSettings settings;
                    settings.proxy.server = "2001:db8::80";
                    settings.proxy.address_type = protocol::AddressType::ipv6;
                    settings.proxy.port = 3128;
                    settings.proxy.enabled = true;
                    settings.vrf_name = "management";
                    store.effective().put_http_settings(settings);
                }},
    NamedChange{"http_settings_removed", [](Store& store) { store.effective().put_http_settings({}); }},
    NamedChange{"periodic_inventory",
                [](Store& store) {
                    store.effective().put_periodic_inventory(
                        {.notification = true, .time_period = 30, .time_of_day = 1'439});
                }},
    NamedChange{"user_command",
                [](Store& store) { store.effective().add_user_command("inventory", "show  clock | xml"); }},
    NamedChange{"second_user_command",
                [](Store& store) { store.effective().add_user_command("crash", "show clock"); }},
    NamedChange{
        "user_command_removed",
        [](Store& store) { store.effective().remove_user_command("inventory", "show  clock | xml"); }},
    NamedChange{"throttle", [](Store& store) { store.set_duplicate_throttle(false); }},
    NamedChange{"privacy", [](Store& store) { store.set_privacy({.high = true, .host_name = true}); }},
    NamedChange{"privacy_normal",
                [](Store& store) { store.set_privacy({.high = false, .host_name = true}); }},
    NamedChange{"distribution", [](Store& store) { store.set_distribution(true); }},
    NamedChange{"profile_removed", [](Store& store) { store.effective().remove_profile("ops"); }},
    NamedChange{"disabled", [](Store& store) { store.set_enabled(false); }},
};

}  // namespace callhome::service
