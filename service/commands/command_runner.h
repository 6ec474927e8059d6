// Runs show commands in the command shell, which asks this same service as any user's shell does: nothing
// here waits for it.
#pragma once

#include <sys/types.h>

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>

#include <asio/io_context.hpp>

#include "commands/child_process.h"

namespace callhome::service {

struct CommandSettings {
    std::filesystem::path program;  // the command shell
    std::filesystem::path socket;   // of this service
    std::string user = "nobody";    // who runs it, where this service is root
    std::chrono::milliseconds time{30'000};
};

// The shell that stands beside this program.
std::filesystem::path shell_beside_this_program();

// Of one command, beside the time that the settings give each.
struct CommandLimits {
    std::size_t output;  // bytes
    std::chrono::milliseconds time = std::chrono::milliseconds::max();
};

enum class CommandEnding : std::uint8_t {
    done,
    failed,       // the shell reports a failure
    not_started,  // see the reason
    too_long,     // ended by the time limit
    too_much,     // ended by the limit of output
};

struct CommandResult {
    CommandEnding ending = CommandEnding::not_started;
    std::string output;  // of both streams; cut at the limit
    std::string reason;  // one line; empty when the command was done
};

// Each command is a process group of its own, as an unprivileged user, with an empty environment, nothing
// to read, and none of this process's files; a group that takes too long or prints too much is killed as a
// whole, as is what a command leaves behind, and all of them when this object goes. Lives on the
// io_context's thread.
class CommandRunner {
 public:
    using Done = std::function<void(CommandResult)>;

    CommandRunner(asio::io_context& io, CommandSettings settings);
    ~CommandRunner();

    CommandRunner(const CommandRunner&) = delete;
    CommandRunner& operator=(const CommandRunner&) = delete;

    // `done` is called once, from the io_context, unless this object goes before. Anything but a show
    // command is not started.
    void run(const std::string& command, const CommandLimits& limits, Done done);

 private:
    struct Process;

    void watch(std::uint64_t number, Process& process);
    void read_on(std::uint64_t number, Process& process);
    void stop(std::uint64_t number);
    void finish(std::uint64_t number);
    void report_later(CommandResult result, Done done);

    asio::io_context& io_;
    const CommandSettings settings_;
    std::optional<UserIds> user_;  // once it was looked up
    std::map<std::uint64_t, std::unique_ptr<Process>> processes_;
    std::uint64_t process_count_ = 0;
    std::shared_ptr<CommandRunner*> self_ = std::make_shared<CommandRunner*>(this);
};

}  // namespace callhome::service
