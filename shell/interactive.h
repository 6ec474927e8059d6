// The session at a terminal: reads lines, runs them, shows errors under the word they are about.
#pragma once

#include "history.h"
#include "session.h"

namespace callhome::shell {

// What outlives a session process that a command has ended.
struct SharedState {
    std::size_t mode = 0;
    bool has_shown_prompt = false;
    bool has_ended = false;  // the operator has left
};

// Runs until the operator leaves. The result is the exit status.
int run_interactive(Session& session, History& history, SharedState& shared);

// The error of a line typed after a prompt of `prompt_width` columns: a caret under the word, then what is
// wrong with it. Lines with their ends.
std::string error_under_line(const ParseError& error, std::string_view line, std::size_t prompt_width);

}  // namespace callhome::shell
