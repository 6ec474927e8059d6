#include "command_input.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <system_error>
#include <utility>

namespace callhome::shell {

namespace {

constexpr char control_z = '\x1A';

}  // namespace

CommandInput::CommandInput(NextLine next_line, Answers answers)
    : next_line_(std::move(next_line)), answers_(answers), real_input_(stdin) {
    cookie_io_functions_t functions{};
    functions.read = read_line;
    std::FILE* stream = fopencookie(this, "r", functions);
    if (stream == nullptr) {
        throw std::system_error(errno, std::generic_category(), "there is no stream for the input");
    }
    stdin = stream;
}

CommandInput::~CommandInput() {
    (void)std::fclose(stdin);
    stdin = real_input_;
    if (has_set_keys_) {
        tcsetattr(STDIN_FILENO, TCSADRAIN, &settings_);
    }
}

ssize_t CommandInput::read_line(void* cookie, char* buffer, std::size_t size) {
    try {
        return static_cast<CommandInput*>(cookie)->take_line(buffer, size);
    } catch (const std::exception&) {
        errno = ENOMEM;
        return -1;
    }
}

ssize_t CommandInput::take_line(char* buffer, std::size_t size) {
    if (line_.empty()) {
        if (std::exchange(ends_behind_line_, false)) {
            return 0;
        }
        // A question is to be seen before its answer is read.
        (void)std::fflush(stdout);
        if (next_line_(line_)) {
            line_ += '\n';
            show(line_);
        } else if (!type_line()) {
            return -1;
        }
    }
    const std::size_t count = line_.copy(buffer, size);
    line_.erase(0, count);
    return static_cast<ssize_t>(count);
}

void CommandInput::show(const std::string& text) const {
    if (answers_ == Answers::seen) {
        std::fputs(text.c_str(), stdout);
        (void)std::fflush(stdout);
    }
}

// One byte at a time: what was typed ahead of the next prompt is the line editor's. Leaves the line empty
// at the end of input; false when nothing can be read.
bool CommandInput::type_line() {
    set_keys();
    char key = 0;
    while (!line_.ends_with('\n')) {
        const ssize_t got = read(STDIN_FILENO, &key, 1);
        if (got < 0 && errno == EINTR) {
            continue;
        }
        if (got < 0) {
            return false;
        }
        if (got == 0) {
            show("\n");  // Ctrl-D leaves the cursor where it was
            ends_behind_line_ = !line_.empty();
            return true;
        }
        line_ += key;
        if (key == control_z) {
            line_ += '\n';
            show("\n");
        }
    }
    return true;
}

// Ctrl-Z cannot stop the session, which has nobody to go back to. It comes as a character that ends the
// line, so a command that takes it for giving up need not wait for Return.
void CommandInput::set_keys() {
    if (has_set_keys_ || tcgetattr(STDIN_FILENO, &settings_) != 0) {
        return;
    }
    termios keys = settings_;
    keys.c_cc[VSUSP] = _POSIX_VDISABLE;
    keys.c_cc[VEOL] = control_z;
    has_set_keys_ = tcsetattr(STDIN_FILENO, TCSADRAIN, &keys) == 0;
}

}  // namespace callhome::shell
