#include "requests/info_lines.h"

#include <fmt/format.h>

#include <array>
#include <fstream>

namespace callhome::service {
namespace {

struct MemoryLine {
    std::string_view key;  // of /proc/self/status
    std::string_view name;
};

constexpr std::array memory_lines{
    MemoryLine{"VmRSS:", "Resident"},     MemoryLine{"VmHWM:", "Resident at most"},
    MemoryLine{"VmSize:", "Virtual"},     MemoryLine{"VmData:", "Data"},
    MemoryLine{"VmSwap:", "Swapped out"}, MemoryLine{"Threads:", "Threads"},
};

}  // namespace

std::string line_of(std::string_view name, std::string_view value) {
    return fmt::format("{:<27} {}\n", fmt::format("{}:", name), value);
}

std::string line_of(std::string_view name, std::uint64_t value) {
    return line_of(name, fmt::format("{}", value));
}

std::string process_memory_text() {
    std::string text;
    std::ifstream status("/proc/self/status");
    for (std::string line; std::getline(status, line);) {
        for (const MemoryLine& wanted : memory_lines) {
            const std::size_t value = line.find_first_not_of(" \t", wanted.key.size());
            if (line.starts_with(wanted.key) && value != std::string::npos) {
                text += line_of(wanted.name, line.substr(value));
            }
        }
    }
    return text.empty() ? "The system does not say.\n" : text;
}

}  // namespace callhome::service
