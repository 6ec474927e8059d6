#include "service_start.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstring>
#include <string>
#include <vector>

#include "file_descriptor.h"

namespace callhome::platform {
namespace {

namespace fs = std::filesystem;

constexpr std::chrono::seconds start_timeout{10};
constexpr std::chrono::milliseconds shortest_pause{10};
constexpr std::chrono::milliseconds longest_pause{200};
constexpr mode_t private_file = 0600;
// The service's end of the ready pipe; the standard streams come before it.
constexpr int ready_number = STDERR_FILENO + 1;

[[noreturn]] void fail(const std::string& what) {
    throw LinkError(ECONNREFUSED, what);
}

[[noreturn]] void fail(const std::string& what, int error_number) {
    fail(what + " (" + ::strerrordesc_np(error_number) + ")");
}

void wait_for(int descriptor, short events, std::chrono::milliseconds span) {
    pollfd wanted{.fd = descriptor, .events = events, .revents = 0};
    if (::poll(&wanted, 1, static_cast<int>(span.count())) < 0 && errno == EINTR) {
        throw LinkError(EINTR, "the command was interrupted");
    }
}

// Waits a little, and longer each time.
class Pause {
 public:
    void operator()() {
        constexpr int nothing = -1;  // poll() leaves out negative descriptors
        wait_for(nothing, 0, span_);
        span_ = std::min(span_ * 2, longest_pause);
    }

 private:
    std::chrono::milliseconds span_ = shortest_pause;
};

// A file of the state folder that only this user can have put there.
FileDescriptor open_own_file(const fs::path& path, int flags) {
    FileDescriptor file(
        ::open(path.c_str(), flags | O_CREAT | O_NOFOLLOW | O_CLOEXEC | O_NONBLOCK, private_file));
    struct stat found {};
    if (!file.is_open() || ::fstat(file.get(), &found) != 0) {
        fail("the call-home service cannot be started: " + path.native() + " cannot be opened", errno);
    }
    if (!S_ISREG(found.st_mode) || found.st_uid != ::geteuid() || found.st_nlink != 1) {
        fail("the call-home service cannot be started: " + path.native() + " is not a file of yours");
    }
    return file;
}

// What is to be told to posix_spawn(), released with its owner.
class SpawnSettings {
 public:
    SpawnSettings() {
        ::posix_spawn_file_actions_init(&files);
        ::posix_spawnattr_init(&attributes);
        // A session of its own: the service outlives the terminal, and Ctrl-C is not for it.
        ::posix_spawnattr_setflags(&attributes,
                                   POSIX_SPAWN_SETSID | POSIX_SPAWN_SETSIGDEF | POSIX_SPAWN_SETSIGMASK);
        sigset_t signals;
        sigfillset(&signals);
        ::posix_spawnattr_setsigdefault(&attributes, &signals);
        sigemptyset(&signals);
        ::posix_spawnattr_setsigmask(&attributes, &signals);
    }
    SpawnSettings(const SpawnSettings&) = delete;
    SpawnSettings& operator=(const SpawnSettings&) = delete;
    ~SpawnSettings() {
        ::posix_spawnattr_destroy(&attributes);
        ::posix_spawn_file_actions_destroy(&files);
    }

