#include "session.h"

#include <cstdio>

#include "built_ins.h"
#include "output_pipe.h"

namespace callhome::shell {

namespace {

constexpr std::string_view display_word = "show ";

// Displays are what is read a screen at a time.
bool is_display(const Command& command) {
    return command.syntax.starts_with(display_word);
}

bool has_no_more(const std::vector<FilterSpec>& filters) {
    for (const FilterSpec& filter : filters) {
        if (filter.kind == FilterKind::no_more) {
            return true;
        }
    }
    return false;
}

}  // namespace

Session::Session(const Grammar& grammar, CommandLibrary& library, History& history,
                 SessionSettings settings)
    : grammar_(grammar), library_(library), history_(history), settings_(std::move(settings)) {}

LineResult Session::run(std::string_view line) {
    ParseResult parsed = parse_line(grammar_, mode_, line);
    if (auto* error = std::get_if<ParseError>(&parsed)) {
        return {LineOutcome::not_understood, std::move(*error)};
    }
    const auto* command = std::get_if<ParsedCommand>(&parsed);
    if (command == nullptr) {
        return {};
    }
    const bool is_configuration = command->command->mode && grammar_.modes[command->mode].parent;
    if (is_configuration && command->mode != mode_) {
        enter_mode(command->mode);
    }
    const std::uint32_t result = execute(*command);
    if (result != 0) {
        return {LineOutcome::command_failed, {}};
    }
    if (command->command->entered_mode && !command->no_form) {
        enter_mode(*command->command->entered_mode);
    }
    return {};
}

std::uint32_t Session::execute(const ParsedCommand& command) {
    const bool with_pager =
        settings_.with_pager && is_display(*command.command) && !has_no_more(command.filters);
    if (command.filters.empty() && !with_pager) {
        return call_handler(command);
    }
    const OutputPipe pipe(command.filters, with_pager);
    return call_handler(command);
}

std::uint32_t Session::call_handler(const ParsedCommand& command) {
    if (is_built_in(*command.command)) {
        const BuiltIn& built_in = built_in_named(command.command->handler);
        if (built_in.needs_service) {
            find_service_once();
        }
        return built_in.run(*this, command);
    }
    const Handler handler = library_.handler_of(*command.command);
    find_service_once();
    HandlerContext context = context_of(command);
    return handler(context.get());
}

void Session::find_service_once() {
    if (!has_found_service_) {
        settings_.find_service();
        has_found_service_ = true;
    }
}

std::string Session::prompt() const {
    return settings_.prompt_name + std::string(grammar_.modes[mode_].prompt) + "# ";
}

void Session::enter_mode(std::size_t mode) {
    mode_ = mode;
    settings_.on_mode_change(mode);
}

void Session::leave_mode() {
    if (const std::optional<std::size_t> parent = grammar_.modes[mode_].parent) {
        enter_mode(*parent);
    } else {
        has_ended_ = true;
    }
}

void Session::return_to_exec() {
    while (grammar_.modes[mode_].parent) {
        leave_mode();
    }
}

}  // namespace callhome::shell
