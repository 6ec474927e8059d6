#include "signatures/runner.h"

#include <fmt/format.h>
#include <spdlog/spdlog.h>

#include <algorithm>
#include <asio/post.hpp>
#include <chrono>
#include <utility>

#include "messages/text.h"
#include "signatures/run_texts.h"

namespace callhome::service {
namespace {

using Clock = std::chrono::steady_clock;

constexpr std::size_t longest_logged_trigger = 200;  // bytes
constexpr const char* trigger_of_clock = "its time has come";
constexpr const char* trigger_of_install = "it was installed";

using DemandKey = std::pair<std::uint32_t, std::int64_t>;

std::set<DemandKey> on_demand_of(const std::map<std::uint32_t, InstalledSignature>& runnable,
                                 const Catalogue& catalogue) {
    std::set<DemandKey> keys;
    for (const auto& [id, installed] : runnable) {
        const CatalogueEntry* entry = catalogue.find(id);
        if (std::holds_alternative<OnDemandEvent>(installed.signature->event) && entry != nullptr) {
            keys.emplace(id, entry->installed_at);
        }
    }
    return keys;
}

}  // namespace

struct SignatureRunner::Run {
    InstalledSignature installed;  // as it was when the event came
    RunFacts facts;
    Clock::time_point began;

    std::uint32_t id() const { return installed.id; }
};

SignatureRunner::SignatureRunner(asio::io_context& io, Catalogue& catalogue,
                                 const Configuration& configuration, MessageService& messages,
                                 CommandSettings commands, const DeliverySettings& settings,
                                 RunLimits limits)
    : io_(io),
      catalogue_(catalogue),
      configuration_(configuration),
      messages_(messages),
      now_(settings.now),
      limits_(limits),
      schedule_(io, settings, [this](std::uint32_t id) { set_off(id, trigger_of_clock); }),
      commands_(io, std::move(commands)) {
    catalogue_.when_changed([this] { catalogue_changed(); });
    follow_catalogue();
    on_demand_ = on_demand_of(runnable_, catalogue_);  // those have been asked for before
}

SignatureRunner::~SignatureRunner() {
    catalogue_.when_changed({});
}

// Later: the change may come from within what is done here.
void SignatureRunner::catalogue_changed() {
    if (std::exchange(is_look_posted_, true)) {
        return;
    }
    asio::post(io_, [weak = std::weak_ptr(self_)] {
        if (const auto self = weak.lock()) {
            (*self)->is_look_posted_ = false;
            (*self)->follow_catalogue();
            (*self)->start_on_demand();
        }
    });
}

void SignatureRunner::follow_catalogue() {
    runnable_.clear();
    for (InstalledSignature& installed : catalogue_.runnable()) {
        const std::uint32_t id = installed.id;
        runnable_.emplace(id, std::move(installed));
    }
    std::erase_if(budgets_, [this](const auto& entry) { return !runnable_.contains(entry.first); });
    follow_log_patterns();
    follow_schedule();
}

void SignatureRunner::follow_log_patterns() {
    std::vector<LogMatcher::Pattern> patterns;
    for (const auto& [id, installed] : runnable_) {
        if (const auto* event = std::get_if<LogEvent>(&installed.signature->event)) {
            patterns.push_back({id, event->pattern});
        }
    }
    if (patterns == patterns_) {
        return;
    }
    matcher_ = LogMatcher(patterns);
    for (const std::uint32_t id : matcher_.refused()) {
        keep([&] {
            catalogue_.note_failure(id, FailureStage::registration,
                                    "its pattern needs more memory than there is for one");
        });
    }
    const bool listened = !patterns_.empty();
    patterns_ = std::move(patterns);
    if (listen_ && listened != !patterns_.empty()) {
        listen_(!patterns_.empty());
    }
}

void SignatureRunner::when_listening_changes(std::function<void(bool)> listen) {
    listen_ = std::move(listen);
    listen_(!patterns_.empty());
}

void SignatureRunner::follow_schedule() {
    std::vector<Schedule::Entry> entries;
    for (const auto& [id, installed] : runnable_) {
        entries.push_back({id, installed.signature->event});
    }
    schedule_.set(entries);
}

// Asking for it is installing it, or switching signatures on.
void SignatureRunner::start_on_demand() {
    const std::set<DemandKey> before = std::exchange(on_demand_, on_demand_of(runnable_, catalogue_));
    for (const DemandKey& key : on_demand_) {
        if (!before.contains(key)) {
            set_off(key.first, trigger_of_install);
        }
    }
}

void SignatureRunner::take_line(std::string_view line) {
    for (const std::uint32_t id : matcher_.match(line)) {
        set_off(id, std::string(line.substr(0, longest_log_line)));
    }
}

void SignatureRunner::set_off(std::uint32_t id, const std::string& trigger) {
    const auto found = runnable_.find(id);
    if (found == runnable_.end()) {
        return;
    }
    const std::int64_t now = now_();
    if (!configuration_.enabled || runs_.contains(id) || !budgets_[id].take(limits_.most_of_one, now) ||
        !budget_of_all_.take(limits_.most_of_all, now)) {
        catalogue_.note_dropped_event(id);
        return;
    }
    runs_[id] = std::make_unique<Run>(
        Run{found->second, {.trigger = trigger, .count = 0, .time = now, .outputs = {}}, {}});
    waiting_.push_back(id);
    start_waiting();
}

void SignatureRunner::start_waiting() {
    while (running_ < limits_.at_once && !waiting_.empty()) {
        Run& run = *runs_.at(waiting_.front());
        waiting_.pop_front();
        ++running_;
        start(run);
    }
}

void SignatureRunner::start(Run& run) {
    spdlog::info("Signature {} ({}) runs: {}", run.id(), clean_line(run.installed.signature->name),
                 cut_to(clean_line(run.facts.trigger), longest_logged_trigger));
    run.began = Clock::now();
    auto commands = commands_of(run.installed);
    if (const auto* refusal = std::get_if<Refusal>(&commands)) {
        fail(run, refusal->why);
        end(run.id());
        return;
    }
    commands_.run(
        std::get<std::vector<std::string>>(std::move(commands)), limits_.commands,
        [this, id = run.id()](std::vector<CommandOutput> outputs) { take_outputs(id, std::move(outputs)); },
        [this, id = run.id()] { return runnable_.contains(id); });
}

void SignatureRunner::take_outputs(std::uint32_t id, std::vector<CommandOutput> outputs) {
    if (!runnable_.contains(id)) {
        end(id);  // it was taken away meanwhile
        return;
    }
    Run& run = *runs_.at(id);
    for (const CommandOutput& output : outputs) {
        if (!output.remark.empty()) {
            fail(run, fmt::format("'{}': {}", output.command, output.remark));
        }
    }
    run.facts.outputs = std::move(outputs);
    finish(run);
}

void SignatureRunner::finish(Run& run) {
    const std::uint32_t id = run.id();
    const std::chrono::duration<double> taken = Clock::now() - run.began;
    const CatalogueEntry* entry = catalogue_.find(id);
    run.facts.count = (entry == nullptr ? 0 : entry->runs_of_install) + 1;
    keep([&] {
        switch (catalogue_.note_run(id, taken.count())) {
            case AfterRun::deactivated:
                spdlog::info("Signature {} has run as often as it may", id);
                break;
            case AfterRun::removed:
                spdlog::info("Signature {} has run as often as it may and is removed", id);
                break;
            default:
                break;
        }
    });
    send(run);
    end(id);
}

void SignatureRunner::send(const Run& run) {
    auto report = report_of(run.installed, run.facts);
    if (const auto* refusal = std::get_if<Refusal>(&report)) {
        fail(run, refusal->why);
        return;
    }
    auto& message = std::get<SignatureReport>(report);
    message.profile = catalogue_.settings().profile;
    messages_.report(message, [weak = std::weak_ptr(self_), id = run.id()](protocol::Status status,
                                                                           const std::string& text) {
        const auto self = weak.lock();
        if (self == nullptr) {
            return;
        }
        const char* known = protocol::text_of(status);
        const std::string result = clean_line(text.empty() && known != nullptr ? known : text);
        const bool is_sent = status == protocol::Status::ok;
        if (!is_sent) {
            spdlog::warn("The message of signature {}: {}", id, result);
        }
        (*self)->keep([&] { (*self)->catalogue_.note_message(id, is_sent, result); });
    });
}

void SignatureRunner::end(std::uint32_t id) {
    runs_.erase(id);
    --running_;
    asio::post(io_, [weak = std::weak_ptr(self_)] {
        if (const auto self = weak.lock()) {
            (*self)->start_waiting();
        }
    });
}

void SignatureRunner::fail(const Run& run, const std::string& why) {
    spdlog::warn("Signature {} ({}): {}", run.id(), clean_line(run.installed.signature->name),
                 clean_line(why));
    keep([&] { catalogue_.note_failure(run.id(), FailureStage::registration, why); });
}

// A full disk keeps no signature from running.
template <typename Change>
void SignatureRunner::keep(Change&& change) {
    try {
        change();
    } catch (const SQLite::Exception& error) {
        spdlog::error("What came of a signature cannot be recorded: {}", error.what());
    }
}

}  // namespace callhome::service
