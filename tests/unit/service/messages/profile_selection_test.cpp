#include "messages/profile_selection.h"

#include <gtest/gtest.h>

#include <set>

#include "protocol/alert_group.h"
#include "protocol/records/message.h"
#include "row_name.h"
#include "samples.h"

namespace callhome::service {
namespace {

struct Subscription {
    const char* group;
    int level;
    const char* type;
    bool taken;
};

std::string name_of_row(const testing::TestParamInfo<Subscription>& info) {
    return tests::row_name(std::string(*info.param.group == '\0' ? "nothing" : info.param.group) +
                           "_from_" + std::to_string(info.param.level) + "_for_" + info.param.type);
}

class Subscribing : public testing::TestWithParam<Subscription> {};

TEST_P(Subscribing, DependsOnGroupAndLevel) {
    const Subscription& row = GetParam();
    Configuration configuration;
    configuration.profiles = {
        tests::profile_of("p", protocol::MessageFormat::full_text, {"a@example.com"}, row.group)};
    configuration.profiles.front().message_level = static_cast<std::int8_t>(row.level);
    const MessageType* type = find_message_type(row.type, Origin::command);
    ASSERT_NE(type, nullptr);
    EXPECT_EQ(!select_takers(configuration, *type).empty(), row.taken)
        << row.group << " " << row.level << " " << row.type;
}

INSTANTIATE_TEST_SUITE_P(
    Table, Subscribing,
    testing::Values(
        Subscription{"all", 0, "inventory", true}, Subscription{"inventory", 0, "inventory", true},
        Subscription{"ZUVA-TAC", 0, "inventory", true}, Subscription{"ZUVA-TAC", 0, "SW_CRASH", true},
        Subscription{"crash", 0, "inventory", false}, Subscription{"", 0, "inventory", false},
        Subscription{"Inventory", 0, "inventory", false}, Subscription{"all", 2, "inventory", true},
        Subscription{"all", 3, "inventory", false}, Subscription{"crash", 6, "SW_CRASH", true},
        Subscription{"crash", 7, "SW_CRASH", false}, Subscription{"OBX", 0, "OBX_ALERT", true},
        Subscription{"Diagnostic", 0, "TEMO-normal", true},
        Subscription{"configuration", 0, "PERIODIC_CONFIGURATION", true}, Subscription{"", 9, "test", true},
        Subscription{"crash", 9, "test", true}),
    name_of_row);

TEST(Takers, AreReachedByTheTransportMethodsThatHaveAddresses) {
    Configuration configuration;
    Profile both =
        tests::profile_of("both", protocol::MessageFormat::xml, {"a@example.com", "b@example.com"});
    both.urls = {{1, "http://example.com/a"}};
    both.transport_methods = protocol::transport_email | protocol::transport_http;
    Profile only_mail = both;
    only_mail.transport_methods = protocol::transport_email;
    Profile no_address = both;
    no_address.transport_methods = protocol::transport_http;
    no_address.urls.clear();
    configuration.profiles = {both, only_mail, no_address};

    const auto takers = select_takers(configuration, *find_message_type("test", Origin::command));
    ASSERT_EQ(takers.size(), 3U);
    EXPECT_EQ(takers[0].transport, Transport::email);
    EXPECT_EQ(takers[0].receivers, (std::vector<std::string>{"a@example.com", "b@example.com"}));
    EXPECT_EQ(takers[1].transport, Transport::http);
    EXPECT_EQ(takers[1].receivers, (std::vector<std::string>{"http://example.com/a"}));
    EXPECT_EQ(takers[2].profile, &configuration.profiles[1]);
    EXPECT_EQ(takers[2].transport, Transport::email);
}

TEST(NobodyTakes, SaysWhatToConfigure) {
    Configuration configuration;
    const MessageType& crash = *find_message_type("SW_CRASH", Origin::command);
    configuration.profiles = {tests::profile_of("p", protocol::MessageFormat::xml, {})};
    EXPECT_NE(why_nobody_takes(configuration, crash).find("destination-profile NAME email-addr ADDRESS"),
              std::string::npos);
    configuration.profiles = {
        tests::profile_of("p", protocol::MessageFormat::xml, {"a@example.com"}, "OBX")};
    EXPECT_EQ(why_nobody_takes(configuration, crash),
              "No destination profile with an address takes messages of the alert group crash at level 6; "
              "subscribe one to the group with 'destination-profile NAME alert-group crash', or lower its "
              "message level");
}

struct Event {
    const char* alert;
    std::uint32_t severity;  // as the system log counts
    const char* group;
    Severity becomes;
};

constexpr std::uint32_t its_own = protocol::severity_of_its_name;
constexpr const char* syslog_group = "syslog-group-port";

std::string name_of_event(const testing::TestParamInfo<Event>& info) {
    return tests::row_name(
        info.param.alert + std::string("_at_") +
        (info.param.severity == its_own ? "its_own" : std::to_string(info.param.severity)));
}

class Events : public testing::TestWithParam<Event> {};

TEST_P(Events, HaveAGroupASeverityAndATitle) {
    const Event& row = GetParam();
    const auto type = event_type(row.alert, row.severity);
    ASSERT_TRUE(type);
    EXPECT_EQ(type->name, row.alert);
    EXPECT_EQ(type->alert_group, row.group);
    EXPECT_EQ(type->severity, row.becomes);
    EXPECT_NE(type->title, "");
    EXPECT_STREQ(type->parameters[0].element, "source");
    EXPECT_STREQ(type->parameters[1].element, "text");
    EXPECT_FALSE(type->for_every_profile);
}

// Each subscription by each level by each format: the format decides nothing.
TEST_P(Events, AreTakenByWhoSubscribesToTheirGroupOrToAllAndWantsTheirLevel) {
    const Event& row = GetParam();
    const MessageType type = event_type(row.alert, row.severity).value();
    for (const std::string_view group : protocol::alert_group_names) {
        for (std::int8_t level = 0; level <= 9; ++level) {
            for (const auto format : {protocol::MessageFormat::xml, protocol::MessageFormat::full_text,
                                      protocol::MessageFormat::short_text}) {
                Configuration configuration;
                configuration.profiles = {
                    tests::profile_of("p", format, {"a@example.com"}, std::string(group))};
                configuration.profiles.front().message_level = level;
                const bool covers = group == row.group || group == "all" || group == "ZUVA-TAC";
                EXPECT_EQ(select_takers(configuration, type).size() == 1,
                          covers && level <= static_cast<int>(row.becomes))
                    << group << " at level " << +level << " in format " << static_cast<int>(format);
            }
        }
    }
}

INSTANTIATE_TEST_SUITE_P(
    Table, Events,
    testing::Values(Event{"SUP_FAILURE", its_own, "supervisor-hardware", Severity::severe},
                    Event{"TEMO-normal", its_own, "Diagnostic", Severity::notice},
                    Event{"HARDWARE_INSERTION", its_own, "inventory", Severity::notice},
                    Event{"TEMPERATURE_MINOR_ALARM", its_own, "environmental", Severity::minor},
                    Event{"PERIODIC_CONFIGURATION", its_own, "configuration", Severity::notice},
                    Event{"SW_CRASH", its_own, "crash", Severity::critical},
                    Event{"OBX_ALERT", its_own, "OBX", Severity::notice},
                    Event{"TEMPERATURE_MINOR_ALARM", 0, "environmental", Severity::severe},
                    Event{"SYSLOG_ALERT", its_own, syslog_group, Severity::minor},
                    Event{"SYSLOG_ALERT", 0, syslog_group, Severity::severe},
                    Event{"SYSLOG_ALERT", 1, syslog_group, Severity::critical},
                    Event{"SYSLOG_ALERT", 2, syslog_group, Severity::major},
                    Event{"SYSLOG_ALERT", 3, syslog_group, Severity::minor},
                    Event{"SYSLOG_ALERT", 4, syslog_group, Severity::warning},
                    Event{"SYSLOG_ALERT", 5, syslog_group, Severity::notice},
                    Event{"SYSLOG_ALERT", 6, syslog_group, Severity::routine},
                    Event{"SYSLOG_ALERT", 7, syslog_group, Severity::debug}),
    name_of_event);

TEST(EventTypes, ThatNobodyKnowsAreRefused) {
    for (const char* alert : {"", "sup_failure", "test", "inventory", "diagnostic-signature", "NO_SUCH"}) {
        EXPECT_FALSE(event_type(alert, its_own)) << alert;
    }
    for (const std::uint32_t severity : {8U, 255U, 0xFFFFFFFEU}) {
        EXPECT_FALSE(event_type("SYSLOG_ALERT", severity)) << severity;
    }
}

TEST(MessageTypes, HaveAKnownGroupAndANameOfTheirOwn) {
    std::set<std::string_view> names;
    for (const MessageType& type : message_types()) {
        EXPECT_TRUE(protocol::is_alert_group(type.alert_group)) << type.name;
        EXPECT_TRUE(names.insert(type.name).second) << type.name;
    }
}

TEST(MessageTypes, AreFoundByNameAndOrigin) {
    EXPECT_EQ(find_message_type("SUP_FAILURE", Origin::alert)->alert_group, "supervisor-hardware");
    EXPECT_EQ(find_message_type("SUP_FAILURE", Origin::command), nullptr);
    EXPECT_EQ(find_message_type("test", Origin::alert), nullptr);
    EXPECT_EQ(find_message_type("", Origin::command), nullptr);
    EXPECT_EQ(find_message_type("TEST", Origin::command), nullptr);
}

}  // namespace
}  // namespace callhome::service
