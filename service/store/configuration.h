// The configuration as the service holds it in memory; the database holds the same.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "protocol/records/destination_profile.h"
#include "protocol/records/mail.h"

namespace callhome::service {

struct ProfileAddress {
    std::uint32_t index;  // from 1, in the order of adding; never reused while the profile lives
    std::string address;

    bool operator==(const ProfileAddress&) const = default;
};

struct AlertGroup {
    std::uint32_t index;  // as ProfileAddress::index
    std::string name;

    bool operator==(const AlertGroup&) const = default;
};

struct Profile {
    std::string name;
    bool built_in = false;
    std::uint32_t transport_methods = protocol::transport_email;  // mask of protocol::TransportMethod
    protocol::MessageFormat format = protocol::MessageFormat::xml;
    std::uint32_t message_size = 2'500'000;  // largest message in bytes
    std::int8_t message_level = 0;           // lowest level that is sent
    std::vector<ProfileAddress> email_addresses;
    std::vector<ProfileAddress> urls;
    std::vector<AlertGroup> alert_groups;

    bool operator==(const Profile&) const = default;
};

struct MailSettings {
    std::string from;
    std::string reply_to;
    std::string return_receipt;
    std::string smtp_server;  // tried after the mail servers; empty for none
    protocol::AddressType address_type = protocol::AddressType::unknown;
    std::uint32_t port = 0;  // 0 and 25 are the standard port
    std::string vrf_name;
    std::uint32_t vrf_id = 1;

    bool operator==(const MailSettings&) const = default;
};

struct MailServer {
    std::string host;
    protocol::AddressType address_type = protocol::AddressType::unknown;
    std::uint32_t port = 25;
    std::uint32_t priority = 50;  // the lowest number is tried first
    std::string vrf_name;
    std::uint32_t vrf_id = 0;

    bool operator==(const MailServer&) const = default;
};

struct HttpProxy {
    std::string server;  // empty for none
    protocol::AddressType address_type = protocol::AddressType::unknown;
    std::uint32_t port = 8080;
    bool enabled = false;

    bool operator==(const HttpProxy&) const = default;
};

struct HttpSettings {
    HttpProxy proxy;
    std::string vrf_name;  // empty for the default VRF

    bool operator==(const HttpSettings&) const = default;
};

struct PeriodicInventory {
    bool notification = false;        // whether inventory messages are sent by themselves
    std::uint32_t time_period = 7;    // days
    std::uint32_t time_of_day = 480;  // minutes after midnight

    bool operator==(const PeriodicInventory&) const = default;
};

// A command whose output goes with the messages of an alert group.
struct UserCommand {
    std::uint32_t index;  // from 1, in the order of adding; never reused
    std::string group;
    std::string command;

    bool operator==(const UserCommand&) const = default;
};

struct Privacy {
    bool high = false;       // addresses and serial numbers are masked, too
    bool host_name = false;  // the host name is masked

    bool operator==(const Privacy&) const = default;
};

// What a distribution session collects changes of: of this there is an effective and a pending copy.
struct SharedConfiguration {
    // Walk order: full_txt, short_txt, ZUVA-profile, then user profiles by name.
    std::vector<Profile> profiles;
    MailSettings mail;
    std::vector<MailServer> mail_servers;  // by host
    HttpSettings http;
    PeriodicInventory periodic_inventory;
    std::vector<UserCommand> user_commands;  // by index

    bool operator==(const SharedConfiguration&) const = default;
};

// The effective configuration, with what belongs to this switch alone.
struct Configuration : SharedConfiguration {
    bool enabled = false;
    bool traps_enabled = false;
    bool duplicate_throttle = true;  // duplicate messages are counted, not sent
    bool distribution = false;       // changes are collected and committed together
    Privacy privacy;
    std::map<std::string, std::string> contact;  // MIB name to value; only what is set

    bool operator==(const Configuration&) const = default;
};

}  // namespace callhome::service
