// Standard input of a command that asks: lines that the terminal edits, or that are there already, pasted
// behind the command or read from a script.
#pragma once

#include <termios.h>

#include <cstdio>
#include <functional>
#include <string>

namespace callhome::shell {

class CommandInput {
 public:
    // True, with the line, when one is there that nobody has taken yet.
    using NextLine = std::function<bool(std::string&)>;

    enum class Answers : bool { unseen, seen };

    // Takes the place of `stdin`. Throws std::system_error.
    CommandInput(NextLine next_line, Answers answers);
    CommandInput(const CommandInput&) = delete;
    CommandInput& operator=(const CommandInput&) = delete;
    // What the command has left of its last line is dropped: it is no answer to the next one.
    ~CommandInput();

 private:
    static ssize_t read_line(void* cookie, char* buffer, std::size_t size);
    ssize_t take_line(char* buffer, std::size_t size);
    bool type_line();
    void set_keys();
    void show(const std::string& text) const;

    NextLine next_line_;
    Answers answers_;
    std::FILE* real_input_;
    std::string line_;  // what of the line has not been read
    bool ends_behind_line_ = false;
    termios settings_{};
    bool has_set_keys_ = false;
};

}  // namespace callhome::shell
