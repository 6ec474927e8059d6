#include "messages/content.h"

#include <glib.h>
#include <gtest/gtest.h>

#include <sstream>

#include "messages/configuration_lines.h"
#include "messages/sections.h"
#include "messages/text.h"
#include "messages/text_format.h"
#include "samples.h"

namespace callhome::service {
namespace {

using namespace std::string_literals;

constexpr std::size_t large = 2'500'000;
const MessageStamp stamp{"1700000000.0123456789abcdef@switch1", 1'700'000'000};

MessageContent content_of(const char* type,
                          const Configuration& configuration = tests::sample_configuration()) {
    const MessageType* found = find_message_type(type, Origin::command);
    return compose_content({found, "routed", "signal 11", "ada"}, stamp, "ops", configuration,
                           tests::sample_inventory());
}

bool holds(const std::string& text, const std::string& part) {
    return text.find(part) != std::string::npos;
}

TEST(FullText, HasAHeadingForEachPartAndALineForEachField) {
    const std::string text = format_full_text(content_of("SW_CRASH"), large);
    EXPECT_TRUE(text.starts_with("Call home: Software crash from switch1\n\nMessage\n-------\n")) << text;
    EXPECT_TRUE(
        holds(text, "\nEvent\n-----\nProcess:              routed\nReason:               signal 11\n"))
        << text;
    EXPECT_TRUE(holds(text, "\nSerial number:        SN-1\n")) << text;
    EXPECT_TRUE(holds(text, "\nE-mail:               ada@example.com\n")) << text;
    EXPECT_TRUE(holds(text, "\nSeverity:             critical\n")) << text;
    EXPECT_TRUE(holds(text, "\nProfile:              ops\n")) << text;
    EXPECT_TRUE(holds(text, "\nTime:                 " + iso_time(stamp.time) + "\n")) << text;
}

TEST(FullText, TellsWhatItsTypePromises) {
    const std::string inventory = format_full_text(content_of("inventory"), large);
    EXPECT_TRUE(holds(inventory, "eth0\n  State:")) << inventory;
    EXPECT_TRUE(holds(inventory, "192.0.2.1/24, 2001:db8::1/64")) << inventory;
    EXPECT_TRUE(holds(inventory, "Installed packages:   42")) << inventory;
    EXPECT_TRUE(holds(inventory, "Processor:            A processor")) << inventory;
    const std::string diagnostic = format_full_text(content_of("TEMO-normal"), large);
    EXPECT_TRUE(holds(diagnostic, "Load:                 0.10 0.20 0.30")) << diagnostic;
    EXPECT_TRUE(holds(diagnostic, "Memory available:     1024 MiB")) << diagnostic;
    EXPECT_TRUE(holds(diagnostic, "/\n  Type:                 ext4")) << diagnostic;
    const std::string configuration = format_full_text(content_of("PERIODIC_CONFIGURATION"), large);
    EXPECT_TRUE(holds(configuration, "\n  email-contact ada@example.com\n")) << configuration;
}

TEST(FullText, IsWrappedForPeople) {
    Configuration configuration = tests::sample_configuration();
    for (int word = 0; word < 100; ++word) {
        configuration.contact["sysStreetAddress"] += " a long way";
    }
    std::istringstream lines(format_full_text(content_of("test", configuration), large));
    for (std::string line; std::getline(lines, line);) {
        EXPECT_LE(line.size(), 78U) << line;
    }
}

TEST(ShortText, HoldsWhatAPagerNeeds) {
    const std::string text = format_short_text(content_of("SW_CRASH"), 4000);
    EXPECT_EQ(text,
              "Call home: Software crash from switch1\nSeverity: critical\nTime: " + iso_time(stamp.time) +
                  "\nProcess: routed\nReason: signal 11\nProduct: A product\nSerial number: SN-1\n"
                  "Name: Ada\nPhone: +1 555 0100\nSite id: site-1\nSwitch priority: 7\n");
}

TEST(Texts, KeepToTheProfilesSizeBetweenCharacters) {
    Configuration configuration = tests::sample_configuration();
    configuration.contact["sysContact"] = "東京 東京 東京";
    const MessageContent content = content_of("test", configuration);
    for (std::size_t size = 1; size < 1500; ++size) {
        for (const std::string& text :
             {format_full_text(content, size), format_short_text(content, size)}) {
            EXPECT_LE(text.size(), size);
            EXPECT_TRUE(g_utf8_validate(text.data(), static_cast<gssize>(text.size()), nullptr)) << size;
        }
    }
    EXPECT_TRUE(format_short_text(content, 100).ends_with("\n[cut]\n"));
}

TEST(Texts, HoldNoControlCharacterOfAField) {
    Configuration configuration = tests::sample_configuration();
    for (auto& [name, value] : configuration.contact) {
        value = "x\x1b[2J\r\n\0\x07y"s;
    }
    for (const auto format : {format_full_text, format_short_text}) {
        for (const char c : format(content_of("PERIODIC_CONFIGURATION", configuration), large)) {
            EXPECT_TRUE(c == '\n' || static_cast<unsigned char>(c) >= ' ') << static_cast<int>(c);
        }
    }
}

TEST(Content, LeavesOutWhatIsNotSet) {
    const std::string text = format_full_text(content_of("test", {}), large);
    EXPECT_FALSE(holds(text, "Contact\n"));
    EXPECT_FALSE(holds(text, "Event\n"));
}

TEST(ConfigurationLines, AreTheCommandsThatMakeIt) {
    Configuration configuration = tests::sample_configuration();
    Profile text = tests::profile_of("full_txt", protocol::MessageFormat::full_text, {"noc@example.com"});
    text.built_in = true;
    text.message_size = 1000;
    configuration.profiles.insert(configuration.profiles.begin(), text);
    configuration.profiles[1].message_level = 3;
    configuration.mail = {
        "from@example.com", "reply@example.com", "", "mx.example.com", {}, 2525, "mgmt", 1};
    configuration.mail_servers = {{"192.0.2.9", {}, 25, 10, "", 0}};
    EXPECT_EQ(
        configuration_lines(configuration),
        (std::vector<std::string>{"snmp-server contact Ada",
                                  "email-contact ada@example.com",
                                  "phone-contact +1 555 0100",
                                  "streetaddress 1 Main Street",
                                  "site-id site-1",
                                  "customer-id customer-1",
                                  "contract-id contract-1",
                                  "switch-priority 7",
                                  "destination-profile full-txt-destination message-size 1000",
                                  "destination-profile full-txt-destination email-addr noc@example.com",
                                  "destination-profile full-txt-destination alert-group all",
                                  "destination-profile ops format full-txt",
                                  "destination-profile ops message-level 3",
                                  "destination-profile ops email-addr ops@example.com",
                                  "destination-profile ops alert-group all",
                                  "transport email from from@example.com",
                                  "transport email reply-to reply@example.com",
                                  "transport email smtp-server mx.example.com port 2525 use-vrf mgmt",
                                  "transport email mail-server 192.0.2.9 port 25 priority 10",
                                  "enable"}));
}

TEST(ConfigurationLines, BringBackASizeAndTransportMethodThatAreNoDefaults) {
    Configuration configuration;
    Profile pager = tests::profile_of("pager", protocol::MessageFormat::short_text, {});
    pager.alert_groups.clear();
    pager.message_size = 2'500'000;
    Profile web = pager;
    web.name = "web";
    web.message_size = 4'000;
    web.transport_methods = protocol::transport_http;
    configuration.profiles = {pager, web};
    EXPECT_EQ(
        configuration_lines(configuration),
        (std::vector<std::string>{
            "destination-profile pager format short-txt", "destination-profile pager message-size 2500000",
            "destination-profile web format short-txt", "destination-profile web transport-method http",
            "no destination-profile web transport-method email", "disable"}));
}

TEST(ConfigurationLines, TellOfEachSettingThatIsNoDefault) {
    Configuration configuration;
    configuration.user_commands = {{1, "test", "show  clock"}, {3, "crash", "show | xml"}};
    configuration.http.vrf_name = "management";
    configuration.http.proxy.server = "proxy.example";
    configuration.duplicate_throttle = false;
    configuration.periodic_inventory.time_period = 1;
    configuration.privacy.high = true;
    EXPECT_EQ(configuration_lines(configuration),
              (std::vector<std::string>{
                  "alert-group test user-def-cmd show  clock", "alert-group crash user-def-cmd show | xml",
                  "transport http use-vrf management",
                  "transport http proxy server proxy.example port 8080", "no duplicate-message throttle",
                  "periodic-inventory notification interval 1", "data-privacy level high", "disable"}));
    configuration = {};
    configuration.http.proxy = {"2001:db8::80", protocol::AddressType::ipv6, 3128, true};
    configuration.periodic_inventory = {.notification = true, .time_period = 7, .time_of_day = 65};
    configuration.privacy.host_name = true;
    EXPECT_EQ(configuration_lines(configuration),
              (std::vector<std::string>{"transport http proxy server 2001:db8::80 port 3128",
                                        "transport http proxy enable", "periodic-inventory notification",
                                        "periodic-inventory notification timeofday 01:05",
                                        "data-privacy hostname", "disable"}));
}

TEST(DurationText, CountsDaysApart) {
    EXPECT_EQ(duration_text(0), "00:00:00");
    EXPECT_EQ(duration_text(86'399), "23:59:59");
    EXPECT_EQ(duration_text(86'400), "1 day 00:00:00");
    EXPECT_EQ(duration_text(200'000), "2 days 07:33:20");
}

}  // namespace
}  // namespace callhome::service
