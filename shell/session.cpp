#include "session.h"

#include <unistd.h>

#include <algorithm>
#include <cstdio>

#include "built_ins.h"
#include "documents.h"
#include "inner_filter.h"
#include "output_pipe.h"

namespace callhome::shell {

namespace {

bool has_no_more(const std::vector<FilterSpec>& filters) {
    for (const FilterSpec& filter : filters) {
        if (filter.kind == FilterKind::no_more) {
            return true;
        }
    }
    return false;
}

// A form and "no-more" need no process that goes through the lines.
bool selects_lines(const std::vector<FilterSpec>& filters) {
    return std::any_of(filters.begin(), filters.end(), [](const FilterSpec& filter) {
        return !is_format(filter.kind) && filter.kind != FilterKind::no_more;
    });
}

// Only a document has members.
platform::Members members_for(const Command& command, platform::OutputFormat format) {
    return format == platform::OutputFormat::text ? platform::Members{} : document_members(command);
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
    const bool with_pager = settings_.with_pager && !is_within_command_ && is_display(*command.command) &&
                            !has_no_more(command.filters);
    const bool on_terminal = isatty(STDOUT_FILENO) != 0;  // also at the far end of filters and pager
    std::optional<OutputPipe> pipe;
    std::optional<InnerFilter> inner_filter;
    if (is_within_command_ && selects_lines(command.filters)) {
        inner_filter.emplace(command.filters);
    } else if (with_pager || selects_lines(command.filters)) {
        pipe.emplace(command.filters, with_pager);
    }
    return is_built_in(*command.command) ? run_built_in(command, on_terminal)
                                         : call_handler(command, on_terminal);
}

std::uint32_t Session::run_built_in(const ParsedCommand& command, bool on_terminal) {
    const BuiltIn& built_in = built_in_named(command.command->handler);
    if (built_in.needs_service) {
        find_service_once();
    }
    const platform::CommandOutput output = open_output(command, on_terminal);
    return built_in.run(*this, command);
}

std::uint32_t Session::call_handler(const ParsedCommand& command, bool on_terminal) {
    const BoundHandler handler = library_.handler_of(*command.command);
    find_service_once();
    HandlerContext context = context_of(command);
    const platform::CommandOutput output = open_output(command, on_terminal);
    return handler(context.get());
}

platform::CommandOutput Session::open_output(const ParsedCommand& command, bool on_terminal) const {
    const platform::OutputFormat format = format_of(command);
    return {format, members_for(*command.command, format), on_terminal};
}

platform::OutputFormat Session::format_of(const ParsedCommand& command) const {
    const FilterKind first = command.filters.empty() ? FilterKind::no_more : command.filters.front().kind;
    if (is_format(first)) {
        return first == FilterKind::json ? platform::OutputFormat::json : platform::OutputFormat::xml;
    }
    return is_display(*command.command) ? settings_.output : platform::OutputFormat::text;
}

void Session::find_service_once() {
    if (!has_found_service_) {
        settings_.find_service();
        has_found_service_ = true;
    }
}

void Session::run_within_command(const std::function<void()>& run_lines) {
    const std::size_t mode = mode_;
    const platform::ShownAsText shown_as_text;
    is_within_command_ = true;
    run_lines();
    is_within_command_ = false;
    has_ended_ = false;
    if (mode_ != mode) {
        enter_mode(mode);
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
