#include "output_pipe.h"

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <stdio_ext.h>
#include <array>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <system_error>

#include "inner_filter.h"
#include "pager.h"
#include "platform/command_output.h"

namespace callhome::shell {

namespace {

constexpr std::size_t piece_size = 65536;

OutputPipe* active = nullptr;
bool output_was_lost = false;

// Filters what comes in until it ends. What is written to a pager that was left is read and dropped, so
// that the handler runs to its end. False when something could not be written.
bool pump(int input, const std::vector<FilterSpec>& filters, bool with_pager) {
    TextFilter filter(filters);
    Pager pager(STDOUT_FILENO, with_pager);
    std::string shown;
    std::array<char, piece_size> piece{};
    for (ssize_t got = 0; (got = read(input, piece.data(), piece.size())) != 0;) {
        if (got < 0) {
            if (errno == EINTR) {
                continue;
            }
            break;
        }
        filter.take({piece.data(), static_cast<std::size_t>(got)}, shown);
        pager.show(shown);
        shown.clear();
    }
    filter.finish(shown);
    pager.show(shown);
    return !pager.has_failed();
}

[[noreturn]] void run_child(int input, const std::vector<FilterSpec>& filters, bool with_pager) {
    int status = EXIT_FAILURE;
    try {
        status = pump(input, filters, with_pager) ? EXIT_SUCCESS : EXIT_FAILURE;
    } catch (const std::exception& error) {
        std::fprintf(stderr, "%% The output cannot be filtered: %s\n", error.what());
    }
    _exit(status);  // what the parent has registered is not this process's business
}

}  // namespace

OutputPipe::OutputPipe(const std::vector<FilterSpec>& filters, bool with_pager) {
    std::array<int, 2> ends{};
    // Noted here, since the error mark of the stream may be taken away when the filter has gone.
    output_was_lost = std::fflush(stdout) != 0 || std::ferror(stdout) != 0 || output_was_lost;
    if (pipe2(ends.data(), O_CLOEXEC) != 0) {
        throw std::system_error(errno, std::generic_category(), "the output cannot be filtered");
    }
    real_output_ = fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, STDERR_FILENO + 1);
    child_ = fork();
    if (child_ == 0) {
        ::close(ends[1]);
        run_child(ends[0], filters, with_pager);
    }
    ::close(ends[0]);
    if (child_ < 0) {
        const int error = errno;
        ::close(ends[1]);
        ::close(real_output_);
        throw std::system_error(error, std::generic_category(), "the output cannot be filtered");
    }
    dup2(ends[1], STDOUT_FILENO);
    ::close(ends[1]);
    std::signal(SIGPIPE, SIG_IGN);
    static const bool is_registered = std::atexit(close_at_exit) == 0;
    (void)is_registered;
    active = this;
}

OutputPipe::~OutputPipe() {
    close();
}

bool OutputPipe::has_lost_output() {
    return output_was_lost;
}

void OutputPipe::close_at_exit() {
    InnerFilter::end_at_exit();
    if (active != nullptr) {
        platform::CommandOutput::end_at_exit();  // what is left of it goes through the filters, too
        active->close();
    }
}

void OutputPipe::close() {
    if (std::fflush(stdout) != 0 || std::ferror(stdout) != 0) {
        // The filter has gone; what it did not take must not appear after it.
        __fpurge(stdout);
        std::clearerr(stdout);
    }
    dup2(real_output_, STDOUT_FILENO);
    ::close(real_output_);
    int status = 0;
    while (waitpid(child_, &status, 0) < 0 && errno == EINTR) {
    }
    output_was_lost = output_was_lost || (WIFEXITED(status) && WEXITSTATUS(status) != EXIT_SUCCESS);
    std::signal(SIGPIPE, SIG_DFL);
    active = nullptr;
}

}  // namespace callhome::shell
