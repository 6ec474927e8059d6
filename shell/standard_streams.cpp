#include "standard_streams.h"

#include <fcntl.h>
#include <unistd.h>

#include <array>
#include <cstdio>

#include "output_pipe.h"

namespace callhome::shell {

namespace {

struct Stream {
    int number;
    int mode;  // the opposite of what the stream is for
};

constexpr std::array streams{
    Stream{STDIN_FILENO, O_WRONLY},
    Stream{STDOUT_FILENO, O_RDONLY},
    Stream{STDERR_FILENO, O_RDONLY},
};

}  // namespace

void take_closed_streams() {
    for (const Stream& stream : streams) {
        if (fcntl(stream.number, F_GETFD) < 0) {
            (void)open("/dev/null", stream.mode);  // the lowest free number, which is this one
        }
    }
}

bool has_written_everything() {
    const bool is_flushed = std::fflush(stdout) == 0;
    if (is_flushed && std::ferror(stdout) == 0 && !OutputPipe::has_lost_output()) {
        return true;
    }
    std::fputs("callhome: not everything could be written to standard output\n", stderr);
    return false;
}

}  // namespace callhome::shell
