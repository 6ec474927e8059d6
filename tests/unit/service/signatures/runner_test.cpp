#include "signatures/runner.h"

#include <gtest/gtest.h>
#include <spdlog/sinks/null_sink.h>
#include <spdlog/spdlog.h>

#include <functional>
#include <optional>

#include "fake_message_service.h"
#include "shell_script.h"

namespace callhome::service {
namespace {

using protocol::Status;

Signature sample_signature(std::uint32_t id, SignatureEvent event) {
    Signature signature;
    signature.id = id;
    signature.name = "link-flapping";
    signature.revision = "3";
    signature.event = std::move(event);
    signature.commands = {"show version", "show callhome"};
    signature.subject = "Trouble with $ds_name";
    signature.text = "$ds_event";
    return signature;
}

class RunnerTest : public testing::Test {
 protected:
    RunnerTest() {
        spdlog::set_default_logger(
            std::make_shared<spdlog::logger>("test", std::make_shared<spdlog::sinks::null_sink_mt>()));
        settings_.now = [this] { return clock_; };
        settings_.clock_check = std::chrono::milliseconds(2);
        configuration_.enabled = true;
        catalogue_.set_active(true);
        fake_messages().answer = {Status::ok, "Successfully sent"};
    }
    ~RunnerTest() override { spdlog::set_default_logger(log_before_); }

    void install(const Signature& signature, const VariableValues& answers = {}) {
        catalogue_.load({{signature, "<xml/>"}});
        catalogue_.install(signature.id, answers);
    }
    void install_log(std::uint32_t id = 17) { install(sample_signature(id, LogEvent{"link down"})); }
    void start(RunLimits limits = {}) {
        runner_.emplace(io_, catalogue_, configuration_, messages_, shell_.settings(), settings_, limits);
    }
    void poll() {
        io_.restart();
        io_.poll();
    }
    bool wait(const std::function<bool()>& condition) { return tests::run_until(io_, condition); }
    // Until nothing runs any more; nothing of this may be due within a minute.
    void finish() {
        poll();
        ASSERT_TRUE(wait([this] { return !runner_->is_busy(); }));
        poll();
    }
    void log(std::string_view line) {
        runner_->take_line(line);
        finish();
    }
    std::vector<SignatureReport>& reports() { return fake_messages().reports; }
    const CatalogueEntry& entry(std::uint32_t id = 17) const { return *catalogue_.find(id); }
    std::vector<SignatureFailure> failures() const {
        std::vector<SignatureFailure> failures;
        catalogue_.each_failure([&](const SignatureFailure& failure) { failures.push_back(failure); });
        return failures;
    }

