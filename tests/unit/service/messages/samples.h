// What the tests of messages have in common.
#pragma once

#include <string>
#include <utility>

#include "messages/content.h"
#include "store/configuration.h"

namespace callhome::service::tests {

inline Profile profile_of(std::string name, protocol::MessageFormat format,
                          std::vector<std::string> addresses, std::string group = "all") {
    Profile profile;
    profile.name = std::move(name);
    profile.format = format;
    for (std::string& address : addresses) {
        const auto index = static_cast<std::uint32_t>(profile.email_addresses.size() + 1);
        profile.email_addresses.push_back({index, std::move(address)});
    }
    if (!group.empty()) {
        profile.alert_groups.push_back({1, std::move(group)});
    }
    return profile;
}

inline SystemInventory sample_inventory() {
    SystemInventory inventory;
    inventory.host_name = "switch1";
    inventory.vendor = "A vendor";
    inventory.product = "A product";
    inventory.serial_number = "SN-1";
    inventory.operating_system = "An operating system";
    inventory.kernel = "Linux 6.1 x86_64";
    inventory.software_version = "callhome 1.0.0";
    inventory.processor = "A processor";
    inventory.processor_count = 2;
    inventory.uptime = 273'906;
    inventory.memory_total = 4ULL << 30U;
    inventory.memory_available = 1ULL << 30U;
    inventory.load = "0.10 0.20 0.30";
    inventory.package_count = 42;
    inventory.interfaces = {{"eth0", "up", "02:00:00:00:00:01", {"192.0.2.1/24", "2001:db8::1/64"}},
                            {"lo", "up", "", {"127.0.0.1/8"}}};
    inventory.file_systems = {{"/", "ext4", 10ULL << 30U, 5ULL << 30U}};
    return inventory;
}

inline Configuration sample_configuration() {
    Configuration configuration;
    configuration.enabled = true;
    configuration.contact = {{"sysContact", "Ada"},
                             {"sysContactEmail", "ada@example.com"},
                             {"sysContactPhoneNumber", "+1 555 0100"},
                             {"sysStreetAddress", "1 Main Street"},
                             {"siteId", "site-1"},
                             {"custId", "customer-1"},
                             {"contractId", "contract-1"},
                             {"priority", "7"}};
    configuration.profiles = {profile_of("ops", protocol::MessageFormat::full_text, {"ops@example.com"})};
    return configuration;
}

}  // namespace callhome::service::tests
