#include "commands/command_runner.h"

#include <fmt/format.h>
#include <pwd.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <asio/posix/basic_stream_descriptor.hpp>
#include <asio/post.hpp>
#include <asio/steady_timer.hpp>
#include <cerrno>
#include <cmath>
#include <csignal>
#include <system_error>

#include "requests/checks.h"

namespace callhome::service {
namespace {

constexpr std::size_t piece_size = 16'384;  // bytes
constexpr std::size_t pieces_a_turn = 4;
constexpr uid_t root = 0;
constexpr std::size_t name_service_buffer = 16'384;

using StreamDescriptor = asio::posix::basic_stream_descriptor<asio::io_context::executor_type>;

UserIds ids_of(const std::string& name) {
    passwd entry{};
    passwd* found = nullptr;
    std::vector<char> texts(name_service_buffer);
    if (::getpwnam_r(name.c_str(), &entry, texts.data(), texts.size(), &found) != 0 || found == nullptr) {
        throw std::runtime_error("there is no user " + name + " to run commands");
    }
    if (found->pw_uid == root) {
        throw std::runtime_error("commands are not run as root");
    }
    return {found->pw_uid, found->pw_gid};
}

// In tenths of a second: finer than any limit is meant.
double rounded_seconds(std::chrono::milliseconds time) {
    constexpr double tenths = 10;
    return std::round(std::chrono::duration<double>(time).count() * tenths) / tenths;
}

}  // namespace

struct CommandRunner::Process {
    enum class Reading : std::uint8_t { more, nothing_now, finished };

    Process(asio::io_context& io, std::string run_program, Child child, const CommandLimits& limits,
            Done when_done)
        : id(child.id),
          program(std::move(run_program)),
          ended(io, child.process.release()),
          stream(io, child.output.release()),
          error(std::move(child.error)),
          limit(io),
          longest(limits.time),
          most(limits.output),
          done(std::move(when_done)) {}

    void stop(CommandEnding why) {
        result.ending = result.ending == CommandEnding::done ? why : result.ending;
        ::kill(-id, SIGKILL);
    }
    Reading read();
    void read_rest() {
        while (read() == Reading::more) {
        }
    }
    CommandResult outcome(int status);

