// The shell's command line.
#pragma once

#include <filesystem>
#include <optional>
#include <span>
#include <stdexcept>
#include <string>
#include <vector>

#include "platform/command_output.h"

namespace callhome::shell {

struct ScriptSource {
    bool is_file = false;
    std::string text;  // a command, or the name of a file
};

struct Options {
    std::vector<ScriptSource> sources;  // in the order given; none: standard input
    bool echo = false;
    bool keep_going = false;
    bool standby = false;
    bool show_help = false;
    bool show_version = false;
    bool dump_commands = false;
    std::optional<std::filesystem::path> schema_folder;  // --dump-schemas
    platform::OutputFormat output = platform::OutputFormat::text;
    std::optional<std::string> socket;
    std::optional<std::string> prompt_name;
    std::optional<std::filesystem::path> library;
};

class UsageError : public std::runtime_error {
 public:
    using std::runtime_error::runtime_error;
};

// `arguments` without the program's name. Throws UsageError.
Options read_options(std::span<const char* const> arguments);

std::string usage();

}  // namespace callhome::shell
