#include "commands/child_process.h"

#include <fcntl.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <system_error>

namespace callhome::service {
namespace {

constexpr int error_descriptor = 3;  // the first behind the standard streams
constexpr int not_executed = 126;    // as shells have it

std::system_error failure(const char* what) {
    return {errno, std::generic_category(), what};
}

struct Pipe {
    OwnedDescriptor read_end;
    OwnedDescriptor write_end;
};

// Neither end is one of the numbers that the child's own descriptors get.
Pipe open_pipe() {
    std::array<int, 2> ends{};
    if (::pipe2(ends.data(), O_CLOEXEC) != 0) {
        throw failure("no pipe can be opened");
    }
    const OwnedDescriptor low_read(ends[0]);
    const OwnedDescriptor low_write(ends[1]);
    Pipe pipe{OwnedDescriptor(::fcntl(ends[0], F_DUPFD_CLOEXEC, error_descriptor + 1)),
              OwnedDescriptor(::fcntl(ends[1], F_DUPFD_CLOEXEC, error_descriptor + 1))};
    if (pipe.read_end.number() < 0 || pipe.write_end.number() < 0 ||
        ::fcntl(pipe.read_end.number(), F_SETFL, O_NONBLOCK) != 0) {
        throw failure("no pipe can be opened");
    }
    return pipe;
}

// All that the child needs, made before: between fork and exec it may not ask for memory.
struct ChildSetup {
    const char* program;
    char* const* arguments;
    std::optional<UserIds> user;
    int input;
    int output;
    int error;
    pid_t parent;
};

// The C library would tell its other threads, which are not there in the child.
bool become(const UserIds& ids) {
    return ::syscall(SYS_setgroups, 0, nullptr) == 0 &&
           ::syscall(SYS_setresgid, ids.group, ids.group, ids.group) == 0 &&
           ::syscall(SYS_setresuid, ids.user, ids.user, ids.user) == 0;
}

bool take_descriptors(const ChildSetup& setup) {
    return ::dup2(setup.input, STDIN_FILENO) >= 0 && ::dup2(setup.output, STDOUT_FILENO) >= 0 &&
           ::dup2(setup.output, STDERR_FILENO) >= 0 &&
           ::dup3(setup.error, error_descriptor, O_CLOEXEC) >= 0 &&
           ::syscall(SYS_close_range, error_descriptor + 1, ~0U, 0) == 0;
}

void reset_signals() {
    for (int number = 1; number < NSIG; ++number) {
        (void)std::signal(number, SIG_DFL);  // fails for two of them, which cannot be changed
    }
    sigset_t none;
    ::sigemptyset(&none);
    ::sigprocmask(SIG_SETMASK, &none, nullptr);
}

// Not granted everywhere; what they hinder is hindered by rights, too.
void set_limits() {
    const rlimit nothing{0, 0};
    (void)::setrlimit(RLIMIT_CORE, &nothing);
    (void)::setrlimit(RLIMIT_FSIZE, &nothing);
}

[[noreturn]] void run_child(const ChildSetup& setup) {
    static char* const empty_environment[] = {nullptr};
    ::setpgid(0, 0);
    reset_signals();
    set_limits();
    bool is_ready = take_descriptors(setup);
    // Before that, the number may be that of a file of this process.
    const int error_output = is_ready ? error_descriptor : setup.error;
    is_ready = is_ready && ::chdir("/") == 0 && (!setup.user || become(*setup.user));
    // Behind the change of the user, which takes it away.
    is_ready = is_ready && ::prctl(PR_SET_PDEATHSIG, SIGKILL) == 0 &&
               ::prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) == 0;
    if (is_ready && ::getppid() == setup.parent) {
        ::execve(setup.program, setup.arguments, empty_environment);
    }
    const int error = errno;
    (void)!::write(error_output, &error, sizeof(error));
    ::_exit(not_executed);
}

// A signal that is meant for this process must not reach its handlers in the child, which share a pipe.
pid_t fork_without_signals(const ChildSetup& setup) {
    sigset_t all;
    sigset_t before;
    ::sigfillset(&all);
    ::pthread_sigmask(SIG_SETMASK, &all, &before);
    const pid_t id = ::fork();
    if (id == 0) {
        run_child(setup);
    }
    const int error = errno;
    ::pthread_sigmask(SIG_SETMASK, &before, nullptr);
    errno = error;
    return id;
}

std::vector<char*> argument_pointers(const ChildPlan& plan) {
    std::vector<char*> pointers{const_cast<char*>(plan.program.c_str())};
    for (const std::string& argument : plan.arguments) {
        pointers.push_back(const_cast<char*>(argument.c_str()));
    }
    pointers.push_back(nullptr);
    return pointers;
}

}  // namespace

OwnedDescriptor::~OwnedDescriptor() {
    if (number_ >= 0) {
        ::close(number_);
    }
}

Child start_child(const ChildPlan& plan) {
    const OwnedDescriptor nothing(::open("/dev/null", O_RDONLY | O_CLOEXEC));
    if (nothing.number() < 0) {
        throw failure("/dev/null cannot be opened");
    }
    const OwnedDescriptor input(::fcntl(nothing.number(), F_DUPFD_CLOEXEC, error_descriptor + 1));
    Pipe output = open_pipe();
    Pipe error = open_pipe();
    const std::vector<char*> arguments = argument_pointers(plan);
    Child child;
    child.id = fork_without_signals({plan.program.c_str(), arguments.data(), plan.user, input.number(),
                                     output.write_end.number(), error.write_end.number(), ::getpid()});
    if (child.id < 0) {
        throw failure("no process can be started");
    }
    ::setpgid(child.id, child.id);  // whoever comes first, the child or this
    child.process = OwnedDescriptor(static_cast<int>(::syscall(SYS_pidfd_open, child.id, 0)));
    if (child.process.number() < 0) {
        const auto reason = failure("a process cannot be watched");
        ::kill(-child.id, SIGKILL);
        ::waitpid(child.id, nullptr, 0);
        throw reason;
    }
    child.output = std::move(output.read_end);
    child.error = std::move(error.read_end);
    return child;
}

}  // namespace callhome::service
