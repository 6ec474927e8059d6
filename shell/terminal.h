// The line editor of an interactive session, over libedit.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include <histedit.h>

#include "history.h"
#include "session.h"

namespace callhome::shell {

enum class TypedLine : std::uint8_t {
    line,
    dropped,         // Ctrl-C
    end_of_mode,     // Ctrl-D on an empty line
    return_to_exec,  // Ctrl-Z
    hang_up,         // the terminal has gone
};

class Terminal {
 public:
    // Throws std::runtime_error when the terminal cannot be used.
    Terminal(Session& session, History& history);
    Terminal(const Terminal&) = delete;
    Terminal& operator=(const Terminal&) = delete;
    ~Terminal();

    TypedLine read_line(std::string& line);
    // The next line of a paste, for a command that asks; false when there is no whole one.
    bool take_pasted_line(std::string& line);
    // A line of the history of this session.
    void remember(const std::string& line);

 private:
    static Terminal& of(EditLine* editor);
    static char* prompt(EditLine* editor);
    static unsigned char question_mark(EditLine* editor, wint_t key);
    static unsigned char tab(EditLine* editor, wint_t key);
    static unsigned char drop_line(EditLine* editor, wint_t key);
    static unsigned char end_mode(EditLine* editor, wint_t key);
    static unsigned char paste(EditLine* editor, wint_t key);
    static unsigned char insert_pasted(EditLine* editor, wint_t key);

    void bind_keys();
    std::string text_before_cursor() const;
    void show_below(const std::string& text);
    unsigned char insert(const std::string& text);

    Session& session_;
    History& history_;
    EditLine* editor_;
    ::History* recalled_;
    std::string prompt_;
    std::string pasted_;
    std::string_view pasted_rest_;  // what a paste of several lines has left for the next ones
    TypedLine answer_ = TypedLine::line;
    bool line_was_pasted_ = false;  // with its end
    bool marks_pastes_;             // the terminal tells pasted text from typed text
};

}  // namespace callhome::shell
