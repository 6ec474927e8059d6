// The distribution session as a client sees it.
#include "protocol/records/distribution.h"
#include "description.h"
#include "login_child.h"
#include "requests_fixture.h"

namespace callhome::service {
namespace {

using protocol::ActionResult;
using protocol::AddressRecord;
using protocol::CommitRecord;
using protocol::DistributionRecord;
using protocol::SessionAction;
using protocol::SessionRecord;

class DistributionTest : public RequestsTest {
 protected:
    Status distribute(std::uint32_t enabled) {
        return *send(Opcode::distribution, Operation::set, DistributionRecord{.enabled = enabled});
    }
    void switch_on() {
        store.set_contact("sysContact", "Ada");
        ASSERT_EQ(distribute(1), Status::ok);
    }
    Status end(SessionAction action) {
        CommitRecord record{};
        record.action = static_cast<std::uint32_t>(action);
        return *send(Opcode::commit, Operation::set, record);
    }
    CommitRecord result() { return *ask(Opcode::commit, Operation::get, CommitRecord{}).record; }
    Status clear(std::uint32_t whoever) {
        return *send(Opcode::clear_session, Operation::set,
                     protocol::ClearSessionRecord{.whoever_owns_it = whoever});
    }
    SessionRecord state() { return *ask(Opcode::session_state, Operation::get, SessionRecord{}).record; }
    Answer<AddressRecord> address(Operation operation, std::string_view text = {},
                                  std::uint32_t index = 0) {
        AddressRecord record{};
        write_text(record.name, "full_txt");
        write_text(record.address, text);
        record.index = index;
        return ask(Opcode::profile_email, operation, record);
    }
    Status add(std::string_view text) { return address(Operation::set, text).status; }
    void let_the_engine_work() {
        io.restart();
        io.poll();
    }

