#include "keeper.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <termios.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <new>
#include <optional>
#include <system_error>

namespace callhome::shell {

namespace {

constexpr int most_failed_starts = 3;  // in a row, before the first prompt
constexpr std::array ignored_signals{SIGINT, SIGQUIT, SIGTSTP};
constexpr std::array forwarded_signals{SIGTERM, SIGHUP};

volatile std::sig_atomic_t session_process = 0;
volatile std::sig_atomic_t ending_signal = 0;

void forward(int signal) {
    ending_signal = signal;
    if (session_process > 0) {
        kill(session_process, signal);
    }
}

void set_signals(void (*ignored)(int), void (*forwarded)(int)) {
    for (const int signal : ignored_signals) {
        std::signal(signal, ignored);
    }
    for (const int signal : forwarded_signals) {
        std::signal(signal, forwarded);
    }
}

[[noreturn]] void fail(const char* what) {
    throw std::system_error(errno, std::generic_category(), what);
}

// The session's end of a pipe stays open in all processes forked from it (filters and pager), and in no
// program that they start: once it reads as ended, nothing more will be written to the terminal.
class LifeLine {
 public:
    LifeLine() {
        if (pipe2(ends_.data(), O_CLOEXEC) != 0) {
            fail("a session cannot be started");
        }
    }
    LifeLine(const LifeLine&) = delete;
    LifeLine& operator=(const LifeLine&) = delete;
    ~LifeLine() {
        close(ends_[0]);
        close_other_end();
    }

    void close_other_end() {
        if (ends_[1] >= 0) {
            close(ends_[1]);
            ends_[1] = -1;
        }
    }

    void wait_for_all() {
        char nothing = 0;
        while (read(ends_[0], &nothing, 1) < 0 && errno == EINTR && ending_signal == 0) {
        }
    }

 private:
    std::array<int, 2> ends_{-1, -1};
};

[[noreturn]] void run_session(const std::function<int(SharedState&)>& session, SharedState& shared,
                              pid_t keeper) {
    set_signals(SIG_DFL, SIG_DFL);
    std::signal(SIGQUIT, SIG_IGN);
    std::signal(SIGTSTP, SIG_IGN);
    prctl(PR_SET_PDEATHSIG, SIGHUP);
    if (getppid() != keeper) {
        _exit(EXIT_FAILURE);
    }
    int status = EXIT_FAILURE;
    try {
        status = session(shared);
    } catch (const std::exception& error) {
        std::fprintf(stderr, "callhome: %s\n", error.what());
    }
    std::exit(status);  // as a handler would: what is registered runs, buffers are written
}

int wait_for(pid_t process) {
    int status = 0;
    while (waitpid(process, &status, 0) < 0 && errno == EINTR) {
    }
    return status;
}

// One life of the session; the result is what waitpid says.
int run_once(const std::function<int(SharedState&)>& session, SharedState& shared) {
    LifeLine life_line;
    const pid_t keeper = getpid();
    (void)std::fflush(stdout);
    const pid_t child = fork();
    if (child < 0) {
        fail("a session cannot be started");
    }
    if (child == 0) {
        run_session(session, shared, keeper);
    }
    session_process = child;
    life_line.close_other_end();
    const int status = wait_for(child);
    session_process = 0;
    life_line.wait_for_all();
    return status;
}

void explain_end(int status) {
    if (WIFSIGNALED(status) && WTERMSIG(status) == SIGINT) {
        std::fputs("\n", stdout);  // Ctrl-C has done what it is for
    } else if (WIFSIGNALED(status)) {
        std::fprintf(stderr, "%% The command ended abnormally (%s); the session goes on\n",
                     strsignal(WTERMSIG(status)));
    } else {
        std::fputs("% The command was ended; the session goes on\n", stderr);
    }
    (void)std::fflush(stdout);
}

SharedState& make_shared_state() {
    void* memory =
        mmap(nullptr, sizeof(SharedState), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    if (memory == MAP_FAILED) {
        fail("a session cannot be started");
    }
    return *new (memory) SharedState;
}

}  // namespace

int keep_session(History& history, const std::function<int(SharedState&)>& session) {
    SharedState& shared = make_shared_state();
    termios settings{};
    const bool has_settings = tcgetattr(STDIN_FILENO, &settings) == 0;
    set_signals(SIG_IGN, forward);
    for (int failed_starts = 0;;) {
        shared.has_shown_prompt = false;
        const int status = run_once(session, shared);
        if (has_settings) {
            tcsetattr(STDIN_FILENO, TCSADRAIN, &settings);
        }
        if (shared.has_ended) {
            return WIFEXITED(status) ? WEXITSTATUS(status) : EXIT_FAILURE;
        }
        failed_starts = shared.has_shown_prompt ? 0 : failed_starts + 1;
        if (ending_signal != 0 || failed_starts == most_failed_starts) {
            return EXIT_FAILURE;
        }
        if (shared.has_shown_prompt) {
            explain_end(status);
        }
        history.reload();
    }
}

}  // namespace callhome::shell
