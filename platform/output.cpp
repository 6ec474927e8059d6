#include <unistd.h>

#include <cstdarg>
#include <cstdio>
#include <deque>
#include <string>

#include "platform/interface.h"
#include "text_format.h"

namespace callhome::platform {
namespace {

// One piece of output with its meaning.
struct Tuple {
    std::uint32_t tag;
    std::string value;
    std::string text;  // the value as it was shown
};

// The output of the running command. There is one: a process runs one command at a time.
struct OutputHandle {
    std::deque<Tuple> tuples;  // never moved while the handle is in use: callers hold their addresses
    // A terminal would obey the control characters of a value; files and programs get them unchanged.
    bool on_terminal = false;
} output_handle;

std::string expand_tuples(const char* format, std::va_list arguments) {
    bool list_has_ended = false;  // at its null pointer, beyond which nothing is read
    return expand(format, [&](const Conversion& conversion) -> std::optional<std::string> {
        auto* tuple = list_has_ended ? nullptr : static_cast<Tuple*>(va_arg(arguments, void*));
        if (tuple == nullptr) {
            list_has_ended = true;
            return std::nullopt;
        }
        tuple->text =
            render(output_handle.on_terminal ? without_controls(tuple->value) : tuple->value, conversion);
        return tuple->text;
    });
}

constexpr int failed = -1;

}  // namespace
}  // namespace callhome::platform

using callhome::platform::failed;
using callhome::platform::output_handle;

extern "C" void* cli_reply_handle_from_param(CommandContext* /*ctx*/) {
    output_handle.tuples.clear();  // of a command that ended without sending
    output_handle.on_terminal = ::isatty(STDOUT_FILENO) == 1;
    return &output_handle;
}

extern "C" void* cli_tuple(uint32_t tag, const char* value) {
    try {
        return &output_handle.tuples.emplace_back(
            callhome::platform::Tuple{.tag = tag, .value = value == nullptr ? "" : value, .text = {}});
    } catch (...) {
        return nullptr;
    }
}

extern "C" int cli_print(void* handle, const char* format, ...) {
    if (handle != &output_handle || format == nullptr) {
        return failed;
    }
    std::va_list arguments;
    va_start(arguments, format);
    int result = failed;
    try {
        const std::string text = callhome::platform::expand_tuples(format, arguments);
        // Shown at once, so that it keeps its place among what handlers print by themselves.
        result = std::fwrite(text.data(), 1, text.size(), stdout) == text.size() ? 0 : failed;
    } catch (...) {
        result = failed;
    }
    va_end(arguments);
    return result;
}

extern "C" int cli_print_send(void* handle) {
    if (handle != &output_handle) {
        return failed;
    }
    output_handle.tuples.clear();
    return std::fflush(stdout) == 0 ? 0 : failed;
}
