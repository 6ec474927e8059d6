// libcallhome.so, loaded by name when its first command runs, and the handlers of the grammar in it.
#pragma once

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string_view>
#include <vector>

#include "grammar.h"

struct CommandContext;

namespace callhome::shell {

using Handler = std::uint32_t (*)(CommandContext*);
using HandlerOfNothing = std::uint32_t (*)();
using Generator = std::int32_t (*)(CommandContext*);  // of running-configuration text

inline constexpr char built_in_mark = '@';  // before the name of a handler that is the shell's own

inline bool is_built_in(const Command& command) {
    return command.handler.starts_with(built_in_mark);
}

// A command's handler as it is to be called.
class BoundHandler {
 public:
    BoundHandler(void* symbol, bool takes_nothing) : symbol_(symbol), takes_nothing_(takes_nothing) {}

    std::uint32_t operator()(CommandContext* context) const;

 private:
    void* symbol_;
    bool takes_nothing_;
};

class CommandLibrary {
 public:
    // `file` names another library than the one beside the program, else on the system's library path.
    CommandLibrary(const Grammar& grammar, std::optional<std::filesystem::path> file)
        : grammar_(grammar), file_(std::move(file)) {}

    // Loads the library if need be. Throws std::runtime_error when it cannot be loaded, or when a command
    // of the grammar has no handler in it; the message names the line of the grammar.
    BoundHandler handler_of(const Command& command);
    void load();

    // What the shell itself uses of the library. Loads it if need be. Throws std::runtime_error when the
    // library does not have it.
    Handler handler_named(const char* name);
    Generator generator_named(const char* name);
    std::uint32_t& variable_named(const char* name);

 private:
    void* symbol(const char* name);

    const Grammar& grammar_;
    std::optional<std::filesystem::path> file_;
    void* library_ = nullptr;      // never closed: handlers stay in use until the process ends
    std::vector<void*> handlers_;  // by command; null for those of the shell itself
};

// The folder of the running program.
std::filesystem::path program_folder();

}  // namespace callhome::shell
