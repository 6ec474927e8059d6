#include "typed_input.h"

#include <fcntl.h>
#include <pty.h>
#include <termios.h>
#include <unistd.h>

#include <array>
#include <stdexcept>

namespace callhome::test {
namespace {

void require(bool condition, const char* what) {
    if (!condition) {
        throw std::runtime_error(what);
    }
}

void open_terminal(int& master, int& terminal, bool raw) {
    require(openpty(&master, &terminal, nullptr, nullptr, nullptr) == 0, "no terminal can be opened");
    termios settings{};
    require(tcgetattr(terminal, &settings) == 0, "the terminal has settings");
    if (raw) {
        cfmakeraw(&settings);
    } else {
        settings.c_lflag &= ~static_cast<tcflag_t>(ISIG);  // Ctrl-C and Ctrl-Z are characters
    }
    require(tcsetattr(terminal, TCSANOW, &settings) == 0, "the terminal can be set");
}

}  // namespace

TypedInput::TypedInput(std::string_view typed, InputFrom from) : kept_(stdin) {
    if (from == InputFrom::pipe) {
        std::array<int, 2> ends{};
        require(pipe2(ends.data(), O_CLOEXEC) == 0, "no pipe can be opened");
        reader_ = ends[0];
        writer_ = ends[1];
    } else {
        open_terminal(writer_, reader_, from == InputFrom::raw_terminal);
    }
    type(typed);
    if (from == InputFrom::pipe) {
        close(writer_);
        writer_ = -1;
    }
    stdin = fdopen(reader_, "r");
    require(stdin != nullptr, "no stream can be opened");
}

TypedInput::~TypedInput() {
    (void)std::fclose(stdin);
    stdin = kept_;
    if (writer_ >= 0) {
        close(writer_);
    }
}

void TypedInput::type(std::string_view more) const {
    require(write(writer_, more.data(), more.size()) == static_cast<ssize_t>(more.size()),
            "what is typed fits into the pipe");
}

std::string TypedInput::rest() {
    std::string text;
    std::clearerr(stdin);
    for (int character = 0; (character = std::getc(stdin)) != EOF;) {
        text += static_cast<char>(character);
    }
    return text;
}

}  // namespace callhome::test
