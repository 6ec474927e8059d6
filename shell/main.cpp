// `callhome`: the reference command shell.
#include <sys/stat.h>
#include <sys/utsname.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <memory>

#include "command_library.h"
#include "docs.h"
#include "documents.h"
#include "grammar.h"
#include "history.h"
#include "interactive.h"
#include "keeper.h"
#include "options.h"
#include "platform/reference.h"
#include "script.h"
#include "session.h"
#include "standard_streams.h"

namespace callhome::shell {

namespace {

constexpr int usage_status = 2;
constexpr std::string_view standard_input_name = "-";

std::string short_host_name() {
    utsname system{};
    if (uname(&system) != 0 || system.nodename[0] == '\0') {
        return "switch";
    }
    const std::string name(static_cast<const char*>(system.nodename));
    return name.substr(0, name.find('.'));
}

SessionSettings settings_for(const Options& options) {
    SessionSettings settings;
    settings.prompt_name = options.prompt_name ? *options.prompt_name : short_host_name();
    settings.active_supervisor = !options.standby;
    settings.output = options.output;
    settings.find_service = [socket = options.socket] {
        platform::use_service(platform::find_service(socket, program_folder()));
    };
    return settings;
}

int run_at_terminal(const Options& options, const Grammar& grammar) {
    History history;
    history.open();
    return keep_session(history, [&](SharedState& shared) {
        SessionSettings settings = settings_for(options);
        settings.with_pager = true;
        settings.on_mode_change = [&shared](std::size_t mode) { shared.mode = mode; };
        CommandLibrary library(grammar, options.library);
        library.load();
        Session session(grammar, library, history, std::move(settings));
        session.enter_mode(shared.mode);
        take_scripts_of_commands(session);
        return run_interactive(session, history, shared);
    });
}

struct Closed {
    void operator()(std::FILE* file) const { (void)std::fclose(file); }
};

bool run_file(ScriptRunner& runner, const std::string& name) {
    if (name == standard_input_name) {
        runner.run_file(stdin, "standard input");
        return true;
    }
    const std::unique_ptr<std::FILE, Closed> file(std::fopen(name.c_str(), "re"));
    if (!file) {
        std::fprintf(stderr, "callhome: %s: %s\n", name.c_str(), std::strerror(errno));
        return false;
    }
    runner.run_file(file.get(), name);
    return true;
}

int run_scripts(const Options& options, const Grammar& grammar) {
    History history;
    CommandLibrary library(grammar, options.library);
    Session session(grammar, library, history, settings_for(options));
    take_scripts_of_commands(session);
    ScriptRunner runner(session, options.echo, options.keep_going);
    bool are_all_there = true;
    for (const ScriptSource& source : options.sources) {
        if (runner.is_over() || (!are_all_there && !options.keep_going)) {
            break;
        }
        if (source.is_file) {
            are_all_there = run_file(runner, source.text) && are_all_there;
        } else {
            runner.run_command(source.text);
        }
    }
    return runner.has_failed() || !are_all_there ? EXIT_FAILURE : EXIT_SUCCESS;
}

// Where standard output and standard error end in one file, what handlers write to the one stands where
// it belongs among their lines on the other.
void keep_lines_in_order() {
    struct stat output {};
    struct stat errors {};
    if (fstat(STDOUT_FILENO, &output) == 0 && fstat(STDERR_FILENO, &errors) == 0 &&
        output.st_dev == errors.st_dev && output.st_ino == errors.st_ino) {
        (void)std::setvbuf(stdout, nullptr, _IOLBF, BUFSIZ);
    }
}

int run(Options options) {
    if (options.show_help) {
        std::fputs(usage().c_str(), stdout);
        return EXIT_SUCCESS;
    }
    if (options.show_version) {
        std::puts("callhome " CALLHOME_VERSION);
        return EXIT_SUCCESS;
    }
    const Grammar grammar = read_grammar(embedded_grammar(), embedded_grammar_name);
    if (options.dump_commands) {
        std::fputs(command_reference(grammar).c_str(), stdout);
        return EXIT_SUCCESS;
    }
    if (options.schema_folder) {
        write_schemas(grammar, *options.schema_folder);
        return EXIT_SUCCESS;
    }
    if (options.sources.empty()) {
        if (isatty(STDIN_FILENO) != 0 && isatty(STDOUT_FILENO) != 0) {
            return run_at_terminal(options, grammar);
        }
        options.sources.push_back({true, std::string(standard_input_name)});
    }
    keep_lines_in_order();
    return run_scripts(options, grammar);
}

}  // namespace

}  // namespace callhome::shell

int main(int argument_count, char** arguments) {
    using namespace callhome::shell;
    take_closed_streams();
    try {
        const std::span<const char* const> words(arguments, static_cast<std::size_t>(argument_count));
        const int status = run(read_options(words.subspan(words.empty() ? 0 : 1)));
        return has_written_everything() || status != EXIT_SUCCESS ? status : EXIT_FAILURE;
    } catch (const UsageError& error) {
        std::fprintf(stderr, "callhome: %s\n", error.what());
        return usage_status;
    } catch (const std::exception& error) {
        std::fprintf(stderr, "callhome: %s\n", error.what());
        return EXIT_FAILURE;
    }
}
