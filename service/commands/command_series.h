// The commands of one message, run one after the other.
#pragma once

#include <chrono>
#include <cstddef>
#include <deque>
#include <functional>
#include <limits>
#include <memory>
#include <string>
#include <vector>

#include <asio/io_context.hpp>

#include "commands/command_output.h"
#include "commands/command_runner.h"

namespace callhome::service {

struct SeriesLimits {
    std::size_t command_output = std::size_t{1} << 18U;  // bytes
    std::size_t output = std::size_t{1} << 20U;          // bytes of all commands
    // Of all commands, from the call on; each gets an equal share of what is left.
    std::chrono::milliseconds time = std::chrono::milliseconds::max();
};

// A command that is cut or fails says so in its output's remark and keeps none of the others from running.
// Lives on the io_context's thread.
class CommandSeries {
 public:
    using Done = std::function<void(std::vector<CommandOutput>)>;

    static constexpr std::size_t no_limit = std::numeric_limits<std::size_t>::max();

    // Of more than `at_once` series, the others wait for their turn: with equal times none waits for longer
    // than its own.
    CommandSeries(asio::io_context& io, CommandSettings settings, std::size_t at_once = no_limit);

    CommandSeries(const CommandSeries&) = delete;
    CommandSeries& operator=(const CommandSeries&) = delete;

    // `done` is called once, with the outputs in the order of the commands, unless this object goes before;
    // where nothing is to be run, from within the call. When `is_wanted` says no between two commands, the
    // rest is left out.
    void run(std::vector<std::string> commands, const SeriesLimits& limits, Done done,
             std::function<bool()> is_wanted = {});

 private:
    struct Series;

    void next(const std::shared_ptr<Series>& series);
    void end(Series& series);

    const std::size_t at_once_;
    std::size_t running_ = 0;
    std::deque<std::shared_ptr<Series>> waiting_;
    CommandRunner runner_;  // last: it reports to what stands above
};

}  // namespace callhome::service