    std::shared_ptr<spdlog::logger> log_before_ = spdlog::default_logger();
    std::int64_t clock_ = 1'700'000'000;
    tests::ShellScript shell_;
    TemporaryFolder folder_;
    asio::io_context io_;
    DeliverySettings settings_;
    Configuration configuration_;
    Database database_{folder_ / "callhome.db"};
    Catalogue catalogue_{database_,
                         [](std::string_view) -> std::variant<Signature, Refusal> {
                             return Refusal{protocol::ResultCode::signature_invalid, "not read here"};
                         },
                         [this] { return clock_; }};
    MessageService messages_{io_, database_, configuration_, settings_};
    std::optional<SignatureRunner> runner_;
};

TEST_F(RunnerTest, SendsWhatTheCommandsHavePrinted) {
    catalogue_.set_profile("ops");
    install_log();
    start();
    log("kernel: eth0: link down");
    ASSERT_EQ(reports().size(), 1U);
    const SignatureReport& report = reports()[0];
    EXPECT_EQ(report.id, 17U);
    EXPECT_EQ(report.subject, "Trouble with link-flapping");
    EXPECT_EQ(report.text, "kernel: eth0: link down");
    EXPECT_EQ(report.trigger, "kernel: eth0: link down");
    EXPECT_EQ(report.alert_group, "Diagnostic");
    EXPECT_EQ(report.profile, "ops");
    ASSERT_EQ(report.outputs.size(), 2U);
    EXPECT_EQ(report.outputs[0].command, "show version");
    EXPECT_EQ(report.outputs[0].output, "show version\n");
    EXPECT_EQ(report.outputs[1].output, "show callhome\n");
    EXPECT_EQ(report.outputs[1].remark, "");
}

TEST_F(RunnerTest, CountsRunsAndMessages) {
    install_log();
    start();
    log("link down");
    log("link down");
    fake_messages().answer = {Status::not_sent, "Nobody takes it"};
    log("link down");
    EXPECT_EQ(entry().counters.runs, 3U);
    EXPECT_EQ(entry().counters.last_run_at, clock_);
    EXPECT_GT(entry().counters.longest_seconds, 0);
    EXPECT_EQ(entry().counters.messages_sent, 2U);
    EXPECT_EQ(entry().counters.messages_failed, 1U);
    EXPECT_EQ(entry().counters.last_message_result, "Nobody takes it");
    EXPECT_EQ(entry().counters.dropped_events, 0U);
    EXPECT_TRUE(failures().empty());
}

TEST_F(RunnerTest, LeavesOtherLinesAlone) {
    install_log();
    start();
    log("kernel: eth0: link up");
    EXPECT_TRUE(reports().empty());
}

TEST_F(RunnerTest, SetsOffEverySignatureThatALineConcerns) {
    install_log(17);
    install(sample_signature(18, LogEvent{"eth[0-9]"}));
    start();
    log("eth0: link down");
    EXPECT_EQ(reports().size(), 2U);
}

TEST_F(RunnerTest, FollowsTheCatalogue) {
    start();
    log("link down");
    install_log();
    finish();
    log("link down");
    EXPECT_EQ(reports().size(), 1U);
    catalogue_.set_active(false);
    finish();
    log("link down");
    EXPECT_EQ(reports().size(), 1U);
    catalogue_.set_active(true);
    catalogue_.remove(17);
    finish();
    log("link down");
    EXPECT_EQ(reports().size(), 1U);
}

TEST_F(RunnerTest, RunsNothingWhileCallHomeIsSwitchedOff) {
    install_log();
    configuration_.enabled = false;
    start();
    log("link down");
    EXPECT_TRUE(reports().empty());
    EXPECT_EQ(entry().counters.dropped_events, 1U);
    configuration_.enabled = true;
    log("link down");
    EXPECT_EQ(reports().size(), 1U);
}

TEST_F(RunnerTest, DropsTheEventOfASignatureThatRuns) {
    shell_.hold_commands();
    install_log();
    start();
    runner_->take_line("link down 1");
    runner_->take_line("link down 2");
    EXPECT_TRUE(runner_->is_busy());
    poll();
    runner_->take_line("link down 3");
    shell_.release();
    finish();
    ASSERT_EQ(reports().size(), 1U);
    EXPECT_EQ(reports()[0].trigger, "link down 1");
    EXPECT_EQ(entry().counters.runs, 1U);
    EXPECT_EQ(entry().counters.dropped_events, 2U);
}

TEST_F(RunnerTest, RunsOnlySoManyAtOnceAndTheOthersAfterwards) {
    shell_.hold_commands();
    for (std::uint32_t id = 1; id <= 3; ++id) {
        Signature signature = sample_signature(id, LogEvent{"link down"});
        signature.commands = {"show version"};
        install(signature);
    }
    start({.at_once = 2});
    runner_->take_line("link down");
    poll();
    EXPECT_TRUE(reports().empty());
    shell_.release();
    finish();
    EXPECT_EQ(reports().size(), 3U);
}

TEST_F(RunnerTest, BoundsAStormOfLines) {
    install_log(17);
    install(sample_signature(18, LogEvent{"fan failed"}));
    start({.most_of_one = 2, .most_of_all = 3});
    for (int count = 0; count < 5; ++count) {
        log("link down");
    }
    EXPECT_EQ(reports().size(), 2U);
    EXPECT_EQ(entry().counters.dropped_events, 3U);
    log("fan failed");
    log("fan failed");
    EXPECT_EQ(reports().size(), 3U);
    clock_ += 60;
    log("link down");
    EXPECT_EQ(reports().size(), 4U);
}

TEST_F(RunnerTest, EndsAtTheLimitOfExecutions) {
    Signature signature = sample_signature(17, LogEvent{"link down"});
    signature.execution_limit = 2;
    install(signature);
    start();
    for (int count = 0; count < 3; ++count) {
        log("link down");
    }
    EXPECT_EQ(reports().size(), 2U);
    EXPECT_EQ(entry().state, SignatureState::finished);
}

TEST_F(RunnerTest, RemovesItselfAtTheLimitWhenItSaysSo) {
    Signature signature = sample_signature(17, LogEvent{"link down"});
    signature.execution_limit = 1;
    signature.removed_at_limit = true;
    signature.text = "run $ds_count";
    install(signature);
    start();
    log("link down");
    log("link down");
    ASSERT_EQ(reports().size(), 1U);
    EXPECT_EQ(reports()[0].text, "run 1");
    EXPECT_EQ(catalogue_.find(17), nullptr);
}

TEST_F(RunnerTest, FillsInVariables) {
    Signature signature = sample_signature(17, LogEvent{"link down"});
    signature.variables = {{"ds_port", "Which port?", std::nullopt, "[a-z]+[0-9]"},
                           {"ds_site", "", std::nullopt, ""}};
    signature.commands = {"show interface $ds_port"};
    signature.text = "Port ${ds_port} of $ds_site, run $ds_count: $ds_output";
    catalogue_.set_variable("ds_site", "Hall 3");
    install(signature, {{"ds_port", "eth0"}});
    start();
    log("link down");
    ASSERT_EQ(reports().size(), 1U);
    EXPECT_EQ(reports()[0].outputs[0].output, "show interface eth0\n");
    EXPECT_EQ(reports()[0].text,
              "Port eth0 of Hall 3, run 1: show interface eth0:\nshow interface eth0\n\n");
}

TEST_F(RunnerTest, ThatLacksAValueFailsBeforeItRunsAnything) {
    Signature signature = sample_signature(17, LogEvent{"link down"});
    signature.variables = {{"ds_site", "", std::nullopt, ""}};
    signature.commands = {"show $ds_site"};
    install(signature);
    start();
    log("link down");
    EXPECT_TRUE(reports().empty());
    ASSERT_EQ(failures().size(), 1U);
    EXPECT_EQ(failures()[0].stage, FailureStage::registration);
    EXPECT_EQ(failures()[0].why, "no value is set for ds_site");
    log("link down");
    EXPECT_EQ(entry().counters.runs, 0U);
}

TEST_F(RunnerTest, KeepsTheLogLineOutOfItsCommands) {
    Signature signature = sample_signature(17, LogEvent{"link down"});
    signature.commands = {"show $ds_event"};
    install(signature);
    start();
    log("link down | include x");
    EXPECT_TRUE(reports().empty());
    EXPECT_EQ(failures().size(), 1U);
}

TEST_F(RunnerTest, TellsOfACommandThatFailedAndGoesOn) {
    shell_.write("echo \"$4\"; [ \"$4\" = 'show callhome' ]");
    install_log();
    start();
    log("link down");
    ASSERT_EQ(reports().size(), 1U);
    EXPECT_EQ(reports()[0].outputs[0].output, "show version\n");
    EXPECT_EQ(reports()[0].outputs[0].remark, "ended with status 1");
    EXPECT_EQ(reports()[0].outputs[1].remark, "");
    ASSERT_EQ(failures().size(), 1U);
    EXPECT_EQ(failures()[0].why, "'show version': ended with status 1");
}

TEST_F(RunnerTest, BoundsTheOutputOfAllCommandsTogether) {
    shell_.write("echo 0123456789");
    install_log();
    start({.commands = {.command_output = 100, .output = 15}});
    log("link down");
    ASSERT_EQ(reports().size(), 1U);
    EXPECT_EQ(reports()[0].outputs[0].output, "0123456789\n");
    EXPECT_EQ(reports()[0].outputs[1].output, "0123");
    EXPECT_EQ(reports()[0].outputs[1].remark, "ended after 4 bytes of output");
}

TEST_F(RunnerTest, SaysNothingOfASignatureThatWasTakenAwayMeanwhile) {
    shell_.hold_commands();
    install_log();
    start();
    runner_->take_line("link down");
    poll();
    catalogue_.remove(17);
    shell_.release();
    finish();
    EXPECT_TRUE(reports().empty());
}

TEST_F(RunnerTest, RunsByTheClock) {
    install(sample_signature(17, TimerEvent{std::chrono::seconds(300)}));
    start();
    finish();
    EXPECT_TRUE(reports().empty());
    clock_ += 300;
    EXPECT_TRUE(wait([this] { return reports().size() == 1; }));
    finish();
    EXPECT_EQ(reports()[0].trigger, "its time has come");
}

TEST_F(RunnerTest, RunsOnDemandWhenItIsInstalledAndNotAgainByARestart) {
    start();
    install(sample_signature(17, OnDemandEvent{}));
    finish();
    EXPECT_EQ(reports().size(), 1U);
    catalogue_.set_variable("ds_other", "value");
    finish();
    runner_.reset();
    start();
    finish();
    EXPECT_EQ(reports().size(), 1U);
    ++clock_;
    catalogue_.install(17, {});
    finish();
    EXPECT_EQ(reports().size(), 2U);
}

TEST_F(RunnerTest, SaysWhetherLogLinesAreWaitedFor) {
    std::vector<bool> heard;
    start();
    runner_->when_listening_changes([&](bool listens) { heard.push_back(listens); });
    EXPECT_EQ(heard, (std::vector<bool>{false}));
    install_log(17);
    install_log(18);
    finish();
    EXPECT_EQ(heard, (std::vector<bool>{false, true}));
    catalogue_.remove(17);
    finish();
    catalogue_.set_active(false);
    finish();
    EXPECT_EQ(heard, (std::vector<bool>{false, true, false}));
}

TEST_F(RunnerTest, GoesOnWhileNothingCanBeRecorded) {
    install_log();
    start();
    database_.connection().exec("PRAGMA query_only = ON");
    log("link down");
    log("link down");
    EXPECT_EQ(reports().size(), 2U);
}

TEST_F(RunnerTest, EndsWithItsCommands) {
    shell_.hold_commands();
    install_log();
    start();
    runner_->take_line("link down");
    poll();
    runner_.reset();
    poll();
    EXPECT_TRUE(reports().empty());
    install_log(18);
}

}  // namespace
}  // namespace callhome::service
