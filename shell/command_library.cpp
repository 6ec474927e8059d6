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

// POSIX gives function addresses as object pointers.
template <typename Function>
Function as_function(void* symbol) {
    Function function = nullptr;
    static_assert(sizeof function == sizeof symbol);
    std::memcpy(&function, &symbol, sizeof function);
    return function;
}

}  // namespace

std::uint32_t BoundHandler::operator()(CommandContext* context) const {
    return takes_nothing_ ? as_function<HandlerOfNothing>(symbol_)()
                          : as_function<Handler>(symbol_)(context);
}

std::filesystem::path program_folder() {
    std::error_code error;
    return std::filesystem::read_symlink("/proc/self/exe", error).parent_path();
}

void CommandLibrary::load() {
    if (!handlers_.empty()) {
        return;
    }
    const std::string file = file_to_load(file_);
    library_ = dlopen(file.c_str(), RTLD_LAZY | RTLD_LOCAL);
    if (library_ == nullptr) {
        throw std::runtime_error(std::string("the command library cannot be loaded: ") + dlerror());
    }
    std::vector<void*> handlers;
    for (const Command& command : grammar_.commands) {
        void* handler =
            is_built_in(command) ? nullptr : dlsym(library_, std::string(command.handler).c_str());
        if (handler == nullptr && !is_built_in(command)) {
            throw std::runtime_error(grammar_.file + ":" + std::to_string(command.line) + ": " + file +
                                     " has no handler " + std::string(command.handler) + " for \"" +
                                     readable_syntax(command) + "\"");
        }
        handlers.push_back(handler);
    }
    handlers_ = std::move(handlers);
}

BoundHandler CommandLibrary::handler_of(const Command& command) {
    load();
    return {handlers_[static_cast<std::size_t>(&command - grammar_.commands.data())],
            command.takes_nothing};
}

void* CommandLibrary::symbol(const char* name) {
    load();
    void* symbol = dlsym(library_, name);
    if (symbol == nullptr) {
        throw std::runtime_error(std::string("the command library has no ") + name);
    }
    return symbol;
}

Handler CommandLibrary::handler_named(const char* name) {
    return as_function<Handler>(symbol(name));
}

Generator CommandLibrary::generator_named(const char* name) {
    return as_function<Generator>(symbol(name));
}

std::uint32_t& CommandLibrary::variable_named(const char* name) {
    return *static_cast<std::uint32_t*>(symbol(name));
}

}  // namespace callhome::shell
