#include "platform/command_output.h"

#include <unistd.h>

#include <stdio_ext.h>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <memory>
#include <optional>
#include <system_error>
#include <utility>

#include "clean_text.h"
#include "document.h"
#include "lines.h"
#include "running_output.h"
#include "tag_table.h"

namespace callhome::platform {
namespace {

enum class EmptyLines : std::uint8_t { kept, dropped };

void add_lines(Document& document, std::string_view list, std::string_view text, EmptyLines empty) {
    each_line(text, [&](std::string_view line) {
        if (!line.empty() || empty == EmptyLines::kept) {
            document.set(list, std::string(line));
        }
    });
}

struct Running {
    Running(OutputFormat chosen, const Members& members, bool on_terminal)
        : format(chosen), cleaner(on_terminal ? ControlCharacters::made_visible : ControlCharacters::kept) {
        if (format != OutputFormat::text) {
            document.emplace(members);
        }
    }

    OutputFormat format;
    TextCleaner cleaner;
    std::optional<Document> document;
    std::string text, configuration;  // what comes in pieces, until its lines go into the document
    std::FILE* stream = nullptr;
    std::FILE* real_output = nullptr;
};

// Freed when its command ends, so that it is there as long as anything can be printed.
Running* running = nullptr;

bool is_shown_as_text = false;

bool put_out(std::FILE* file, std::string_view text) {
    const bool is_taken = std::fwrite(text.data(), 1, text.size(), file) == text.size();
    return std::fflush(file) == 0 && is_taken;
}

// By way of the stream, so that it keeps its place among what handlers print by themselves.
void print(std::string_view text) {
    (void)std::fwrite(text.data(), 1, text.size(), stdout);
}

// What the stream has gathered. Failures are marked on the real output, where they are looked for.
ssize_t take_written(void* cookie, const char* data, std::size_t size) {
    auto& output = *static_cast<Running*>(cookie);
    const std::string_view piece(data, size);
    try {
        if (output.document) {
            output.text += piece;
            return static_cast<ssize_t>(size);
        }
        return put_out(output.real_output, output.cleaner.take(piece)) ? static_cast<ssize_t>(size) : 0;
    } catch (const std::exception&) {
        errno = ENOMEM;
        return 0;
    }
}

bool is_buffered_by_line(std::FILE* file) {
    return __flbf(file) != 0 || isatty(fileno(file)) == 1;
}

void open_stream(Running& output) {
    cookie_io_functions_t functions{};
    functions.write = take_written;
    std::FILE* stream = fopencookie(&output, "w", functions);
    if (stream == nullptr) {
        throw std::system_error(errno, std::generic_category(), "there is no stream for the output");
    }
    output.stream = stream;
    output.real_output = stdout;
    (void)std::setvbuf(stream, nullptr, is_buffered_by_line(stdout) ? _IOLBF : _IOFBF, BUFSIZ);
    stdout = stream;
}

std::string document_text(Running& output) {
    if (!is_layout(output.text)) {
        add_lines(*output.document, text_lines, output.text, EmptyLines::kept);
    }
    // Empty lines only set the parts of a configuration off from each other.
    add_lines(*output.document, configuration_lines, output.configuration, EmptyLines::dropped);
    return output.format == OutputFormat::json ? output.document->json() : output.document->xml();
}

// Writes what is left, and gives `stdout` back.
void end_output() {
    const std::unique_ptr<Running> output(running);
    running = nullptr;
    // Not `stdout`: in its place may be a stream of the command's own. What this one could not write is
    // marked on the real output.
    (void)std::fclose(output->stream);
    stdout = output->real_output;
    try {
        put_out(stdout, output->document ? document_text(*output) : output->cleaner.finish());
    } catch (const std::exception& error) {
        std::fprintf(stderr, "%% The output cannot be shown: %s\n", error.what());
    }
}

// Runs `change` on the document of the running command, if there is one.
template <typename Change>
void change_document(Change change) {
    if (is_output_structured()) {
        change(*running, *running->document);
    }
}

void note_early_end() {
    is_shown_as_text = false;  // whatever runs inside has ended, too
    change_document([](Running&, Document& document) {
        document.set(error_lines, std::string("the command ended before its display was complete"));
    });
}

}  // namespace

CommandOutput::CommandOutput(OutputFormat format, const Members& members, bool on_terminal)
    : is_outermost_(running == nullptr) {
    if (!is_outermost_) {
        return;
    }
    static const bool is_registered = std::atexit(end_at_exit) == 0;
    (void)is_registered;
    auto output = std::make_unique<Running>(format, members, on_terminal);
    open_stream(*output);
    running = output.release();
}

CommandOutput::~CommandOutput() {
    if (!is_outermost_ || running == nullptr) {
        return;
    }
    if (std::uncaught_exceptions() > 0) {
        note_early_end();
    }
    end_output();
}

void CommandOutput::end_at_exit() {
    if (running == nullptr) {
        return;
    }
    note_early_end();
    end_output();
}

ShownAsText::ShownAsText() : before_(std::exchange(is_shown_as_text, true)) {}

ShownAsText::~ShownAsText() {
    is_shown_as_text = before_;
}

bool is_output_structured() {
    return running != nullptr && running->document && !is_shown_as_text;
}

void begin_element(std::string_view list) {
    change_document([&](Running&, Document& document) { document.begin_element(list); });
}

void set_value(std::string_view place, const Value& value) {
    change_document([&](Running&, Document& document) { document.set(place, value); });
}

void add_tuple(std::uint32_t tag, std::string_view shown) {
    change_document([&](Running&, Document& document) {
        if (tag == error_tag) {
            add_lines(document, error_lines, shown, EmptyLines::dropped);
        } else if (!take_tuple(document, tag, shown)) {
            print(shown);
        }
    });
}

void show_configuration(std::string_view text) {
    if (is_output_structured()) {
        running->configuration += text;
    } else {
        print(text);
    }
}

}  // namespace callhome::platform
