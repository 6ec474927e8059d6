#include "server/listener.h"

#include <sys/socket.h>
#include <systemd/sd-daemon.h>
#include <unistd.h>

#include <cerrno>
#include <system_error>
#include <utility>

namespace callhome::service {
namespace {

constexpr int backlog = 128;

}  // namespace

Listener::Listener(const std::filesystem::path& path, SocketAccess access) {
    descriptor_ = bind_local_socket(path, SOCK_STREAM, access, "--socket");
    path_ = path;
    if (::listen(descriptor_, backlog) != 0) {
        const auto error =
            std::system_error(errno, std::generic_category(), "cannot listen on " + path.string());
        ::close(descriptor_);
        ::unlink(path.c_str());
        throw error;
    }
}

std::optional<Listener> Listener::from_service_manager() {
    constexpr int unset_environment = 1;
    const int passed = ::sd_listen_fds(unset_environment);
    if (passed <= 0) {
        return std::nullopt;
    }
    constexpr int must_listen = 1;
    if (passed != 1 ||
        ::sd_is_socket_unix(SD_LISTEN_FDS_START, SOCK_STREAM, must_listen, nullptr, 0) <= 0) {
        throw std::runtime_error(
            "the service manager must pass one listening AF_UNIX stream socket; check callhomed.socket");
    }
    return Listener(SD_LISTEN_FDS_START);
}

Listener::~Listener() {
    if (descriptor_ >= 0) {
        ::close(descriptor_);
    }
    if (!path_.empty()) {
        ::unlink(path_.c_str());
    }
}

Listener::Listener(Listener&& other) noexcept
    : descriptor_(std::exchange(other.descriptor_, -1)), path_(std::exchange(other.path_, {})) {}

int Listener::release() {
    return std::exchange(descriptor_, -1);
}

}  // namespace callhome::service
