#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <new>
#include <utility>

#include "lines.h"
#include "platform/command_output.h"
#include "platform/interface.h"
#include "platform/reference.h"
#include "running_output.h"
#include "typing_order.h"

namespace callhome::platform {
namespace {

constexpr std::size_t indentation_width = 2;  // blanks a level
constexpr int failed = -1;

struct Released {
    void operator()(char* text) const { std::free(text); }
};

// Takes what generators write, cuts it into lines, and hands them on in an order in which they can be
// typed. The empty lines that some generators put between their parts are no commands: they are dropped.
class Collector {
 public:
    Collector(TypingOrder::Write write, TypingOrder::Distribution distribution,
              std::function<void(std::string_view)> on_line)
        : order_(std::move(write), distribution), on_line_(std::move(on_line)) {}

    void take(std::string_view text) {
        for (std::size_t end = 0; (end = text.find('\n')) != std::string_view::npos;) {
            partial_line_.append(text.substr(0, end));
            take_line();
            text.remove_prefix(end + 1);
        }
        partial_line_.append(text);
    }

    void finish(TypingOrder::Ending ending) {
        take_line();
        order_.finish(ending);
    }

 private:
    void take_line() {
        const std::string line = std::exchange(partial_line_, {});
        if (!line.empty()) {
            on_line_(line);
            order_.take(line);
        }
    }

    TypingOrder order_;
    std::function<void(std::string_view)> on_line_;
    std::string partial_line_;
};

// A framed block while it is being written.
class BlockWriter {
 public:
    explicit BlockWriter(const ConfigurationBlock& block)
        : block_(block),
          lines_(
              [this](std::string_view line) {
                  tell(line);  // also of lines that were added
                  show(line);
              },
              block.is_distributed ? TypingOrder::Distribution::on : TypingOrder::Distribution::off,
              [this](std::string_view line) { tell(line); }) {}

    void take(std::string_view text) { lines_.take(text); }

    // The driver asks at its end, before it writes "commit" or its last empty line, whether the block is
    // framed: what had to wait for all other lines goes here.
    void end_of_driver() {
        if (!std::exchange(driver_has_ended_, true) && block_.last_lines) {
            block_.last_lines([this](std::string_view line) { show(line); });
        }
        const bool commit_follows =
            block_.is_distributed && block_.data_present != nullptr && *block_.data_present != 0;
        lines_.finish(commit_follows ? TypingOrder::Ending::before_commit : TypingOrder::Ending::plain);
    }

    void finish() { lines_.finish(TypingOrder::Ending::plain); }

    void show_mode_line() {
        if (!std::exchange(mode_line_is_shown_, true)) {
            show_configuration_line(block_.mode_line, block_.level - 1);
        }
    }

    int commands() const { return commands_; }
    bool driver_has_ended() const { return driver_has_ended_; }

 private:
    void tell(std::string_view line) const {
        if (block_.on_line) {
            block_.on_line(line);
        }
    }

    void show(std::string_view line) {
        show_mode_line();
        show_configuration_line(line, block_.level);
        ++commands_;
    }

    const ConfigurationBlock& block_;
    Collector lines_;
    int commands_ = 0;
    bool mode_line_is_shown_ = false;
    bool driver_has_ended_ = false;
};

// Where the lines go; both null: to standard output as they are.
BlockWriter* block = nullptr;
Collector* collector = nullptr;
int unframed_commands = 0;  // written since the output was opened

// Puts a value in a place for as long as it lives.
template <typename Value>
class Replaced {
 public:
    Replaced(Value& place, Value value) : place_(place), before_(std::exchange(place, value)) {}
    Replaced(const Replaced&) = delete;
    Replaced& operator=(const Replaced&) = delete;
    ~Replaced() { place_ = before_; }

 private:
    Value& place_;
    Value before_;
};

// A stream into memory.
class MemoryStream {
 public:
    MemoryStream() : stream_(open_memstream(&text_, &length_)) {
        if (stream_ == nullptr) {
            throw std::bad_alloc();
        }
    }
    MemoryStream(const MemoryStream&) = delete;
    MemoryStream& operator=(const MemoryStream&) = delete;
    ~MemoryStream() {
        (void)std::fclose(stream_);
        std::free(text_);
    }

    std::FILE* stream() const { return stream_; }
    std::string text() const {
        (void)std::fflush(stream_);
        return {text_, length_};
    }

 private:
    char* text_ = nullptr;
    std::size_t length_ = 0;
    std::FILE* stream_;
};

// In a document: the lines of a text, without the empty ones that only separate.
void document_lines(std::string_view text) {
    each_line(text, [](std::string_view line) {
        if (const std::size_t begin = line.find_first_not_of(' '); begin != std::string_view::npos) {
            show_configuration_line(line.substr(begin));
        }
    });
}

void take(std::string_view text) {
    if (block != nullptr) {
        block->take(text);
    } else if (collector != nullptr) {
        collector->take(text);
    } else {
        ++unframed_commands;
        show_configuration(text);
    }
}

}  // namespace

void show_configuration_line(std::string_view line, std::size_t level) {
    // The document keeps the lines as they can be typed; the indentation is for the eye.
    const std::size_t width = is_output_structured() ? 0 : level * indentation_width;
    show_configuration(std::string(width, ' ').append(line).append("\n"));
}

bool write_configuration_block(const ConfigurationBlock& settings, const std::function<void()>& generate) {
    BlockWriter writer(settings);
    const Replaced active(block, &writer);
    if (!is_output_structured()) {
        generate();
        writer.finish();
        return writer.driver_has_ended();
    }
    // The driver's own "commit" is a line of the configuration like the others.
    (void)std::fflush(stdout);
    const MemoryStream printed;
    {
        const Replaced output(stdout, printed.stream());
        generate();
    }
    writer.finish();
    document_lines(printed.text());
    return writer.driver_has_ended();
}

CollectedConfiguration collect_configuration(const std::function<void()>& generate) {
    CollectedConfiguration collected;
    Collector lines([&](std::string_view line) { collected.lines.emplace_back(line); },
                    TypingOrder::Distribution::off, [](std::string_view) {});
    (void)std::fflush(stdout);
    const MemoryStream printed;
    {
        const Replaced active(collector, &lines);
        const Replaced output(stdout, printed.stream());
        generate();
    }
    lines.finish(TypingOrder::Ending::plain);
    collected.printed = printed.text();
    return collected;
}

}  // namespace callhome::platform

namespace platform = callhome::platform;

extern "C" void cfgout_cmd_init(CommandContext* /*request*/) {
    platform::unframed_commands = 0;
}

extern "C" int cfgout_start_stop_get() {
    if (platform::block == nullptr) {
        return 0;
    }
    try {
        platform::block->end_of_driver();
    } catch (...) {
        std::fputs("There is no memory for the whole running configuration\n", stderr);
    }
    return 1;
}

extern "C" int cfgout_cmd_count_get() {
    return platform::block == nullptr ? platform::unframed_commands : platform::block->commands();
}

extern "C" void cfgout_cmd_punch() {
    if (platform::block != nullptr) {
        platform::block->show_mode_line();
    }
}

extern "C" int cfgout_buf_printf(const char* format, ...) {
    char* written = nullptr;
    std::va_list arguments;
    va_start(arguments, format);
    const int length = ::vasprintf(&written, format, arguments);
    va_end(arguments);
    if (length < 0) {
        return platform::failed;
    }
    const std::unique_ptr<char, platform::Released> text(written);
    try {
        platform::take({text.get(), static_cast<std::size_t>(length)});
        return length;
    } catch (...) {
        return platform::failed;
    }
}
