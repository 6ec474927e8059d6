// Commands that come from a file, from standard input or from the command line.
#pragma once

#include <cstdio>
#include <string>
#include <string_view>

#include "session.h"

namespace callhome::shell {

class ScriptRunner {
 public:
    // `echo` shows prompt and command before each answer; with `keep_going`, a failure does not end it.
    ScriptRunner(Session& session, bool echo, bool keep_going)
        : session_(session), echo_(echo), keep_going_(keep_going) {}

    // One -c command.
    void run_command(std::string_view command);
    // Lines of a file; `name` stands before the line number in messages.
    void run_file(std::FILE* file, const std::string& name);

    // No more commands are wanted: one has failed, or the session has ended.
    bool is_over() const { return session_.has_ended() || (has_failed_ && !keep_going_); }
    bool has_failed() const { return has_failed_; }

 private:
    void run_line(std::string_view line, const std::string& place);

    Session& session_;
    bool echo_, keep_going_;
    bool has_failed_ = false;
    std::size_t commands_ = 0;
};

// Has this session run the scripts that commands hand over: each line after a heading, whatever becomes of
// the one before it. The session must outlive every command.
void take_scripts_of_commands(Session& session);

}  // namespace callhome::shell
