#include "command_library.h"

#include <dlfcn.h>
#include <unistd.h>

#include <cstring>
#include <stdexcept>

namespace callhome::shell {

namespace {

constexpr const char* library_name = "libcallhome.so";

std::string file_to_load(const std::optional<std::filesystem::path>& named) {
    if (named) {
        return std::filesystem::absolute(*named);
    }
    std::string beside = program_folder() / library_name;
    return access(beside.c_str(), R_OK) == 0 ? beside : std::string(library_name);
}

Handler handler_named(void* library, std::string_view name) {
    // POSIX gives function addresses as object pointers.
    void* symbol = dlsym(library, std::string(name).c_str());
    Handler handler = nullptr;
    static_assert(sizeof handler == sizeof symbol);
    std::memcpy(&handler, &symbol, sizeof handler);
    return handler;
}

}  // namespace

std::filesystem::path program_folder() {
    std::error_code error;
    return std::filesystem::read_symlink("/proc/self/exe", error).parent_path();
}

void CommandLibrary::load() {
    if (!handlers_.empty()) {
        return;
    }
    const std::string file = file_to_load(file_);
    // Never closed: handlers stay in use until the process ends.
    void* library = dlopen(file.c_str(), RTLD_LAZY | RTLD_LOCAL);
    if (library == nullptr) {
        throw std::runtime_error(std::string("the command library cannot be loaded: ") + dlerror());
    }
    std::vector<Handler> handlers;
    for (const Command& command : grammar_.commands) {
        const Handler handler = is_built_in(command) ? nullptr : handler_named(library, command.handler);
        if (handler == nullptr && !is_built_in(command)) {
            throw std::runtime_error(grammar_.file + ":" + std::to_string(command.line) + ": " + file +
                                     " has no handler " + std::string(command.handler) + " for \"" +
                                     readable_syntax(command) + "\"");
        }
        handlers.push_back(handler);
    }
    handlers_ = std::move(handlers);
}

Handler CommandLibrary::handler_of(const Command& command) {
    load();
    return handlers_[static_cast<std::size_t>(&command - grammar_.commands.data())];
}

}  // namespace callhome::shell
