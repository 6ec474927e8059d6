#include "interactive.h"

#include <clocale>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <stdexcept>

#include "command_input.h"
#include "terminal.h"
#include "text_width.h"
#include "words.h"

namespace callhome::shell {

namespace {

void run_line(Session& session, Terminal& terminal, const std::string& line) {
    // The default action of Ctrl-C ends a command wherever it waits; the keeper brings the prompt back.
    std::signal(SIGINT, SIG_DFL);
    try {
        const CommandInput input([&](std::string& pasted) { return terminal.take_pasted_line(pasted); },
                                 CommandInput::Answers::seen);
        const std::size_t prompt_width = text_width(session.prompt());
        const LineResult result = session.run(line);
        if (result.outcome == LineOutcome::not_understood) {
            std::fputs(error_under_line(result.error, line, prompt_width).c_str(), stdout);
        }
    } catch (const std::exception& error) {
        std::fprintf(stderr, "%% %s\n", error.what());
    }
    (void)std::fflush(stdout);
}

// Names and addresses may hold any letter; libedit counts columns by the locale.
void use_utf8() {
    const char* locale = std::setlocale(LC_CTYPE, "");
    if (locale == nullptr || std::string_view(locale) == "C" || std::string_view(locale) == "POSIX") {
        std::setlocale(LC_CTYPE, "C.UTF-8");
    }
}

}  // namespace

std::string error_under_line(const ParseError& error, std::string_view line, std::size_t prompt_width) {
    std::string text;
    const std::size_t column = prompt_width + text_width(line.substr(0, error.position));
    if (error.kind != ErrorKind::incomplete) {
        text = std::string(column, ' ') + "^\n";
    }
    switch (error.kind) {
        case ErrorKind::invalid:
            return text + "% Invalid input\n";
        case ErrorKind::incomplete:
            return text + "% Incomplete command\n";
        case ErrorKind::ambiguous:
            text += "% Ambiguous command: \"" + error.word + "\"\n";
            for (const std::string& word : error.expected) {
                text += "  " + word + "\n";
            }
            return text;
        case ErrorKind::value:
            break;
    }
    return text + "% " + describe(error) + "\n";
}

int run_interactive(Session& session, History& history, SharedState& shared) {
    use_utf8();
    Terminal terminal(session, history);
    std::string line;
    while (!session.has_ended()) {
        shared.has_shown_prompt = true;
        switch (terminal.read_line(line)) {
            case TypedLine::line:
                if (!trimmed(line).empty()) {
                    terminal.remember(line);
                    run_line(session, terminal, line);
                }
                break;
            case TypedLine::dropped:
                break;
            case TypedLine::return_to_exec:
                session.return_to_exec();
                break;
            case TypedLine::end_of_mode:
                session.leave_mode();
                break;
            case TypedLine::hang_up:
                shared.has_ended = true;
                return EXIT_FAILURE;
        }
    }
    shared.has_ended = true;
    return EXIT_SUCCESS;
}

}  // namespace callhome::shell
