// AF_UNIX sockets that stand in the file system.
#pragma once

#include <filesystem>
#include <stdexcept>

namespace callhome::service {

// Somebody else serves what this process was to serve.
struct AlreadyRunning : std::runtime_error {
    using std::runtime_error::runtime_error;
};

enum class SocketAccess {
    everyone,  // who may do what is decided otherwise
    own_user,
};

// Creates a socket of `type` at `path`, bound, and its folder when there is none. The socket of a process
// that has gone is taken away first. Gives the descriptor. Throws AlreadyRunning, or std::runtime_error
// that says what is in the way; `option` is where another path can be named.
int bind_local_socket(const std::filesystem::path& path, int type, SocketAccess access, const char* option);

}  // namespace callhome::service
