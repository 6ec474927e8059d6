#include <cstdarg>
#include <cstdio>
#include <deque>
#include <string>
#include <vector>

#include "lines.h"
#include "platform/interface.h"
#include "running_output.h"
#include "text_format.h"

namespace callhome::platform {
namespace {

// One piece of output with its meaning.
struct Tuple {
    std::uint32_t tag;
    std::string value;
};

// The output of the running command. There is one: a process runs one command at a time.
struct OutputHandle {
    std::deque<Tuple> tuples;  // never moved while the handle is in use: callers hold their addresses
} output_handle;

// A tuple as it stands in the text of one line.
struct ShownTuple {
    std::uint32_t tag;
    std::string text;
};

struct Expansion {
    std::string text;
    std::vector<ShownTuple> tuples;
};

Expansion expand_tuples(const char* format, std::va_list arguments) {
    bool list_has_ended = false;  // at its null pointer, beyond which nothing is read
    Expansion expansion;
    expansion.text = expand(format, [&](const Conversion& conversion) -> std::optional<std::string> {
        auto* tuple = list_has_ended ? nullptr : static_cast<Tuple*>(va_arg(arguments, void*));
        if (tuple == nullptr) {
            list_has_ended = true;
            return std::nullopt;
        }
        expansion.tuples.push_back({tuple->tag, render(tuple->value, conversion)});
        return expansion.tuples.back().text;
    });
    return expansion;
}

bool show_text(std::string_view text) {
    return std::fwrite(text.data(), 1, text.size(), stdout) == text.size();
}

// Text without a tuple is a heading or layout, which a document has no use for.
void add_to_document(const Expansion& expansion) {
    if (expansion.tuples.size() == 1) {
        add_tuple(expansion.tuples.front().tag, expansion.text);  // with what the line says around it
        return;
    }
    for (const ShownTuple& tuple : expansion.tuples) {
        add_tuple(tuple.tag, tuple.text);
    }
}

// Shown at once, so that it keeps its place among what handlers print by themselves.
bool show(const Expansion& expansion) {
    if (is_output_structured()) {
        add_to_document(expansion);
        return true;
    }
    return show_text(expansion.text);
}

constexpr int failed = -1;

}  // namespace
}  // namespace callhome::platform

using callhome::platform::failed;
using callhome::platform::output_handle;

extern "C" void* cli_reply_handle_from_param(CommandContext* /*ctx*/) {
    output_handle.tuples.clear();  // of a command that ended without sending
    return &output_handle;
}

extern "C" void* cli_tuple(uint32_t tag, const char* value) {
    try {
        return &output_handle.tuples.emplace_back(
            callhome::platform::Tuple{.tag = tag, .value = value == nullptr ? "" : value});
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
        result =
            callhome::platform::show(callhome::platform::expand_tuples(format, arguments)) ? 0 : failed;
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
