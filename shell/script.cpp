#include "script.h"

#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <optional>

#include "command_input.h"
#include "platform/reference.h"
#include "words.h"

namespace callhome::shell {

namespace {

constexpr std::string_view control_z = "\x1A";  // as recorded from a terminal: back to exec mode
constexpr std::string_view byte_order_mark = "\xEF\xBB\xBF";  // some editors begin a file with it
constexpr std::size_t longest_line = 65536;                   // bytes; no command comes near it

struct Released {
    void operator()(char* memory) const { std::free(memory); }
};

// Without its line end; false when there is none any more.
bool read_line(std::FILE* file, std::string& line) {
    char* memory = nullptr;
    std::size_t capacity = 0;
    const ssize_t length = getline(&memory, &capacity, file);
    const std::unique_ptr<char, Released> released(memory);
    if (length < 0) {
        return false;
    }
    line.assign(memory, static_cast<std::size_t>(length));
    line.erase(line.find_last_not_of("\r\n") + 1);
    return true;
}

// What a command reads from standard input, line by line: the rest of an answer that is too long is no
// command. A terminal does as much by itself.
void take_answers(std::optional<CommandInput>& input, CommandInput::Answers answers) {
    if (isatty(STDIN_FILENO) == 0) {
        input.emplace([file = stdin](std::string& line) { return read_line(file, line); }, answers);
    }
}

}  // namespace

void ScriptRunner::run_command(std::string_view command) {
    run_line(command, "command " + std::to_string(++commands_));
}

void ScriptRunner::run_file(std::FILE* file, const std::string& name) {
    std::string text;
    std::size_t number = 0;
    while (!is_over()) {
        errno = 0;
        if (!read_line(file, text)) {
            if (std::ferror(file) != 0) {
                std::fprintf(stderr, "%s: cannot be read: %s\n", name.c_str(), std::strerror(errno));
                has_failed_ = true;
            }
            return;
        }
        std::string_view line(text);
        if (number == 0 && line.starts_with(byte_order_mark)) {
            line.remove_prefix(byte_order_mark.size());
        }
        run_line(line, name + ":" + std::to_string(++number));
    }
}

void ScriptRunner::run_line(std::string_view line, const std::string& place) {
    if (echo_ && !trimmed(line).empty()) {
        std::printf("%s%.*s\n", session_.prompt().c_str(), static_cast<int>(line.size()), line.data());
        (void)std::fflush(stdout);
    }
    std::string message;
    try {
        if (line.size() > longest_line) {
            throw std::runtime_error("The line is longer than " + std::to_string(longest_line) + " bytes");
        }
        platform::set_error_prefix(place + ": ");
        std::optional<CommandInput> answers;
        take_answers(answers, echo_ ? CommandInput::Answers::seen : CommandInput::Answers::unseen);
        const LineResult result = session_.run(trimmed(line) == control_z ? "end" : line);
        if (result.outcome == LineOutcome::not_understood) {
            message = describe(result.error);
        } else if (result.outcome == LineOutcome::command_failed) {
            message = "command failed: " + std::string(trimmed(line));
        }
    } catch (const std::exception& error) {
        message = error.what();
    }
    (void)std::fflush(stdout);
    if (!message.empty()) {
        std::fprintf(stderr, "%s: %s\n", place.c_str(), message.c_str());
        has_failed_ = true;
    }
}

void take_scripts_of_commands(Session& session) {
    platform::run_scripts_with([&session](std::FILE* script, const std::string& name) {
        constexpr bool with_headings = true;
        constexpr bool keep_going = true;
        ScriptRunner runner(session, with_headings, keep_going);
        session.run_within_command([&] { runner.run_file(script, name); });
        return !runner.has_failed();
    });
}

}  // namespace callhome::shell
