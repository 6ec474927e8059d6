#include "machine.h"

#include <charconv>
#include <cstring>
#include <fstream>
#include <initializer_list>
#include <string_view>

#include "table.h"
#include "words.h"

namespace callhome::shell {

namespace {

constexpr std::size_t longest_text = 256;  // bytes; firmware may say anything
constexpr std::uint32_t kib_in_mib = 1024;

std::string one_line(std::string_view text) {
    return printable(trimmed(text.substr(0, longest_text)), KeepLineEnds::no);
}

// The first line of the first file that has one. Texts of a device tree end in NUL.
std::string first_line_of(const std::filesystem::path& root, std::initializer_list<const char*> files) {
    for (const char* name : files) {
        std::ifstream file(root / name);
        std::string line;
        if (std::getline(file, line)) {
            line = one_line(line.c_str());
        }
        if (!line.empty()) {
            return line;
        }
    }
    return {};
}

// Calls `take` with what stands behind each line's beginning, `key`.
template <typename Take>
void each_value(const std::filesystem::path& name, std::string_view key, Take take) {
    std::ifstream file(name);
    for (std::string line; std::getline(file, line);) {
        if (line.starts_with(key)) {
            take(std::string_view(line).substr(key.size()));
        }
    }
}

std::string_view behind_colon(std::string_view text) {
    const std::size_t colon = text.find(':');
    return colon == std::string_view::npos ? text : trimmed(text.substr(colon + 1));
}

std::uint32_t number_in(std::string_view text) {
    std::uint64_t number = 0;
    const std::string_view digits = trimmed(text);
    std::from_chars(digits.data(), digits.data() + digits.size(), number);
    return static_cast<std::uint32_t>(number / kib_in_mib);
}

}  // namespace

Machine read_machine(const std::filesystem::path& root) {
    Machine machine;
    machine.vendor = first_line_of(root, {"sys/class/dmi/id/sys_vendor", "sys/class/dmi/id/board_vendor"});
    machine.product = first_line_of(root, {"sys/class/dmi/id/product_name", "proc/device-tree/model"});
    machine.version = first_line_of(root, {"sys/class/dmi/id/product_version"});
    const std::filesystem::path processors = root / "proc/cpuinfo";
    each_value(processors, "processor\t", [&](std::string_view) { ++machine.processors; });
    each_value(processors, "model name",
               [&](std::string_view value) { machine.processor = one_line(behind_colon(value)); });
    each_value(root / "proc/meminfo",
               "MemTotal:", [&](std::string_view value) { machine.memory_mib = number_in(value); });
    return machine;
}

std::string distribution_name(const std::filesystem::path& root) {
    std::string name;
    each_value(root / "etc/os-release", "PRETTY_NAME=", [&](std::string_view value) {
        while (!value.empty() && (value.front() == '"' || value.front() == '\'')) {
            value.remove_prefix(1);
        }
        while (!value.empty() && (value.back() == '"' || value.back() == '\'')) {
            value.remove_suffix(1);
        }
        name = one_line(value);
    });
    return name;
}

}  // namespace callhome::shell
