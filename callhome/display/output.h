// What show handlers print through the structured output.
#pragma once

#include <cstddef>
#include <cstdint>

#include "callhome/context.h"
#include "callhome/data.h"
#include "frame/outcome.h"
#include "frame/reply.h"
#include "platform/interface.h"

namespace callhome::library {

inline constexpr std::uint32_t tag_error = 0;
inline constexpr void* end_of_tuples = nullptr;

// Sets the handle `h`. Without one it says so, by the name and the line of the handler, and gives false.
bool begin_output(CommandContext& ctx, const char* handler, int line);

// One tuple through the handle `h`.
inline void print_tuple(std::uint32_t tag, const char* format, const char* value) {
    cli_print(h, format, cli_tuple(tag, value), end_of_tuples);
}

// Formats a line into `buffer`, whose content it becomes. A line that is too long for the buffer is cut,
// but keeps its line end.
[[gnu::format(printf, 1, 2)]] void format_line(const char* format, ...);

// The same, and prints the line as one tuple.
[[gnu::format(printf, 2, 3)]] void print_line(std::uint32_t tag, const char* format, ...);

inline void print_empty_line() {
    cli_print(h, "\n", end_of_tuples);
}

// The error line of a request that failed: the transport's own one, or the status as a number and
// `number_end`.
void print_refusal(ServiceStatus status, const char* number_end);

// The error line for an answer that ended before the record that is needed.
void print_incomplete(std::uint32_t got, std::size_t needed);

// Runs the show command `handler`: only with a handle, `show` only on the active supervisor, and what was
// printed is sent once, whatever comes of it.
template <typename Show>
std::uint32_t run_display(CommandContext& ctx, const char* handler, int line, Show show) {
    if (!begin_output(ctx, handler, line)) {
        return failed;
    }
    std::uint32_t result = failed;
    if (ctx.active_sup != active) {
        print_line(tag_error, "%s", active_sup_only);
    } else {
        cmd_type = class_exec;
        result = show();
    }
    cli_print_send(h);
    return result;
}

}  // namespace callhome::library
