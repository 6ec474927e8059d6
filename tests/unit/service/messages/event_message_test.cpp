#include <gtest/gtest.h>

#include "message_service_fixture.h"
#include "messages/text.h"
#include "shell_script.h"

namespace callhome::service {
namespace {

using protocol::Status;
using std::chrono::hours;
using std::chrono::milliseconds;
using std::chrono::minutes;
using tests::Reply;

const AlertRequest failure{"SUP_FAILURE", "system manager", "the supervisor has failed", "ada"};

class EventMessage : public tests::MessageServiceTest {
 protected:
    EventMessage() {
        events_.commands = shell_.settings();
        events_.throttle.time = [this] { return since_boot_; };
    }
    void start() {
        database_.emplace(folder_.path() / "callhome.db");
        service_.emplace(io_, *database_, configuration_, settings_, events_);
    }
    Reply raise(const AlertRequest& request = failure) {
        std::optional<Reply> reply;
        service_->alert(request, into(reply));
        return wait_for(reply);
    }
    // Both clocks go on alike.
    void pass(milliseconds time) {
        since_boot_ += time;
        clock_ += std::chrono::duration_cast<std::chrono::seconds>(time).count();
    }
    void add_command(const std::string& group, const std::string& command) {
        const auto index = static_cast<std::uint32_t>(configuration_.user_commands.size() + 1);
        configuration_.user_commands.push_back({index, group, command});
    }
    void subscribe_to(const std::string& group) {
        configuration_.profiles.front().alert_groups = {{1, group}};
    }
    std::string last_mail() const { return server_.mails().empty() ? "" : server_.mails().back().content; }

