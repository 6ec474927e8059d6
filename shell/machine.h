// What machine this is, as its firmware and its system tell.
#pragma once

#include <cstdint>
#include <filesystem>
#include <string>

namespace callhome::shell {

// A text is empty where the machine does not tell.
struct Machine {
    std::string vendor, product, version;
    std::string processor;
    std::uint32_t processors = 0;  // that run now
    std::uint32_t memory_mib = 0;
};

// `root` is where sys and proc are looked for.
Machine read_machine(const std::filesystem::path& root = "/");

// The name of the distribution, from etc below `root`.
std::string distribution_name(const std::filesystem::path& root = "/");

}  // namespace callhome::shell
