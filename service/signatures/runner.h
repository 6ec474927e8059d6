// Runs signatures: an event comes, commands explain it, a message carries what they printed.
#pragma once

#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <asio/io_context.hpp>

#include "commands/command_series.h"
#include "messages/message_service.h"
#include "signatures/catalogue.h"
#include "signatures/log_matcher.h"
#include "signatures/run_budget.h"
#include "signatures/schedule.h"

namespace callhome::service {

struct RunLimits {
    std::size_t at_once = 4;       // runs; more wait for their turn
    std::size_t most_of_one = 5;   // runs of a signature within a minute
    std::size_t most_of_all = 30;  // runs of all signatures within a minute
    SeriesLimits commands = {};    // of a run
};

// Follows the catalogue: whatever may run there sets itself off when its event comes, as long as call home
// is switched on. An event of a signature that runs already, or has run too often within a minute, is
// dropped and counted; so a storm of log lines costs no more than reading them. Lives on the io_context's
// thread.
class SignatureRunner {
 public:
    // Of the delivery settings, the clock and how often it is read count. All references must outlive this
    // object, which takes the catalogue's when_changed().
    SignatureRunner(asio::io_context& io, Catalogue& catalogue, const Configuration& configuration,
                    MessageService& messages, CommandSettings commands, const DeliverySettings& settings,
                    RunLimits limits = {});
    ~SignatureRunner();

    SignatureRunner(const SignatureRunner&) = delete;
    SignatureRunner& operator=(const SignatureRunner&) = delete;

    // A line of the log.
    void take_line(std::string_view line);

    // `listen` is told whether any signature waits for log lines, now and each time that changes.
    void when_listening_changes(std::function<void(bool)> listen);

    // True while something runs, or is due within a minute: no time to end the process.
    bool is_busy() const { return !runs_.empty() || schedule_.due_soon(); }

 private:
    struct Run;

    void catalogue_changed();
    void follow_catalogue();
    void follow_log_patterns();
    void follow_schedule();
    void start_on_demand();
    void set_off(std::uint32_t id, const std::string& trigger);
    void drop(std::uint32_t id);
    void start_waiting();
    void start(Run& run);
    void take_outputs(std::uint32_t id, std::vector<CommandOutput> outputs);
    void finish(Run& run);
    void send(const Run& run);
    void end(std::uint32_t id);
    void fail(const Run& run, const std::string& why);
    template <typename Change>
    void keep(Change&& change);

    asio::io_context& io_;
    Catalogue& catalogue_;
    const Configuration& configuration_;
    MessageService& messages_;
    const std::function<std::int64_t()> now_;
    const RunLimits limits_;
    Schedule schedule_;
    LogMatcher matcher_;
    std::vector<LogMatcher::Pattern> patterns_;  // what the matcher was made of
    std::function<void(bool)> listen_;
    std::map<std::uint32_t, InstalledSignature> runnable_;
    std::set<std::pair<std::uint32_t, std::int64_t>> on_demand_;  // id and time of install of those set off
    std::map<std::uint32_t, RunBudget> budgets_;
    RunBudget budget_of_all_;
    std::map<std::uint32_t, std::unique_ptr<Run>> runs_;  // also those that wait for their turn
    std::deque<std::uint32_t> waiting_;
    std::size_t running_ = 0;
    bool is_look_posted_ = false;
    std::shared_ptr<SignatureRunner*> self_ = std::make_shared<SignatureRunner*>(this);
    CommandSeries commands_;  // last: it reports to what stands above
};

}  // namespace callhome::service
