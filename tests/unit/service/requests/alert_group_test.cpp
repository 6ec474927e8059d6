#include "protocol/alert_group.h"

#include "requests_fixture.h"

namespace callhome::service {
namespace {

using protocol::SubscriptionRecord;
using protocol::UserCommandRecord;

class AlertGroupTest : public RequestsTest {
 protected:
    Answer<SubscriptionRecord> group(Operation operation, std::string_view profile, std::string_view name,
                                     std::uint32_t index = 0) {
        SubscriptionRecord record{};
        write_text(record.name, profile);
        write_text(record.group, name);
        record.index = index;
        record.reserved = 1;
        return ask(Opcode::alert_group, operation, record);
    }
    Status subscribe(std::string_view profile, std::string_view name) {
        return group(Operation::set, profile, name).status;
    }
    Answer<UserCommandRecord> command(Operation operation, std::string_view name, std::string_view text,
                                      std::uint32_t index = 0) {
        UserCommandRecord record{};
        write_text(record.group, name);
        write_text(record.command, text);
        record.index = index;
        record.reserved = 1;
        return ask(Opcode::user_command, operation, record);
    }
    Status add(std::string_view name, std::string_view text) {
        return command(Operation::set, name, text).status;
    }
};

TEST_F(AlertGroupTest, GroupsAreWalkedInTheOrderOfAdding) {
    EXPECT_EQ(subscribe("full_txt", "test"), Status::ok);
    EXPECT_EQ(subscribe("full_txt", "crash"), Status::ok);
    EXPECT_EQ(group(Operation::remove, "full_txt", "test").status, Status::ok);
    const auto first = group(Operation::get_next, "full_txt", "");
    EXPECT_STREQ(first.record->name, "full_txt");
    EXPECT_STREQ(first.record->group, "all");
    EXPECT_EQ(+first.record->index, 1U);
    const auto second = group(Operation::get_next, "full_txt", "all", first.record->index);
    EXPECT_STREQ(second.record->group, "crash");
    EXPECT_EQ(+second.record->index, 3U);
    EXPECT_EQ(group(Operation::get_next, "full_txt", "crash", 3).status, Status::no_further_entry);
    EXPECT_EQ(group(Operation::get_next, "unknown", "").status, Status::no_further_entry);
}

TEST_F(AlertGroupTest, AWalkGoesOnBehindAGroupThatIsGone) {
    subscribe("full_txt", "test");
    group(Operation::remove, "full_txt", "all");
    EXPECT_STREQ(group(Operation::get_next, "full_txt", "all", 1).record->group, "test");
}

TEST_F(AlertGroupTest, EachNameOfTheListAndNoOtherIsAGroup) {
    for (const std::string_view name : protocol::alert_group_names) {
        const bool built_in = name == "all";
        EXPECT_EQ(subscribe("full_txt", name), built_in ? Status::already_exists : Status::ok) << name;
    }
    for (const char* name : {"", "diagnostic", "All", "inventory "}) {
        EXPECT_EQ(subscribe("full_txt", name), Status::malformed_request) << name;
        EXPECT_EQ(group(Operation::remove, "full_txt", name).status, Status::malformed_request) << name;
        EXPECT_EQ(add(name, "show clock"), Status::malformed_request) << name;
        EXPECT_EQ(command(Operation::remove, name, "show clock").status, Status::malformed_request) << name;
    }
}

TEST_F(AlertGroupTest, WhatIsNotThereCannotBeTaken) {
    EXPECT_EQ(subscribe("unknown", "test"), Status::not_found);
    EXPECT_EQ(group(Operation::remove, "unknown", "test").status, Status::not_found);
    EXPECT_EQ(group(Operation::remove, "full_txt", "test").status, Status::not_found);
    EXPECT_EQ(command(Operation::remove, "test", "show clock").status, Status::not_found);
}

TEST_F(AlertGroupTest, TheTacProfileTakesItsOwnGroupOnly) {
    EXPECT_EQ(subscribe("ZUVA-profile", "test"), Status::built_in_profile);
    EXPECT_EQ(subscribe("ZUVA-profile", "ZUVA-TAC"), Status::already_exists);
    EXPECT_EQ(group(Operation::remove, "ZUVA-profile", "ZUVA-TAC").status, Status::ok);
    EXPECT_EQ(subscribe("ZUVA-profile", "ZUVA-TAC"), Status::ok);
}

TEST_F(AlertGroupTest, UserCommandsAreWalkedInTheOrderOfAdding) {
    EXPECT_EQ(command(Operation::get_next, "", "").status, Status::no_further_entry);
    EXPECT_EQ(add("test", "show version"), Status::ok);
    EXPECT_EQ(add("crash", "show  clock | begin \"x\""), Status::ok);
    EXPECT_EQ(add("test", "show"), Status::ok);
    EXPECT_EQ(command(Operation::remove, "test", "show version").status, Status::ok);
    const auto first = command(Operation::get_next, "", "");
    EXPECT_STREQ(first.record->group, "crash");
    EXPECT_STREQ(first.record->command, "show  clock | begin \"x\"") << "as it was typed";
    const auto second = command(Operation::get_next, "", "", first.record->index);
    EXPECT_STREQ(second.record->command, "show");
    EXPECT_EQ(+second.record->index, 3U);
    EXPECT_EQ(command(Operation::get_next, "", "", 3).status, Status::no_further_entry);
}

TEST_F(AlertGroupTest, OnlyAShowCommandIsTaken) {
    for (const char* text :
         {"", "reload", "showx", "Show clock", " show clock", "show\tclock", "show a\nb", "show \xff"}) {
        EXPECT_EQ(add("test", text), Status::user_command_refused) << text;
    }
    EXPECT_EQ(add("test", "show " + std::string(594, 'x')), Status::ok) << "as long as the record can hold";
}

TEST_F(AlertGroupTest, AUserCommandIsKeptOnceInItsGroup) {
    EXPECT_EQ(add("test", "show clock"), Status::ok);
    EXPECT_EQ(add("test", "show clock"), Status::user_command_refused);
    EXPECT_EQ(add("crash", "show clock"), Status::ok) << "another group";
}

TEST_F(AlertGroupTest, FiveUserCommandsAreTheLimitOfAGroup) {
    for (const char* text : {"show 1", "show 2", "show 3", "show 4", "show 5"}) {
        EXPECT_EQ(add("test", text), Status::ok);
    }
    EXPECT_EQ(add("test", "show 6"), Status::too_many_user_commands);
    EXPECT_EQ(add("crash", "show 6"), Status::ok);
    command(Operation::remove, "test", "show 3");
    EXPECT_EQ(add("test", "show 6"), Status::ok);
}

TEST_F(AlertGroupTest, AGroupOfAProfileThatReportsToTheTacTakesNoUserCommands) {
    EXPECT_EQ(add("ZUVA-TAC", "show clock"), Status::conflicts_with_tac_group);
    subscribe("full_txt", "ZUVA-TAC");
    EXPECT_EQ(add("all", "show clock"), Status::conflicts_with_tac_group);
    EXPECT_EQ(add("test", "show clock"), Status::ok) << "no profile has both";
    group(Operation::remove, "full_txt", "ZUVA-TAC");
    EXPECT_EQ(add("all", "show clock"), Status::ok);
}

TEST_F(AlertGroupTest, AProfileThatReportsToTheTacTakesNoGroupWithUserCommands) {
    add("test", "show clock");
    subscribe("full_txt", "ZUVA-TAC");
    EXPECT_EQ(subscribe("full_txt", "test"), Status::conflicts_with_tac_group);
    EXPECT_EQ(subscribe("short_txt", "test"), Status::ok);
    EXPECT_EQ(subscribe("short_txt", "ZUVA-TAC"), Status::conflicts_with_tac_group);
    command(Operation::remove, "test", "show clock");
    EXPECT_EQ(subscribe("short_txt", "ZUVA-TAC"), Status::ok);
}

TEST_F(AlertGroupTest, TheTacGroupItselfCannotBeTakenWhileItHasUserCommands) {
    group(Operation::remove, "ZUVA-profile", "ZUVA-TAC");
    EXPECT_EQ(add("ZUVA-TAC", "show clock"), Status::ok);
    EXPECT_EQ(subscribe("ZUVA-profile", "ZUVA-TAC"), Status::conflicts_with_tac_group);
}

}  // namespace
}  // namespace callhome::service
