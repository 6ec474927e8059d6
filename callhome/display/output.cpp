#include "display/output.h"

#include <cinttypes>
#include <cstdarg>
#include <cstdio>
#include <cstring>

namespace callhome::library {
namespace {

[[gnu::format(printf, 1, 0)]] void format_arguments(const char* format, std::va_list arguments) {
    const int length = std::vsnprintf(buffer, sizeof buffer, format, arguments);
    const bool is_cut = length >= static_cast<int>(sizeof buffer);
    if (is_cut && format[std::strlen(format) - 1] == '\n') {
        buffer[sizeof buffer - 2] = '\n';  // before the terminator
    }
}

}  // namespace

bool begin_output(CommandContext& ctx, const char* handler, int line) {
    h = cli_reply_handle_from_param(&ctx);
    if (h == nullptr) {
        std::printf("%s:%d cli_reply_handle_from_param failed\n", handler, line);
    }
    return h != nullptr;
}

void format_line(const char* format, ...) {
    std::va_list arguments;
    va_start(arguments, format);
    format_arguments(format, arguments);
    va_end(arguments);
}

void print_line(std::uint32_t tag, const char* format, ...) {
    std::va_list arguments;
    va_start(arguments, format);
    format_arguments(format, arguments);
    va_end(arguments);
    print_tuple(tag, "%s", buffer);
}

void print_refusal(ServiceStatus status, const char* number_end) {
    if (status == code(protocol::Status::transport_failed)) {
        print_line(tag_error, "%s", transport_error);
    } else {
        print_line(tag_error, "%" PRId32 "%s", status, number_end);
    }
}

void print_incomplete(std::uint32_t got, std::size_t needed) {
    print_line(tag_error, "The answer of the call-home service was incomplete (%" PRIu32 " of %zu bytes)\n",
               got, needed);
}

}  // namespace callhome::library
