#include "commands/command_series.h"

#include <algorithm>
#include <utility>

namespace callhome::service {
namespace {

using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;

constexpr const char* no_time_left = "not run: the time for the commands of the message was over";

}  // namespace

struct CommandSeries::Series {
    std::vector<std::string> commands;
    SeriesLimits limits;
    Clock::time_point began;
    Done done;
    std::function<bool()> is_wanted;
    std::vector<CommandOutput> outputs;
    std::size_t output_left;

    bool is_over() const { return outputs.size() == commands.size() || (is_wanted && !is_wanted()); }
    const std::string& command() const { return commands.at(outputs.size()); }

    // Of the next command.
    milliseconds time() const {
        if (limits.time == milliseconds::max()) {
            return limits.time;
        }
        const auto gone = std::chrono::duration_cast<milliseconds>(Clock::now() - began);
        return (limits.time - gone) / static_cast<int>(commands.size() - outputs.size());
    }

    void take(CommandResult result) {
        output_left -= result.output.size();
        outputs.push_back({command(), std::move(result.output), std::move(result.reason)});
    }
};

CommandSeries::CommandSeries(asio::io_context& io, CommandSettings settings, std::size_t at_once)
    : at_once_(at_once), runner_(io, std::move(settings)) {}

void CommandSeries::run(std::vector<std::string> commands, const SeriesLimits& limits, Done done,
                        std::function<bool()> is_wanted) {
    const auto series = std::make_shared<Series>(Series{std::move(commands),
                                                        limits,
                                                        Clock::now(),
                                                        std::move(done),
                                                        std::move(is_wanted),
                                                        {},
                                                        limits.output});
    if (running_ >= at_once_ && !series->is_over()) {
        waiting_.push_back(series);
        return;
    }
    ++running_;
    next(series);
}

void CommandSeries::next(const std::shared_ptr<Series>& series) {
    while (!series->is_over()) {
        const milliseconds time = series->time();
        if (time > milliseconds::zero()) {
            const std::size_t output = std::min(series->limits.command_output, series->output_left);
            runner_.run(series->command(), {.output = output, .time = time},
                        [this, series](CommandResult result) {
                            series->take(std::move(result));
                            next(series);
                        });
            return;
        }
        series->outputs.push_back({series->command(), {}, no_time_left});
    }
    end(*series);
}

void CommandSeries::end(Series& series) {
    --running_;
    if (!waiting_.empty() && running_ < at_once_) {
        const auto first = std::move(waiting_.front());
        waiting_.pop_front();
        ++running_;
        next(first);
    }
    series.done(std::move(series.outputs));
}

}  // namespace callhome::service