    const pid_t id;
    const std::string program;
    StreamDescriptor ended;
    StreamDescriptor stream;
    OwnedDescriptor error;
    asio::steady_timer limit;
    const std::chrono::milliseconds longest;
    const std::size_t most;
    CommandResult result{CommandEnding::done, {}, {}};
    Done done;
};

CommandRunner::Process::Reading CommandRunner::Process::read() {
    std::array<char, piece_size> piece;
    const ssize_t length = ::read(stream.native_handle(), piece.data(), piece.size());
    if (length <= 0) {
        return length < 0 && (errno == EAGAIN || errno == EINTR) ? Reading::nothing_now : Reading::finished;
    }
    const std::size_t room = most - result.output.size();
    const auto size = static_cast<std::size_t>(length);
    result.output.append(piece.data(), std::min(size, room));
    if (size > room) {
        stop(CommandEnding::too_much);
        return Reading::finished;
    }
    return Reading::more;
}

CommandResult CommandRunner::Process::outcome(int status) {
    int error_number = 0;
    if (::read(error.number(), &error_number, sizeof(error_number)) == sizeof(error_number)) {
        return {CommandEnding::not_started,
                {},
                fmt::format("{} cannot be started: {}", program,
                            std::generic_category().message(error_number))};
    }
    if (result.ending == CommandEnding::too_long) {
        result.reason = fmt::format("ended after {} s", rounded_seconds(longest));
    } else if (result.ending == CommandEnding::too_much) {
        result.reason = fmt::format("ended after {} bytes of output", most);
    } else if (WIFSIGNALED(status)) {
        result.ending = CommandEnding::failed;
        result.reason = fmt::format("ended by signal {}", WTERMSIG(status));
    } else if (WEXITSTATUS(status) != 0) {
        result.ending = CommandEnding::failed;
        result.reason = fmt::format("ended with status {}", WEXITSTATUS(status));
    }
    return std::move(result);
}

std::filesystem::path shell_beside_this_program() {
    std::error_code error;
    const auto program = std::filesystem::read_symlink("/proc/self/exe", error);
    return (error ? std::filesystem::path("/usr/bin") : program.parent_path()) / "callhome";
}

CommandRunner::CommandRunner(asio::io_context& io, CommandSettings settings)
    : io_(io), settings_(std::move(settings)) {}

CommandRunner::~CommandRunner() {
    self_.reset();
    for (const auto& [number, process] : processes_) {
        process->stop(CommandEnding::not_started);
        ::waitpid(process->id, nullptr, 0);
    }
}

void CommandRunner::report_later(CommandResult result, Done done) {
    asio::post(io_,
               [weak = std::weak_ptr(self_), result = std::move(result), done = std::move(done)]() mutable {
                   if (const auto self = weak.lock()) {
                       done(std::move(result));
                   }
               });
}

void CommandRunner::run(const std::string& command, const CommandLimits& limits, Done done) {
    if (!is_show_command(command)) {
        report_later({CommandEnding::not_started, {}, "only show commands are run"}, std::move(done));
        return;
    }
    try {
        ChildPlan plan{settings_.program, {"--socket", settings_.socket, "-c", command}, {}};
        if (::geteuid() == root && !user_) {
            user_ = ids_of(settings_.user);
        }
        plan.user = user_;
        const std::uint64_t number = ++process_count_;
        auto process = std::make_unique<Process>(
            io_, settings_.program.string(), start_child(plan),
            CommandLimits{limits.output, std::min(limits.time, settings_.time)}, std::move(done));
        watch(number, *processes_.emplace(number, std::move(process)).first->second);
    } catch (const std::exception& error) {
        report_later({CommandEnding::not_started, {}, error.what()}, std::move(done));
    }
}

void CommandRunner::watch(std::uint64_t number, Process& process) {
    process.ended.async_wait(StreamDescriptor::wait_read,
                             [weak = std::weak_ptr(self_), number](const asio::error_code& error) {
                                 const auto self = weak.lock();
                                 if (!error && self != nullptr) {
                                     (*self)->finish(number);
                                 }
                             });
    process.limit.expires_after(process.longest);
    process.limit.async_wait([weak = std::weak_ptr(self_), number](const asio::error_code& error) {
        const auto self = weak.lock();
        if (!error && self != nullptr) {
            (*self)->stop(number);
        }
    });
    read_on(number, process);
}

void CommandRunner::stop(std::uint64_t number) {
    const auto entry = processes_.find(number);
    if (entry != processes_.end()) {
        entry->second->stop(CommandEnding::too_long);
    }
}

// So much in one turn that a command that prints without end leaves the others theirs.
void CommandRunner::read_on(std::uint64_t number, Process& process) {
    process.stream.async_wait(StreamDescriptor::wait_read, [weak = std::weak_ptr(self_),
                                                            number](const asio::error_code& error) {
        const auto self = weak.lock();
        if (error || self == nullptr) {
            return;
        }
        const auto entry = (*self)->processes_.find(number);
        if (entry == (*self)->processes_.end()) {
            return;
        }
        auto reading = Process::Reading::more;
        for (std::size_t piece = 0; piece < pieces_a_turn && reading == Process::Reading::more; ++piece) {
            reading = entry->second->read();
        }
        if (reading != Process::Reading::finished) {
            (*self)->read_on(number, *entry->second);
        }
    });
}

// The group is killed before its leader is waited for: as long as the leader is there, dead or alive, no
// other group has its number.
void CommandRunner::finish(std::uint64_t number) {
    const auto entry = processes_.find(number);
    if (entry == processes_.end()) {
        return;
    }
    const std::unique_ptr<Process> process = std::move(entry->second);
    processes_.erase(entry);
    ::kill(-process->id, SIGKILL);
    int status = 0;
    ::waitpid(process->id, &status, 0);
    if (process->result.ending == CommandEnding::done) {
        process->read_rest();
    }
    process->done(process->outcome(status));
}

}  // namespace callhome::service