    LoginChild login, other_login;
    const Identity ada{.user = 1000, .session = login.session()};
    const Identity bob{.user = 1001, .session = other_login.session()};
    DistributionTest() { caller.who = ada; }
};

TEST_F(DistributionTest, ItIsSwitchedOnAndOff) {
    EXPECT_EQ(+ask(Opcode::distribution, Operation::get, DistributionRecord{}).record->enabled, 0U);
    EXPECT_EQ(distribute(1), Status::no_system_contact);
    switch_on();
    EXPECT_EQ(+ask(Opcode::distribution, Operation::get, DistributionRecord{}).record->enabled, 1U);
    EXPECT_EQ(distribute(1), Status::ok);
    EXPECT_EQ(distribute(2), Status::malformed_request);
    EXPECT_EQ(distribute(0), Status::ok);
    EXPECT_FALSE(configuration().distribution);
}

TEST_F(DistributionTest, ItStaysOnWhileASessionIsOpen) {
    switch_on();
    add("a@example.net");
    EXPECT_EQ(distribute(0), Status::session_open);
    end(SessionAction::commit);
    EXPECT_EQ(distribute(0), Status::commit_in_progress);
    let_the_engine_work();
    EXPECT_EQ(distribute(0), Status::ok);
}

TEST_F(DistributionTest, ContactInformationIsFixedWhileItIsOn) {
    switch_on();
    protocol::ContactRecord record{};
    write_text(record.name, "siteId");
    write_text(record.value, "harbour");
    EXPECT_EQ(send(Opcode::contact_field, Operation::set, record), Status::distribution_on);
    EXPECT_EQ(send(Opcode::contact_field, Operation::remove, record), Status::distribution_on);
    distribute(0);
    EXPECT_EQ(send(Opcode::contact_field, Operation::set, record), Status::ok);
}

TEST_F(DistributionTest, AChangeIsReadFromThePendingCopyUntilItIsCommitted) {
    switch_on();
    EXPECT_EQ(address(Operation::get_next_pending).status, Status::no_distribution_session);
    EXPECT_EQ(add("a@example.net"), Status::ok);
    EXPECT_EQ(address(Operation::get_next).status, Status::no_further_entry);
    EXPECT_STREQ(address(Operation::get_next_pending).record->address, "a@example.net");
    EXPECT_EQ(end(SessionAction::commit), Status::ok);
    EXPECT_EQ(+result().result, static_cast<std::uint32_t>(ActionResult::in_progress));
    EXPECT_EQ(address(Operation::get_next).status, Status::no_further_entry);
    let_the_engine_work();
    EXPECT_EQ(+result().action, static_cast<std::uint32_t>(SessionAction::commit));
    EXPECT_EQ(+result().result, static_cast<std::uint32_t>(ActionResult::success));
    EXPECT_EQ(+result().cause, 0U);
    EXPECT_STREQ(address(Operation::get_next).record->address, "a@example.net");
    EXPECT_EQ(address(Operation::get_next_pending).status, Status::no_distribution_session);
}

TEST_F(DistributionTest, AWalkOfThePendingCopyPassesOverWhatWasRemovedThere) {
    for (const char* text : {"a@example.net", "b@example.net", "c@example.net"}) {
        add(text);
    }
    switch_on();
    EXPECT_EQ(address(Operation::remove, "b@example.net").status, Status::ok);
    EXPECT_EQ(+address(Operation::get_next_pending, "", 1).record->index, 3U);
    EXPECT_EQ(+address(Operation::get_next, "", 1).record->index, 2U);
    EXPECT_EQ(address(Operation::get_next_pending, "", 3).status, Status::no_further_entry);
}

TEST_F(DistributionTest, WhatIsNotDistributedTakesEffectAtOnceAndShowsInThePendingCopy) {
    switch_on();
    add("a@example.net");
    const protocol::SwitchRecord off{};
    EXPECT_EQ(send(Opcode::duplicate_throttle, Operation::set, off), Status::ok);
    EXPECT_FALSE(configuration().duplicate_throttle);
    EXPECT_EQ(+ask(Opcode::duplicate_throttle, Operation::get_pending, off).record->enabled, 0U);
    protocol::ContactRecord contact{};
    write_text(contact.name, "sysContact");
    EXPECT_STREQ(ask(Opcode::contact_field, Operation::get_pending, contact).record->value, "Ada");
    EXPECT_EQ(+ask(Opcode::distribution, Operation::get_pending, DistributionRecord{}).record->enabled, 1U);
    const protocol::PrivacyRecord high{.item = 3, .remove = 0, .spare = 0};
    EXPECT_EQ(send(Opcode::data_privacy, Operation::set, high), Status::ok);
    EXPECT_TRUE(configuration().privacy.high);
}

TEST_F(DistributionTest, OnlyItsOwnerChangesOrEndsASession) {
    switch_on();
    add("a@example.net");
    caller.who = bob;
    caller.name = "bob";
    EXPECT_EQ(add("b@example.net"), Status::session_locked);
    EXPECT_EQ(end(SessionAction::commit), Status::session_locked);
    EXPECT_EQ(end(SessionAction::discard), Status::session_locked);
    EXPECT_EQ(clear(0), Status::session_locked);
    EXPECT_STREQ(address(Operation::get_next_pending).record->address, "a@example.net") << "all may read";
    EXPECT_STREQ(state().owner, "ada");
    EXPECT_EQ(clear(1), Status::ok);
    EXPECT_STREQ(state().last_user, "bob");
}

TEST_F(DistributionTest, OfAnotherLoginTheSameUserTakesItUpWhenTheFirstHasGone) {
    switch_on();
    add("a@example.net");
    caller.who = {.user = ada.user, .session = other_login.session()};
    EXPECT_EQ(add("b@example.net"), Status::session_locked);
    login.end();
    EXPECT_EQ(add("b@example.net"), Status::ok);
    EXPECT_STREQ(address(Operation::get_next_pending, "", 1).record->address, "b@example.net");
}

TEST_F(DistributionTest, EachEndAsksForASession) {
    for (const SessionAction action : {SessionAction::commit, SessionAction::discard}) {
        EXPECT_EQ(end(action), Status::distribution_off);
    }
    EXPECT_EQ(clear(1), Status::distribution_off);
    switch_on();
    for (const SessionAction action : {SessionAction::commit, SessionAction::discard}) {
        EXPECT_EQ(end(action), Status::no_distribution_session);
    }
    EXPECT_EQ(clear(0), Status::no_distribution_session);
}

TEST_F(DistributionTest, OtherEndsAreNotUnderstood) {
    switch_on();
    add("a@example.net");
    for (const std::uint32_t action : {0U, 1U, 3U, 6U, 0xFFFFFFFFU}) {
        EXPECT_EQ(end(static_cast<SessionAction>(action)), Status::malformed_request) << action;
    }
    EXPECT_EQ(clear(2), Status::malformed_request);
    EXPECT_TRUE(session.open());
}

TEST_F(DistributionTest, WhileACommitIsUnderWayChangesAndEndsWait) {
    switch_on();
    add("a@example.net");
    end(SessionAction::commit);
    EXPECT_EQ(add("b@example.net"), Status::commit_in_progress);
    EXPECT_EQ(end(SessionAction::commit), Status::commit_in_progress);
    EXPECT_EQ(end(SessionAction::discard), Status::commit_in_progress);
    EXPECT_EQ(clear(1), Status::commit_in_progress);
    let_the_engine_work();
    EXPECT_EQ(add("b@example.net"), Status::ok);
}

TEST_F(DistributionTest, AFailedCommitSaysWhyAndIsMended) {
    store.set_enabled(true);
    switch_on();
    add("a@example.net");
    EXPECT_EQ(end(SessionAction::commit), Status::ok);
    let_the_engine_work();
    EXPECT_EQ(+result().result, static_cast<std::uint32_t>(ActionResult::fail));
    EXPECT_EQ(+result().cause, static_cast<std::uint32_t>(Status::no_mail_server));
    EXPECT_EQ(+state().last_cause, static_cast<std::uint32_t>(Status::no_mail_server));
    EXPECT_EQ(+state().is_open, 1U);
    EXPECT_EQ(address(Operation::remove, "a@example.net").status, Status::ok);
    end(SessionAction::commit);
    let_the_engine_work();
    EXPECT_EQ(+result().cause, static_cast<std::uint32_t>(Status::no_destination));
    protocol::AddressRecord url{};
    write_text(url.name, "full_txt");
    write_text(url.address, "https://collector.example/");
    EXPECT_EQ(send(Opcode::profile_url, Operation::set, url), Status::ok);
    end(SessionAction::commit);
    let_the_engine_work();
    EXPECT_EQ(+result().result, static_cast<std::uint32_t>(ActionResult::success));
    EXPECT_EQ(configuration().profiles.front().urls.size(), 1U);
}

TEST_F(DistributionTest, TheStateTellsOfTheSessionAndOfTheLastAction) {
    EXPECT_EQ(+state().is_open, 0U);
    EXPECT_EQ(+state().last_action, static_cast<std::uint32_t>(SessionAction::none));
    EXPECT_EQ(+state().last_result, static_cast<std::uint32_t>(ActionResult::none));
    EXPECT_EQ(+result().result, static_cast<std::uint32_t>(ActionResult::none));
    switch_on();
    add("a@example.net");
    EXPECT_EQ(+state().is_open, 1U);
    EXPECT_STREQ(state().owner, "ada");
    EXPECT_EQ(+state().opened_at, session.open()->opened_at);
    EXPECT_EQ(end(SessionAction::discard), Status::ok);
    EXPECT_EQ(+state().is_open, 0U);
    EXPECT_EQ(+state().opened_at, 0U);
    EXPECT_STREQ(state().owner, "");
    EXPECT_EQ(+state().last_action, static_cast<std::uint32_t>(SessionAction::discard));
    EXPECT_EQ(+state().last_result, static_cast<std::uint32_t>(ActionResult::success));
    EXPECT_EQ(+state().last_at, session.last_action().at);
    EXPECT_STREQ(state().last_user, "ada");
}

// Each change of what is distributed goes to the pending copy.
class SharedChangeTest : public DistributionTest {
 protected:
    template <typename Record>
    void expect_pending(Opcode opcode, const Record& record) {
        switch_on();
        const std::string before = description();
        EXPECT_EQ(send(opcode, Operation::set, record), Status::ok);
        EXPECT_EQ(description(), before) << "nothing has taken effect yet";
        EXPECT_EQ(end(SessionAction::commit), Status::ok);
        let_the_engine_work();
        EXPECT_NE(description(), before);
    }
    std::string description() const { return description_of(store.effective().configuration()); }
};

TEST_F(SharedChangeTest, AProfile) {
    protocol::ProfileRecord record{};
    write_text(record.name, "ops");
    record.transport_methods = protocol::transport_email;
    record.format = static_cast<std::uint32_t>(protocol::MessageFormat::xml);
    record.message_size = 1'000;
    expect_pending(Opcode::destination_profile, record);
}

TEST_F(SharedChangeTest, AnAlertGroup) {
    protocol::SubscriptionRecord record{};
    write_text(record.name, "full_txt");
    write_text(record.group, "test");
    expect_pending(Opcode::alert_group, record);
}

TEST_F(SharedChangeTest, TheMailSettings) {
    protocol::MailSettingsRecord record{};
    write_text(record.from, "from@example.net");
    expect_pending(Opcode::mail_settings, record);
}

TEST_F(SharedChangeTest, AMailServer) {
    protocol::MailServerRecord record{};
    write_text(record.host, "mx.example.net");
    record.port = 25;
    record.priority = 50;
    expect_pending(Opcode::mail_server, record);
}

TEST_F(SharedChangeTest, TheHttpProxy) {
    protocol::HttpProxyRecord record{};
    write_text(record.server, "proxy.example");
    record.port = 8'080;
    expect_pending(Opcode::http_proxy, record);
}

TEST_F(SharedChangeTest, TheHttpVrf) {
    protocol::HttpVrfRecord record{};
    write_text(record.vrf_name, "management");
    expect_pending(Opcode::http_vrf, record);
}

TEST_F(SharedChangeTest, PeriodicInventory) {
    expect_pending(Opcode::periodic_inventory,
                   protocol::PeriodicInventoryRecord{
                       .notification = 1, .time_period = 1, .trailing_flag = 0, .time_of_day = 0});
}

TEST_F(SharedChangeTest, AUserCommand) {
    protocol::UserCommandRecord record{};
    write_text(record.group, "test");
    write_text(record.command, "show clock");
    expect_pending(Opcode::user_command, record);
}

}  // namespace
}  // namespace callhome::service
