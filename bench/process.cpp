#include "process.h"

#include <fcntl.h>
#include <sched.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <stdexcept>
#include <system_error>

namespace callhome::bench {
namespace {

void check(int error, const char* what) {
    if (error != 0) {
        throw std::system_error(error, std::generic_category(), what);
    }
}

pid_t spawn(const std::vector<std::string>& arguments, posix_spawn_file_actions_t& actions) {
    std::vector<char*> pointers;
    for (const std::string& argument : arguments) {
        pointers.push_back(const_cast<char*>(argument.c_str()));
    }
    pointers.push_back(nullptr);
    pid_t process = 0;
    check(posix_spawn(&process, pointers[0], &actions, nullptr, pointers.data(), environ), pointers[0]);
    posix_spawn_file_actions_destroy(&actions);
    return process;
}

posix_spawn_file_actions_t silent() {
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
    posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, "/dev/null", O_WRONLY, 0);
    return actions;
}

}  // namespace

void place(Placement placement) {
    cpu_set_t cores;
    CPU_ZERO(&cores);
    const int count =
        placement == Placement::one_core ? 1 : static_cast<int>(sysconf(_SC_NPROCESSORS_CONF));
    for (int core = 0; core < count; ++core) {
        CPU_SET(static_cast<unsigned>(core), &cores);
    }
    if (sched_setaffinity(0, sizeof(cores), &cores) != 0) {
        throw std::system_error(errno, std::generic_category(), "sched_setaffinity");
    }
}

pid_t start(const std::vector<std::string>& arguments) {
    posix_spawn_file_actions_t actions = silent();
    return spawn(arguments, actions);
}

pid_t start_server(const std::vector<std::string>& arguments) {
    std::array<int, 2> ready{};
    if (pipe2(ready.data(), O_CLOEXEC) != 0) {
        throw std::system_error(errno, std::generic_category(), "pipe");
    }
    posix_spawn_file_actions_t actions = silent();
    posix_spawn_file_actions_adddup2(&actions, ready[1], ready_descriptor);
    const pid_t process = spawn(arguments, actions);
    close(ready[1]);
    char byte = 0;
    const bool came_up = read(ready[0], &byte, 1) == 1;
    close(ready[0]);
    if (!came_up) {
        throw std::runtime_error(arguments.front() + " did not start");
    }
    return process;
}

void finish(pid_t process) {
    int status = 0;
    if (waitpid(process, &status, 0) < 0 || status != 0) {
        throw std::runtime_error("a measured process failed");
    }
}

void run(const std::vector<std::string>& arguments) {
    finish(start(arguments));
}

}  // namespace callhome::bench
