#include "command.h"

namespace callhome::test {
namespace {

constexpr std::uint32_t event_type = 103;
constexpr std::uint32_t event_text = 104;

class TriggerEventTest : public LibraryTest {
 protected:
    Outcome trigger() { return run(ch_trigger_event, command_); }

    static void expect_nothing_raised() {
        EXPECT_TRUE(platform().alerts.empty());
        EXPECT_TRUE(platform().syslog_alerts.empty());
    }

    Command command_;
};

struct TypeCase {
    const char* type;
    const char* alert;
};

void PrintTo(const TypeCase& type, std::ostream* out) {
    *out << type.type;
}

class TriggerEventOfType : public LibraryTest, public testing::WithParamInterface<TypeCase> {};

TEST_P(TriggerEventOfType, RaisesItsAlertWithoutAResult) {
    Command command;
    command.text(event_type, GetParam().type).text(event_text, "fan 3 has gone");
    const auto [result, out, err] = run(ch_trigger_event, command);
    EXPECT_EQ(result, 0);
    EXPECT_EQ(out + err, "");
    ASSERT_EQ(platform().alerts.size(), 1U);
    const PostedAlert& alert = platform().alerts.front();
    EXPECT_EQ(alert.transport_handle, 77U);
    EXPECT_EQ(alert.alert, GetParam().alert);
    EXPECT_EQ(alert.source, "fake event");
    EXPECT_EQ(alert.text, "fan 3 has gone");
    EXPECT_FALSE(platform().was_given_alert_result);
    EXPECT_TRUE(platform().syslog_alerts.empty());
    EXPECT_EQ(asked(), Asked{}) << "the service link is not used";
}

INSTANTIATE_TEST_SUITE_P(TriggerEvent, TriggerEventOfType,
                         testing::Values(TypeCase{"diagnostic", "TEMO-normal"},
                                         TypeCase{"inventory", "HARDWARE_INSERTION"},
                                         TypeCase{"environment", "TEMPERATURE_MINOR_ALARM"},
                                         TypeCase{"configuration", "PERIODIC_CONFIGURATION"}));

TEST_F(TriggerEventTest, ASyslogEventIsASyslogAlert) {
    command_.text(event_type, "syslog").text(event_text, "link down");
    const auto [result, out, err] = trigger();
    EXPECT_EQ(result, 0);
    EXPECT_EQ(out + err, "");
    ASSERT_EQ(platform().syslog_alerts.size(), 1U);
    const PostedSyslogAlert& alert = platform().syslog_alerts.front();
    EXPECT_EQ(alert.transport_handle, 77U);
    EXPECT_EQ(alert.source, "ethport");
    EXPECT_EQ(alert.severity, 2U);
    EXPECT_EQ(alert.text, "link down");
    EXPECT_TRUE(platform().alerts.empty());
}

TEST_F(TriggerEventTest, ATextIsNotNeeded) {
    command_.text(event_type, "syslog");
    EXPECT_EQ(trigger().result, 0);
    ASSERT_EQ(platform().syslog_alerts.size(), 1U);
    EXPECT_EQ(platform().syslog_alerts.front().text, "");
    Command other;
    other.text(event_type, "environment");
    EXPECT_EQ(run(ch_trigger_event, other).result, 0);
    ASSERT_EQ(platform().alerts.size(), 1U);
    EXPECT_EQ(platform().alerts.front().text, "");
}

TEST_F(TriggerEventTest, IsForTheActiveSupervisorOnly) {
    command_.text(event_type, "syslog").context()->active_sup = 0;
    const auto [result, out, err] = trigger();
    EXPECT_EQ(result, 1);
    EXPECT_EQ(out, "");
    EXPECT_EQ(err, "This command is supported on active sup only.\n");
    command_.context()->active_sup = 2;
    EXPECT_EQ(trigger().result, 1);
    expect_nothing_raised();
}

TEST_F(TriggerEventTest, WithoutATypeNothingIsRaised) {
    command_.text(event_text, "a text alone");
    const auto [result, out, err] = trigger();
    EXPECT_EQ(result, 0);
    EXPECT_EQ(out, "");
    EXPECT_EQ(err, "No event type supplied.\n");
    expect_nothing_raised();
}

TEST_F(TriggerEventTest, AnEmptyTypeIsNone) {
    command_.text(event_type, "syslog").text(event_type, "");
    EXPECT_EQ(trigger().err, "No event type supplied.\n");
    expect_nothing_raised();
}

TEST_F(TriggerEventTest, OtherTypesAreNotSupported) {
    for (const char* type : {"SYSLOG", "Diagnostic", "sys", "syslogs", "SYSLOG_ALERT", "%s%n"}) {
        Command command;
        command.text(event_type, type);
        const auto [result, out, err] = run(ch_trigger_event, command);
        EXPECT_EQ(result, 0) << type;
        EXPECT_EQ(out, "");
        EXPECT_EQ(err, std::string("event type \"") + type + "\" not supported.\n");
    }
    expect_nothing_raised();
}

TEST_F(TriggerEventTest, ATypeIsCutToThirtyOneCharacters) {
    command_.text(event_type, std::string(40, 't'));
    EXPECT_EQ(trigger().err, "event type \"" + std::string(31, 't') + "\" not supported.\n");
}

TEST_F(TriggerEventTest, ATextIsCutToItsFirst127Characters) {
    command_.text(event_type, "inventory").text(event_text, std::string(127, 'a') + std::string(73, 'b'));
    EXPECT_EQ(trigger().result, 0);
    ASSERT_EQ(platform().alerts.size(), 1U);
    EXPECT_EQ(platform().alerts.front().text, std::string(127, 'a'));
}

TEST_F(TriggerEventTest, TheLastTokenOfAKindCountsAndOthersAreIgnored) {
    command_.text(event_type, "syslog")
        .text(event_text, "a longer text that came first")
        .text(5, "of another command")
        .null_token()
        .text(event_text, "second")
        .text(event_type, "environment")
        .valueless(event_text, 0);
    EXPECT_EQ(trigger().result, 0);
    ASSERT_EQ(platform().alerts.size(), 1U);
    EXPECT_EQ(platform().alerts.front().alert, "TEMPERATURE_MINOR_ALARM");
    EXPECT_EQ(platform().alerts.front().text, "second");
}

TEST_F(TriggerEventTest, WhatBecomesOfTheAlertIsNotLookedAt) {
    platform().alert_post_result = -1;
    command_.text(event_type, "diagnostic");
    const auto [result, out, err] = trigger();
    EXPECT_EQ(result, 0);
    EXPECT_EQ(out + err, "");
    Command syslog;
    syslog.text(event_type, "syslog");
    EXPECT_EQ(run(ch_trigger_event, syslog).result, 0);
}

TEST_F(TriggerEventTest, LooksNeitherAtTheFormNorSetsTheClass) {
    cmd_type = 9;
    command_.no().text(event_type, "inventory");
    EXPECT_EQ(trigger().result, 0);
    EXPECT_EQ(platform().alerts.size(), 1U);
    EXPECT_EQ(cmd_type, 9U);
}

}  // namespace
}  // namespace callhome::test
