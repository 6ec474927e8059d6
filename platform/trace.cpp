// The trace buffers and the memory statistics of the service, shown.
#include <algorithm>
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include "lines.h"
#include "platform/interface.h"
#include "platform/reference.h"

namespace callhome::platform {
namespace {

constexpr int failed = -1;
constexpr std::uint32_t display_command = 1;  // class of the command, see shell_print_mts_error
constexpr std::size_t lines_of_end = 20;      // a screen

constexpr std::uint32_t service_destination = 0xFE000000;
constexpr std::uint32_t memory_opcode = 66;
constexpr const char* memory_function = "mtrack_dump_memstats";

// False after telling why.
bool read_lines(const char* buffer, std::vector<std::string>& lines) {
    std::string text;
    const ServiceStatus status = read_trace_buffer(buffer == nullptr ? "" : buffer, text);
    if (status != 0) {
        tell_failure(status, display_command);
        return false;
    }
    each_line(text, [&](std::string_view line) { lines.emplace_back(line); });
    return true;
}

int give_lines(const char* buffer, int first, void* (*take)(const char*, void*), void* arg) {
    std::vector<std::string> lines;
    if (take == nullptr || !read_lines(buffer, lines)) {
        return failed;
    }
    const auto passed_over = std::min(static_cast<std::size_t>(std::max(first, 1)) - 1, lines.size());
    for (std::size_t index = passed_over; index < lines.size(); ++index) {
        take(lines[index].c_str(), arg);
    }
    return static_cast<int>(lines.size() - passed_over);
}

int show_lines(const char* buffer, bool whole) {
    std::vector<std::string> lines;
    if (!read_lines(buffer, lines)) {
        return failed;
    }
    const std::size_t shown = whole ? lines.size() : std::min(lines.size(), lines_of_end);
    for (std::size_t index = lines.size() - shown; index < lines.size(); ++index) {
        std::puts(lines[index].c_str());
    }
    return static_cast<int>(shown);
}

int show_memory(bool with_detail) {
    std::string text;
    const ServiceStatus status = read_memory_statistics(with_detail, text);
    if (status != 0) {
        tell_failure(status, display_command);
        return failed;
    }
    std::fwrite(text.data(), 1, text.size(), stdout);
    return 0;
}

bool asks_for_memory(std::uint32_t destination, std::uint32_t opcode, const void* request,
                     std::uint32_t length, const char* function) {
    return destination == service_destination && opcode == memory_opcode && request != nullptr &&
           length == sizeof(MemoryDumpRequest) && function != nullptr &&
           std::strcmp(function, memory_function) == 0;
}

// Nothing is thrown out of the C interface.
template <typename Show>
int shown_or_failed(Show show) {
    try {
        return show();
    } catch (...) {
        std::fputs("There is no memory for the display\n", stderr);
        return failed;
    }
}

}  // namespace
}  // namespace callhome::platform

namespace platform = callhome::platform;

extern "C" int tracebuf_get_by_line(const char* buffer, int first, void* (*line)(const char*, void*),
                                    void* arg) {
    return platform::shown_or_failed([&] { return platform::give_lines(buffer, first, line, arg); });
}

extern "C" int tracebuf_dump_console(const char* buffer, int whole) {
    return platform::shown_or_failed([&] { return platform::show_lines(buffer, whole != 0); });
}

extern "C" int debug_trace_dump(uint32_t /*transport_handle*/, uint32_t destination, uint32_t opcode,
                                void* request, uint32_t length, const char* function) {
    if (!platform::asks_for_memory(destination, opcode, request, length, function)) {
        std::fputs("This platform has no such dump\n", stderr);
        return platform::failed;
    }
    MemoryDumpRequest words{};
    std::memcpy(&words, request, sizeof words);
    return platform::shown_or_failed([&] { return platform::show_memory(words.detail != 0); });
}
