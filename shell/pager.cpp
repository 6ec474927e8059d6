#include "pager.h"

#include <fcntl.h>
#include <sys/ioctl.h>
#include <termios.h>
#include <unistd.h>

#include <cerrno>

#include "text_width.h"

namespace callhome::shell {

namespace {

constexpr std::string_view more_prompt = "--More--";
constexpr std::string_view erase_prompt = "\r        \r";
constexpr char end_of_text = '\x04';

}  // namespace

Pager::Pager(int output, bool enabled) : output_(output) {
    winsize size{};
    if (!enabled || ioctl(output, TIOCGWINSZ, &size) != 0 || size.ws_row < 2 || size.ws_col == 0) {
        return;
    }
    terminal_ = open("/dev/tty", O_RDONLY | O_CLOEXEC | O_NOCTTY);
    rows_ = static_cast<std::size_t>(size.ws_row) - 1;  // the last row is the prompt's
    columns_ = size.ws_col;
    rows_left_ = rows_;
}

Pager::~Pager() {
    if (terminal_ >= 0) {
        close(terminal_);
    }
}

void Pager::show(std::string_view lines) {
    if (terminal_ < 0) {
        write_all(lines);
        return;
    }
    while (!lines.empty() && !has_left_) {
        const std::string_view line = lines.substr(0, lines.find('\n') + 1);
        lines.remove_prefix(line.size());
        const std::size_t width = text_width(line.substr(0, line.size() - 1));
        const std::size_t rows = width == 0 ? 1 : (width + columns_ - 1) / columns_;
        if (rows > rows_left_) {
            ask();
        }
        if (!has_left_) {
            write_all(line);
            rows_left_ -= rows < rows_left_ ? rows : rows_left_;
        }
    }
}

void Pager::ask() {
    write_all(more_prompt);
    while (true) {
        const char key = read_key();
        if (key == ' ' || key == 'f') {
            rows_left_ = rows_;
        } else if (key == '\r' || key == '\n') {
            rows_left_ = 1;
        } else if (key == 'q' || key == 'Q' || key == end_of_text) {
            has_left_ = true;
        } else {
            continue;
        }
        write_all(erase_prompt);
        return;
    }
}

char Pager::read_key() {
    termios before{};
    const bool is_set = tcgetattr(terminal_, &before) == 0;
    if (is_set) {
        termios keys = before;
        keys.c_lflag &= ~static_cast<tcflag_t>(ICANON | ECHO);
        keys.c_cc[VMIN] = 1;
        keys.c_cc[VTIME] = 0;
        tcsetattr(terminal_, TCSADRAIN, &keys);
    }
    char key = 0;
    ssize_t got = 0;
    do {
        got = read(terminal_, &key, 1);
    } while (got < 0 && errno == EINTR);
    if (is_set) {
        tcsetattr(terminal_, TCSADRAIN, &before);
    }
    return got == 1 ? key : 'q';
}

void Pager::write_all(std::string_view text) {
    while (!text.empty()) {
        const ssize_t put = write(output_, text.data(), text.size());
        if (put < 0 && errno != EINTR) {
            has_left_ = true;
            has_failed_ = errno != EPIPE;  // a reader who has left misses nothing
            return;
        }
        text.remove_prefix(put > 0 ? static_cast<std::size_t>(put) : 0);
    }
}

}  // namespace callhome::shell
