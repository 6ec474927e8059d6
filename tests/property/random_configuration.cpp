#include "random_configuration.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <ostream>
#include <span>
#include <string_view>

#include "protocol/alert_group.h"
#include "protocol/records/alert_group.h"
#include "protocol/records/contact.h"
#include "protocol/records/destination_profile.h"
#include "protocol/records/feature.h"
#include "protocol/records/http.h"
#include "protocol/records/inventory.h"
#include "protocol/records/mail.h"
#include "protocol/records/privacy.h"

namespace callhome::test {
namespace {

using namespace protocol;
namespace gen = rc::gen;

// Everything that a word may be made of, the characters that shells and terminals are touchy about first.
const std::vector<std::string> word_pieces{
    "?",  "|",   "!", "#", "\"", "'", "\\", "$", "%s", "%", "&", "<", ">",  ";", "*",
    "~",  "`",   "(", "]", "{",  "^", "=",  "+", ",",  ":", "/", "é", "漢", "𝄞", "ß",
    "no", "end", "a", "b", "C",  "0", "9",  ".", "-",  "_", "@", "x", "yz", "Ω",
};

template <std::size_t size>
void put(char (&field)[size], std::string_view text) {
    std::memcpy(field, text.data(), std::min(text.size(), size - 1));
}

template <typename Record>
Change change(Opcode opcode, const Record& record, std::string description) {
    const auto bytes = std::as_bytes(std::span(&record, 1));
    return {opcode, {bytes.begin(), bytes.end()}, std::move(description)};
}

// The beginning of `text` of at most `limit` bytes, at the end of a character.
std::string cut(std::string text, std::size_t limit) {
    if (text.size() > limit) {
        while (limit > 0 && (static_cast<unsigned char>(text[limit]) & 0xC0U) == 0x80U) {
            --limit;
        }
        text.resize(limit);
    }
    return text;
}

std::string joined(const std::vector<std::string>& pieces) {
    std::string text;
    for (const std::string& piece : pieces) {
        text += piece;
    }
    return text;
}

// A word of 1 to `limit` bytes; one in eight is as long as it may be.
std::string a_word(std::size_t limit) {
    std::string word = joined(*gen::container<std::vector<std::string>>(gen::elementOf(word_pieces)));
    if (*gen::inRange(0, 8) == 0) {
        word = cut(std::move(word), limit);
        word.append(limit - word.size(), 'w');
    }
    word = cut(std::move(word), limit);
    return word.empty() ? "w" : word;
}

// Words with blanks between them, 1 to `limit` bytes.
std::string a_text(std::size_t limit) {
    std::string text = a_word(limit);
    for (int more = *gen::inRange(0, 4); more > 0; --more) {
        text += std::string(static_cast<std::size_t>(*gen::inRange(1, 3)), ' ') + a_word(limit);
    }
    text = cut(std::move(text), limit);
    while (text.ends_with(' ')) {
        text.pop_back();
    }
    return text;
}

// Letters, digits and what else an address may hold, 1 to `limit` bytes.
std::string a_local_part(std::size_t limit) {
    static const std::vector<std::string> pieces{"a", "B", "7", ".", "-", "_", "+",
                                                 "/", "=", "?", "|", "#", "!"};
    std::string part = "x";
    part += joined(*gen::container<std::vector<std::string>>(gen::elementOf(pieces)));
    return *gen::inRange(0, 8) == 0 ? std::string(limit, 'l') : cut(std::move(part), limit);
}

constexpr std::size_t text_limit = 255;

std::string an_email() {
    const std::string domain = *gen::element<std::string>("@example.net", "@a", "@mail.example.org");
    return a_local_part(text_limit - domain.size()) + domain;
}

std::string a_url() {
    const std::string scheme = *gen::element<std::string>("http://", "https://");
    return scheme + "host.example/" + cut(a_local_part(text_limit), text_limit - 30);
}

struct Host {
    std::string text;
    AddressType type;
};

Host a_host() {
    static const std::vector<Host> hosts{
        {"192.0.2.25", AddressType::ipv4},          {"255.255.255.255", AddressType::ipv4},
        {"2001:db8::25", AddressType::ipv6},        {"::1", AddressType::ipv6},
        {"fe80::1:2:3:4", AddressType::ipv6},       {"mail.example.net", AddressType::host_name},
        {"relay", AddressType::host_name},          {"smtp-2.example.org", AddressType::host_name},
        {"9front.example", AddressType::host_name},
    };
    if (*gen::inRange(0, 8) == 0) {
        std::string longest;
        while (longest.size() < text_limit - 64) {
            longest += std::string(63, 'h') + ".";
        }
        return {longest + std::string(text_limit - longest.size(), 'h'), AddressType::host_name};
    }
    return *gen::elementOf(hosts);
}

std::string a_vrf() {
    return *gen::inRange(0, 2) == 0 ? "" : a_word(31);
}

std::uint32_t one_of(const std::vector<std::uint32_t>& numbers) {
    return *gen::elementOf(numbers);
}

std::uint32_t a_port(std::uint32_t standard) {
    return one_of({standard, 1, 65'535, 587, *gen::inRange<std::uint32_t>(1, 65'536)});
}

Change a_contact() {
    ContactRecord record{};
    const auto name =
        *gen::element<std::string>("sysContact", "sysContactEmail", "sysContactPhoneNumber",
                                   "sysStreetAddress", "siteId", "custId", "contractId", "priority");
    const std::string value = name == "sysContactEmail" ? an_email()
                              : name == "priority"      ? std::to_string(*gen::inRange(0, 8))
                                                        : a_text(sizeof record.value - 1);
    put(record.name, name);
    put(record.value, value);
    return change(Opcode::contact_field, record, name + "=" + value);
}

constexpr std::array<std::string_view, 3> built_in{"full_txt", "short_txt", "ZUVA-profile"};

bool is_built_in(std::string_view name) {
    return std::ranges::find(built_in, name) != built_in.end();
}

Change a_profile(const std::string& name) {
    ProfileRecord record{};
    put(record.name, name);
    record.transport_methods = *gen::inRange<std::uint32_t>(1, 4);
    record.format = *gen::inRange<std::uint32_t>(1, 4);
    record.message_size =
        one_of({2'500'000, 4'000, 5'000'000, 1, *gen::inRange<std::uint32_t>(1, 5'000'001)});
    record.message_level = *gen::inRange<std::uint8_t>(0, 10);
    if (is_built_in(name)) {
        record.format = name == "full_txt" ? 2 : name == "short_txt" ? 3 : 1;
    }
    return change(Opcode::destination_profile, record,
                  "profile " + name + " format " + std::to_string(record.format) + " size " +
                      std::to_string(record.message_size));
}

Change an_address(const std::string& profile) {
    AddressRecord record{};
    const bool is_email = *gen::inRange(0, 4) != 0;
    const std::string address = is_email ? an_email() : a_url();
    put(record.name, profile);
    put(record.address, address);
    record.reserved = 1;
    return change(is_email ? Opcode::profile_email : Opcode::profile_url, record, profile + " " + address);
}

Change a_subscription(const std::string& profile) {
    SubscriptionRecord record{};
    const std::string group(*gen::elementOf(alert_group_names));
    put(record.name, profile);
    put(record.group, group);
    record.reserved = 1;
    return change(Opcode::alert_group, record, profile + " alert-group " + group);
}

Change a_user_command() {
    UserCommandRecord record{};
    const std::string group(*gen::elementOf(alert_group_names));
    const std::string command = "show " + a_text(sizeof record.command - 6);
    put(record.group, group);
    put(record.command, command);
    record.reserved = 1;
    return change(Opcode::user_command, record, group + " user-def-cmd " + command);
}

Change mail_settings() {
    MailSettingsRecord record{};
    record.vrf_id = 1;
    std::string description = "mail";
    const auto maybe = [&](auto& field) {
        if (*gen::inRange(0, 2) == 0) {
            put(field, an_email());
        }
    };
    maybe(record.from);
    maybe(record.reply_to);
    maybe(record.return_receipt);
    if (*gen::inRange(0, 3) != 0) {
        const Host host = a_host();
        put(record.smtp_server, host.text);
        record.address_type = static_cast<std::uint32_t>(host.type);
        record.port = *gen::inRange(0, 3) == 0 ? 0 : a_port(25);
        put(record.vrf_name, a_vrf());
        description += " " + host.text + " vrf " + record.vrf_name;
    }
    return change(Opcode::mail_settings, record, description);
}

Change a_mail_server() {
    MailServerRecord record{};
    const Host host = a_host();
    put(record.host, host.text);
    record.address_type = static_cast<std::uint32_t>(host.type);
    record.port = a_port(25);
    record.priority = *gen::inRange<std::uint32_t>(1, 101);
    record.reserved = 1;
    put(record.vrf_name, a_vrf());
    return change(Opcode::mail_server, record, "mail-server " + host.text);
}

Change a_proxy() {
    HttpProxyRecord record{};
    const Host host = a_host();
    put(record.server, host.text);
    record.address_type = static_cast<std::uint32_t>(host.type);
    record.port = a_port(8080);
    record.enabled = *gen::inRange<std::uint8_t>(0, 2);
    return change(Opcode::http_proxy, record, "proxy " + host.text);
}

Change http_vrf() {
    HttpVrfRecord record{};
    const std::string name = a_word(31);
    put(record.vrf_name, name);
    return change(Opcode::http_vrf, record, "http vrf " + name);
}

Change periodic_inventory() {
    const PeriodicInventoryRecord record{
        .notification = *gen::inRange<std::uint32_t>(0, 2),
        .time_period = one_of({7, 1, 30, 12}),
        .trailing_flag = 0,
        .time_of_day = one_of({480, 0, 1'439, *gen::inRange<std::uint32_t>(0, 1'440)})};
    return change(Opcode::periodic_inventory, record,
                  "inventory every " + std::to_string(record.time_period));
}

Change a_switch(Opcode opcode, const char* name) {
    const SwitchRecord record{.enabled = *gen::inRange<std::uint32_t>(0, 2), .trailing_flag = 0};
    return change(opcode, record, name + std::to_string(record.enabled));
}

Change privacy() {
    const PrivacyRecord record{.item = *gen::inRange<std::uint32_t>(1, 4), .remove = 0, .spare = 0};
    return change(Opcode::data_privacy, record, "privacy " + std::to_string(record.item));
}

// Enabling needs a destination; those without a running-configuration line would not come back.
std::vector<Change> what_enabling_needs() {
    AddressRecord address{};
    put(address.name, "full_txt");
    put(address.address, "ops@example.net");
    address.reserved = 1;
    MailServerRecord server{};
    put(server.host, "enabling.example.net");
    server.address_type = static_cast<std::uint32_t>(AddressType::host_name);
    server.port = 25;
    server.priority = 50;
    server.reserved = 1;
    ContactRecord contact{};
    put(contact.name, "sysContact");
    put(contact.value, "Ada");
    ContactRecord email{};
    put(email.name, "sysContactEmail");
    put(email.value, "ada@example.net");
    return {change(Opcode::profile_email, address, "full_txt ops@example.net"),
            change(Opcode::mail_server, server, "mail-server enabling.example.net"),
            change(Opcode::contact_field, contact, "sysContact=Ada"),
            change(Opcode::contact_field, email, "sysContactEmail=ada@example.net"),
            change(Opcode::feature_state, SwitchRecord{.enabled = 1, .trailing_flag = 0}, "enable")};
}

// Words that are keywords at the place of a profile's name stand for built-in profiles there.
bool is_profile_keyword(const std::string& name) {
    return is_built_in(name) || name == "full-txt-destination" || name == "short-txt-destination";
}

std::vector<std::string> profile_names() {
    constexpr std::size_t longest_name = sizeof(ProfileRecord::name) - 1;
    std::vector<std::string> names(built_in.begin(), built_in.end());
    for (int more = *gen::inRange(0, 5); more > 0; --more) {
        const std::string name = a_word(longest_name);
        if (!is_profile_keyword(name)) {
            names.push_back(name);
        }
    }
    return names;
}

Change any_change(const std::vector<std::string>& profiles) {
    const auto profile = [&] { return *gen::elementOf(profiles); };
    switch (*gen::inRange(0, 16)) {
        case 0:
        case 1:
            return a_contact();
        case 2:
            return a_profile(profile());
        case 3:
        case 4:
        case 5:
            return an_address(profile());
        case 6:
        case 7:
            return a_subscription(profile());
        case 8:
            return a_user_command();
        case 9:
            return mail_settings();
        case 10:
            return a_mail_server();
        case 11:
            return a_proxy();
        case 12:
            return http_vrf();
        case 13:
            return periodic_inventory();
        case 14:
            return a_switch(Opcode::duplicate_throttle, "throttle ");
        default:
            return *gen::inRange(0, 2) == 0 ? privacy() : a_switch(Opcode::traps, "traps ");
    }
}

}  // namespace

std::ostream& operator<<(std::ostream& out, const Change& change) {
    return out << change.description;
}

rc::Gen<std::vector<Change>> random_configuration() {
    return gen::exec([] {
        const std::vector<std::string> profiles = profile_names();
        std::vector<Change> changes;
        for (const std::string& name : profiles) {
            changes.push_back(a_profile(name));
        }
        for (int more = *gen::inRange(0, 30); more > 0; --more) {
            changes.push_back(any_change(profiles));
        }
        if (*gen::inRange(0, 2) == 0) {
            const std::vector<Change> enabling = what_enabling_needs();
            changes.insert(changes.end(), enabling.begin(), enabling.end());
        }
        return changes;
    });
}

}  // namespace callhome::test
