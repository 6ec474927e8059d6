// The socket that clients connect to.
#pragma once

#include <filesystem>
#include <optional>

#include "server/local_socket.h"

namespace callhome::service {

class Listener {
 public:
    // Creates the socket, and its folder when there is none. A socket that nobody listens on any more is
    // taken away first. Throws AlreadyRunning, or std::runtime_error that says what is in the way.
    Listener(const std::filesystem::path& path, SocketAccess access);

    // A socket that the service manager has opened and keeps. Nothing when it has passed none; throws
    // std::runtime_error when it has passed something else than one listening stream socket.
    static std::optional<Listener> from_service_manager();

    ~Listener();
    Listener(Listener&& other) noexcept;
    Listener(const Listener&) = delete;
    Listener& operator=(const Listener&) = delete;
    Listener& operator=(Listener&&) = delete;

    // The caller closes the descriptor; the path goes with this object.
    int release();
    const std::filesystem::path& path() const { return path_; }

 private:
    explicit Listener(int descriptor) : descriptor_(descriptor) {}

    int descriptor_ = -1;
    std::filesystem::path path_;  // empty when it is not ours to take away
};

}  // namespace callhome::service
