// One operator's session: the mode it is in, and the running of its commands.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>

#include "command_library.h"
#include "context.h"
#include "grammar.h"
#include "history.h"
#include "parser.h"
#include "platform/command_output.h"

namespace callhome::shell {

struct SessionSettings {
    std::string prompt_name;
    bool active_supervisor = true;
    bool with_pager = false;                                       // long displays stop at each screen
    platform::OutputFormat output = platform::OutputFormat::text;  // of displays
    std::function<void()> find_service;  // called once, before the first command that needs the service
    std::function<void(std::size_t)> on_mode_change = [](std::size_t) {};
};

enum class LineOutcome : std::uint8_t {
    done,
    command_failed,  // it has said why
    not_understood,  // the error says why
};

struct LineResult {
    LineOutcome outcome = LineOutcome::done;
    ParseError error;
};

class Session {
 public:
    Session(const Grammar& grammar, CommandLibrary& library, History& history, SessionSettings settings);

    // Parses and runs one line. Throws std::runtime_error when the command library or the place of the
    // service cannot be found.
    LineResult run(std::string_view line);

    std::string prompt() const;
    const Grammar& grammar() const { return grammar_; }
    const History& history() const { return history_; }
    CommandLibrary& library() { return library_; }
    // What a handler of the library is given for the command, which must outlive it.
    HandlerContext context_of(const ParsedCommand& command) const {
        return {command, settings_.active_supervisor};
    }
    std::size_t mode() const { return mode_; }
    void enter_mode(std::size_t mode);
    void leave_mode();  // one level; from exec mode, the session ends
    void return_to_exec();
    bool has_ended() const { return has_ended_; }

    // For lines that run within the command that runs now: what they show is text in its output, at its
    // pace, and afterwards the session is where it was.
    void run_within_command(const std::function<void()>& run_lines);

 private:
    std::uint32_t execute(const ParsedCommand& command);
    std::uint32_t run_built_in(const ParsedCommand& command, bool on_terminal);
    std::uint32_t call_handler(const ParsedCommand& command, bool on_terminal);
    platform::CommandOutput open_output(const ParsedCommand& command, bool on_terminal) const;
    platform::OutputFormat format_of(const ParsedCommand& command) const;
    void find_service_once();

    const Grammar& grammar_;
    CommandLibrary& library_;
    History& history_;
    SessionSettings settings_;
    std::size_t mode_ = 0;
    bool has_ended_ = false;
    bool is_within_command_ = false;
    bool has_found_service_ = false;
};

}  // namespace callhome::shell
