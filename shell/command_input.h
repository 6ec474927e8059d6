// Standard input of a command that runs at the terminal: lines that the terminal edits, or that were pasted
// behind the command.
#pragma once

#include <termios.h>

#include <cstdio>
#include <functional>
#include <string>

namespace callhome::shell {

class CommandInput {
 public:
    // True, with the line, when one was pasted that nobody has taken yet.
    using NextPasted = std::function<bool(std::string&)>;

    // Takes the place of `stdin`. Throws std::system_error.
    explicit CommandInput(NextPasted next_pasted);
    CommandInput(const CommandInput&) = delete;
    CommandInput& operator=(const CommandInput&) = delete;
    // What the command has left of its last line is dropped: it is no answer to the next one.
    ~CommandInput();

 private:
    static ssize_t read_line(void* cookie, char* buffer, std::size_t size);
    ssize_t take_line(char* buffer, std::size_t size);
    bool type_line();
    void set_keys();

    NextPasted next_pasted_;
    std::FILE* real_input_;
    std::string line_;  // what of the line has not been read
    bool ends_behind_line_ = false;
    termios settings_{};
    bool has_set_keys_ = false;
};

}  // namespace callhome::shell