    milliseconds since_boot_ = hours(100);
    tests::ShellScript shell_;
    EventSettings events_;
};

TEST_F(EventMessage, SaysWhoWasSentIt) {
    start();
    const Reply reply = raise();
    EXPECT_EQ(reply.status, Status::ok);
    EXPECT_EQ(reply.text,
              "Successfully sent sup-failure callhome message to ops@example.com (profile ops) through " +
                  through());
    EXPECT_NE(last_mail().find("\r\nSource:               system manager\r\n"), std::string::npos)
        << last_mail();
    EXPECT_EQ(last_mail().find("Repeated:"), std::string::npos) << last_mail();
}

TEST_F(EventMessage, BearsTheSeverityOfTheSystemLog) {
    start();
    EXPECT_EQ(raise({"SYSLOG_ALERT", "ethport", "link down", "ada", 2}).status, Status::ok);
    EXPECT_NE(last_mail().find("\r\nSeverity:             major\r\n"), std::string::npos) << last_mail();
    configuration_.profiles.front().message_level = 5;
    EXPECT_EQ(raise({"SYSLOG_ALERT", "ethport", "link up", "ada", 3}).status, Status::not_sent);
    EXPECT_EQ(raise({"SYSLOG_ALERT", "ethport", "no link", "ada", 8}).status, Status::malformed_request);
}

TEST_F(EventMessage, SaysWhatToConfigureWhenNoProfileTakesIt) {
    subscribe_to("crash");
    start();
    const Reply reply = raise();
    EXPECT_EQ(reply.status, Status::not_sent);
    EXPECT_NE(reply.text.find("takes messages of the alert group supervisor-hardware at level 7"),
              std::string::npos)
        << reply.text;
    subscribe_to("supervisor-hardware");
    EXPECT_EQ(raise().status, Status::ok) << "nothing went out before";
}

TEST_F(EventMessage, WaitsForNoOtherAndHoldsNoneUp) {
    start();
    std::optional<Reply> first;
    std::optional<Reply> operators;
    std::optional<Reply> second;
    service_->alert(failure, into(first));
    EXPECT_FALSE(std::filesystem::exists(settings_.marker));
    service_->send({"test", "", "", "ada"}, into(operators));
    service_->alert({"HARDWARE_INSERTION", "slot 3", "a module was put in", "ada"}, into(second));
    EXPECT_EQ(wait_for(first).status, Status::ok);
    EXPECT_EQ(wait_for(operators).status, Status::ok);
    EXPECT_EQ(wait_for(second).status, Status::ok);
    EXPECT_EQ(server_.mails().size(), 3U);
}

TEST_F(EventMessage, ThatRepeatsOneIsCountedAndTheNextMessageTellsHowOften) {
    start();
    EXPECT_EQ(raise().status, Status::ok);
    const std::string first = iso_time(clock_);
    pass(minutes(10));
    const Reply reply = raise();
    EXPECT_EQ(reply.status, Status::not_sent);
    EXPECT_EQ(reply.text,
              "The sup-failure callhome message was not sent: the same event had its message at " + first +
                  " and has come once since then; the next message, from " + iso_time(clock_ + 110 * 60) +
                  " on, tells how often");
    pass(minutes(10));
    EXPECT_NE(raise().text.find("has come 2 times since then"), std::string::npos);
    EXPECT_EQ(service_->duplicates(), 2U);
    EXPECT_EQ(server_.mails().size(), 1U);
    pass(minutes(100));
    EXPECT_EQ(raise().status, Status::ok);
    EXPECT_EQ(server_.mails().size(), 2U);
    EXPECT_NE(last_mail().find("\r\nRepeated:             2 times since " + first + "\r\n"),
              std::string::npos)
        << last_mail();
}

TEST_F(EventMessage, IsNotThrottledForAnotherSourceOrText) {
    start();
    AlertRequest other = failure;
    EXPECT_EQ(raise(other).status, Status::ok);
    other.text = "the other supervisor has failed";
    EXPECT_EQ(raise(other).status, Status::ok);
    other.source = "another manager";
    EXPECT_EQ(raise(other).status, Status::ok);
    EXPECT_EQ(raise(other).status, Status::not_sent);
}

TEST_F(EventMessage, IsThrottledByTimeThatNoSetClockMoves) {
    start();
    const std::int64_t then = clock_;
    EXPECT_EQ(raise().status, Status::ok);
    for (const std::int64_t jump : {-1'000'000'000, 1'000'000'000}) {
        clock_ = then + jump;
        EXPECT_EQ(raise().status, Status::not_sent) << jump;
    }
    clock_ = then + 500;
    since_boot_ += hours(2);
    EXPECT_EQ(raise().status, Status::ok);
    EXPECT_NE(last_mail().find("Repeated:             2 times since " + iso_time(then + 500 - 7200)),
              std::string::npos)
        << last_mail();
}

TEST_F(EventMessage, IsSentEachTimeWhileThrottlingIsOff) {
    configuration_.duplicate_throttle = false;
    start();
    EXPECT_EQ(raise().status, Status::ok);
    EXPECT_EQ(raise().status, Status::ok);
    EXPECT_EQ(server_.mails().size(), 2U);
    configuration_.duplicate_throttle = true;
    EXPECT_EQ(raise().status, Status::not_sent);
}

TEST_F(EventMessage, IsForgottenByARestart) {
    start();
    EXPECT_EQ(raise().status, Status::ok);
    stop();
    start();
    EXPECT_EQ(raise().status, Status::ok);
}

TEST_F(EventMessage, ThatAnOperatorAsksForIsNeverThrottled) {
    start();
    for (int time = 0; time < 3; ++time) {
        EXPECT_EQ(send("SW_CRASH").status, Status::ok);
    }
    EXPECT_EQ(server_.mails().size(), 3U);
}

TEST_F(EventMessage, ThatCouldNotBeRecordedIsNoReasonToHoldTheNextOneBack) {
    start();
    database_->connection().exec(
        "CREATE TRIGGER full BEFORE INSERT ON deliveries BEGIN SELECT RAISE(ABORT, 'disk full'); END");
    EXPECT_EQ(raise().status, Status::storage_failed);
    database_->connection().exec("DROP TRIGGER full");
    EXPECT_EQ(raise().status, Status::ok);
}

TEST_F(EventMessage, CarriesTheOutputOfTheCommandsOfItsGroup) {
    add_command("supervisor-hardware", "show version");
    add_command("crash", "show interface");
    add_command("all", "show callhome");
    add_command("all", "show version");
    start();
    EXPECT_EQ(raise().status, Status::ok);
    const std::string mail = last_mail();
    EXPECT_NE(mail.find("\r\nOutput of show version\r\n----------------------\r\n  show version\r\n"),
              std::string::npos)
        << mail;
    EXPECT_NE(mail.find("\r\nOutput of show callhome\r\n"), std::string::npos) << mail;
    EXPECT_EQ(mail.find("Output of show interface"), std::string::npos) << mail;
    EXPECT_EQ(mail.find("Output of show version"), mail.rfind("Output of show version")) << "once";
}

TEST_F(EventMessage, SaysWhichCommandFailedOrWasCut) {
    add_command("all", "show failing");
    add_command("all", "show long");
    add_command("all", "show fine");
    shell_.write(
        "case \"$4\" in *failing) echo half; exit 3;; *long) while :; do echo more; done;; esac; "
        "echo whole");
    events_.command_limits.command_output = 10;
    start();
    EXPECT_EQ(raise().status, Status::ok);
    const std::string mail = last_mail();
    EXPECT_NE(mail.find("  half\r\n  (ended with status 3)\r\n"), std::string::npos) << mail;
    EXPECT_NE(mail.find("  more\r\n  more\r\n  (ended after 10 bytes of output)\r\n"), std::string::npos)
        << mail;
    EXPECT_NE(mail.find("\r\n  whole\r\n"), std::string::npos) << mail;
}

TEST_F(EventMessage, GoesOutWithWhatThereIsWhenTheTimeIsOver) {
    add_command("all", "show one");
    add_command("all", "show two");
    shell_.hold_commands();
    events_.command_limits.time = milliseconds(200);
    start();
    EXPECT_EQ(raise().status, Status::ok);
    EXPECT_NE(last_mail().find("\r\nOutput of show one\r\n------------------\r\n  (ended after 0.1 s)\r\n"),
              std::string::npos)
        << last_mail();
    EXPECT_NE(last_mail().find("Output of show two"), std::string::npos) << last_mail();
}

TEST_F(EventMessage, ComesWithItsCommandsWhileNobodyWaits) {
    add_command("supervisor-hardware", "show version");
    shell_.hold_commands();
    start();
    std::optional<Reply> event;
    service_->alert(failure, into(event));
    EXPECT_TRUE(service_->busy_soon());
    EXPECT_EQ(send("test").status, Status::ok) << "an operator's message goes meanwhile";
    EXPECT_EQ(raise().status, Status::not_sent) << "and the same event is a duplicate";
    EXPECT_FALSE(event.has_value());
    EXPECT_FALSE(std::filesystem::exists(settings_.marker));
    shell_.release();
    EXPECT_EQ(wait_for(event).status, Status::ok);
    EXPECT_EQ(server_.mails().size(), 2U);
}

TEST_F(EventMessage, AsksAgainWhoTakesItWhenItsCommandsHaveRun) {
    add_command("supervisor-hardware", "show version");
    shell_.hold_commands();
    start();
    std::optional<Reply> event;
    service_->alert(failure, into(event));
    configuration_.profiles = {
        tests::profile_of("other", protocol::MessageFormat::short_text, {"pager@example.com"}, "crash")};
    shell_.release();
    EXPECT_EQ(wait_for(event).status, Status::not_sent);
    EXPECT_NE(event->text.find("takes messages of the alert group"), std::string::npos) << event->text;
    configuration_.profiles.front().alert_groups = {{1, "all"}};
    configuration_.user_commands.clear();
    EXPECT_EQ(raise().status, Status::ok) << "what did not go out holds nothing back";
}

TEST_F(EventMessage, BringsNoOutputThatAnOperatorHasChosenToZuvaTac) {
    add_command("supervisor-hardware", "show version");
    configuration_.profiles.push_back(tests::profile_of("ZUVA-profile", protocol::MessageFormat::full_text,
                                                        {"tac@example.com"}, "ZUVA-TAC"));
    start();
    EXPECT_EQ(raise().status, Status::ok);
    ASSERT_EQ(server_.mails().size(), 2U);
    for (const tests::ReceivedMail& mail : server_.mails()) {
        const bool is_for_tac = mail.content.find("tac@example.com") != std::string::npos;
        EXPECT_EQ(mail.content.find("Output of show version") == std::string::npos, is_for_tac)
            << mail.content;
    }
}

TEST_F(EventMessage, RunsNothingForZuvaTacAlone) {
    add_command("supervisor-hardware", "show version");
    subscribe_to("ZUVA-TAC");
    shell_.hold_commands();
    start();
    EXPECT_EQ(raise().status, Status::ok);
}

TEST_F(EventMessage, IsRefusedWhenTooManyWaitForTheirMessages) {
    add_command("supervisor-hardware", "show version");
    shell_.hold_commands();
    events_.most_open = 1;
    start();
    std::optional<Reply> first;
    service_->alert(failure, into(first));
    AlertRequest other = failure;
    other.text = "another one";
    const Reply reply = raise(other);
    EXPECT_EQ(reply.status, Status::limit_reached);
    EXPECT_NE(reply.text, "");
    shell_.release();
    EXPECT_EQ(wait_for(first).status, Status::ok);
    configuration_.user_commands.clear();
    EXPECT_EQ(raise(other).status, Status::ok) << "a refused one holds nothing back";
}

TEST_F(EventMessage, EndsUnansweredWithTheService) {
    add_command("supervisor-hardware", "show version");
    shell_.hold_commands();
    start();
    service_->alert(failure, [](Status, const std::string&) { ADD_FAILURE() << "nothing was kept"; });
    stop();
    io_.restart();
    io_.poll();
}

TEST_F(EventMessage, CommandsGoWithAnOperatorsMessageToo) {
    add_command("test", "show version");
    shell_.hold_commands();
    start();
    std::optional<Reply> first;
    std::optional<Reply> second;
    service_->send({"test", "", "", "ada"}, into(first));
    EXPECT_FALSE(std::filesystem::exists(settings_.marker)) << "it hides the running configuration";
    service_->send({"test", "", "", "ada"}, into(second));
    EXPECT_EQ(wait_for(second).status, Status::message_in_progress);
    shell_.release();
    EXPECT_EQ(wait_for(first).status, Status::ok);
    EXPECT_NE(last_mail().find("Output of show version"), std::string::npos) << last_mail();
}

TEST_F(EventMessage, CommandsOfItsGroupFollowThoseOfASignature) {
    add_command("Diagnostic", "show version");
    SignatureReport report;
    report.subject = "Link flapping";
    report.alert_group = "Diagnostic";
    report.outputs = {{"show interface", "eth0\n", ""}};
    start();
    std::optional<Reply> reply;
    service_->report(report, into(reply));
    EXPECT_EQ(wait_for(reply).status, Status::ok);
    const std::size_t own = last_mail().find("Output of show interface");
    const std::size_t operators = last_mail().find("Output of show version");
    ASSERT_NE(own, std::string::npos) << last_mail();
    ASSERT_NE(operators, std::string::npos) << last_mail();
    EXPECT_LT(own, operators);
}

TEST_F(EventMessage, TellsThatItIsInTheQueueBeforeItsReceiversAreTried) {
    start();
    int recorded = 0;
    std::optional<Reply> reply;
    MessageRequest request{"test", "", "", "", {}};
    request.when_recorded = [&] {
        ++recorded;
        EXPECT_TRUE(service_->message_after(0));
        EXPECT_EQ(server_.connections(), 0);
    };
    service_->send(request, into(reply));
    EXPECT_EQ(wait_for(reply).status, Status::ok);
    EXPECT_EQ(recorded, 1);
}

}  // namespace
}  // namespace callhome::service
