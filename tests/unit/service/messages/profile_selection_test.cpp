#include "messages/profile_selection.h"

#include <gtest/gtest.h>

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

TEST(MessageTypes, AreFoundByNameAndOrigin) {
    EXPECT_EQ(find_message_type("SUP_FAILURE", Origin::alert)->alert_group, "supervisor-hardware");
    EXPECT_EQ(find_message_type("SUP_FAILURE", Origin::command), nullptr);
    EXPECT_EQ(find_message_type("test", Origin::alert), nullptr);
    EXPECT_EQ(find_message_type("", Origin::command), nullptr);
    EXPECT_EQ(find_message_type("TEST", Origin::command), nullptr);
}

}  // namespace
}  // namespace callhome::service