    posix_spawn_file_actions_t files{};
    posix_spawnattr_t attributes{};
};

// A copy of `file` under a number that no standard stream and no ready pipe takes in the new process.
FileDescriptor out_of_the_way(const FileDescriptor& file) {
    return FileDescriptor(::fcntl(file.get(), F_DUPFD_CLOEXEC, ready_number + 1));
}

int spawn(const ServiceLocation& location, const FileDescriptor& log, const FileDescriptor& ready,
          pid_t& child) {
    std::vector<std::string> words{location.program.native(),
                                   "--socket",
                                   location.socket.native(),
                                   "--state-folder",
                                   location.state_folder.native(),
                                   "--exit-when-idle",
                                   "--ready-fd",
                                   std::to_string(ready_number)};
    std::vector<char*> arguments;
    arguments.reserve(words.size() + 1);
    for (std::string& word : words) {
        arguments.push_back(word.data());
    }
    arguments.push_back(nullptr);

    const FileDescriptor high_log = out_of_the_way(log);
    const FileDescriptor high_ready = out_of_the_way(ready);
    SpawnSettings settings;
    ::posix_spawn_file_actions_addopen(&settings.files, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
    ::posix_spawn_file_actions_adddup2(&settings.files, high_log.get(), STDOUT_FILENO);
    ::posix_spawn_file_actions_adddup2(&settings.files, high_log.get(), STDERR_FILENO);
    ::posix_spawn_file_actions_adddup2(&settings.files, high_ready.get(), ready_number);
    ::posix_spawn_file_actions_addclosefrom_np(&settings.files, ready_number + 1);
    ::posix_spawn_file_actions_addchdir_np(&settings.files, "/");
    return ::posix_spawn(&child, words[0].c_str(), &settings.files, &settings.attributes, arguments.data(),
                         environ);
}

// True when the service says that it is ready, false when it has given up.
bool says_ready(const FileDescriptor& pipe, const Deadline& deadline) {
    for (;;) {
        wait_for(pipe.get(), POLLIN, deadline.left());
        char byte = 0;
        const ssize_t count = ::read(pipe.get(), &byte, 1);
        if (count >= 0) {
            return count > 0;
        }
    }
}

// Takes leave of a service that this process has started and that has ended since.
void reap_last_child(pid_t& child) {
    if (child > 0 && ::waitpid(child, nullptr, WNOHANG) != 0) {
        child = 0;
    }
}

bool launch(const ServiceLocation& location, const Deadline& deadline) {
    static pid_t child = 0;
    reap_last_child(child);
    const FileDescriptor log = open_own_file(log_of(location), O_WRONLY | O_APPEND);
    std::array<int, 2> ends{};
    if (::pipe2(ends.data(), O_CLOEXEC | O_NONBLOCK) != 0) {
        fail("the call-home service cannot be started", errno);
    }
    const FileDescriptor pipe(ends[0]);
    FileDescriptor ready(ends[1]);
    if (const int error = spawn(location, log, ready, child); error != 0) {
        child = 0;
        fail(location.program.native() + " cannot be started", error);
    }
    ready.reset();
    return says_ready(pipe, deadline);
}

// Waits for the turn of this process; empty when the service has come up meanwhile.
FileDescriptor take_turn(const ServiceLocation& location, const Deadline& deadline,
                         const Answers& answers) {
    FileDescriptor lock = open_own_file(location.state_folder / "start.lock", O_RDWR);
    Pause pause;
    while (::flock(lock.get(), LOCK_EX | LOCK_NB) != 0) {
        pause();
        if (answers(deadline)) {
            return {};
        }
    }
    return lock;
}

void bring_up(const ServiceLocation& location, const Deadline& deadline, const Answers& answers) {
    const FileDescriptor lock = take_turn(location, deadline, answers);
    if (!lock.is_open()) {
        return;
    }
    // A service that is just ending may still hold what the new one needs: so there is more than one try.
    constexpr int most_tries = 4;
    Pause pause;
    for (int tries = 0; tries < most_tries; ++tries) {
        if (answers(deadline) || (launch(location, deadline) && answers(deadline))) {
            return;
        }
        pause();
    }
    if (!answers(deadline)) {
        fail("the call-home service was started, but ended at once");
    }
}

}  // namespace

fs::path log_of(const ServiceLocation& location) {
    return location.state_folder / "callhomed.log";
}

void start_service(const ServiceLocation& location, const Deadline& deadline, const Answers& answers) {
    try {
        bring_up(location, deadline.at_most(start_timeout), answers);
    } catch (const LinkError& error) {
        // Nothing was asked of the service yet, so this is not a request whose fate is unknown.
        if (error.number() == ETIMEDOUT) {
            fail("the call-home service was started, but is not ready yet");
        }
        throw;
    }
}

}  // namespace callhome::platform
