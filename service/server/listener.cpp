#include "server/listener.h"

#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <systemd/sd-daemon.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <system_error>
#include <utility>

namespace callhome::service {
namespace {

constexpr int backlog = 128;

std::runtime_error failure(const std::string& what, const std::filesystem::path& path) {
    return std::runtime_error(what + " " + path.string() + ": " + std::generic_category().message(errno));
}

sockaddr_un address_of(const std::filesystem::path& path) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    if (path.native().size() >= sizeof(address.sun_path)) {
        throw std::runtime_error("the path of the socket is too long, choose one of at most " +
                                 std::to_string(sizeof(address.sun_path) - 1) +
                                 " bytes with --socket: " + path.string());
    }
    std::memcpy(address.sun_path, path.c_str(), path.native().size());
    return address;
}

int open_socket() {
    const int descriptor = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (descriptor < 0) {
        throw std::system_error(errno, std::generic_category(), "cannot open a socket");
    }
    return descriptor;
}

bool somebody_listens(const sockaddr_un& address) {
    const int descriptor = open_socket();
    const bool connected =
        ::connect(descriptor, reinterpret_cast<const sockaddr*>(&address), sizeof(address)) == 0;
    ::close(descriptor);
    return connected;
}

void remove_stale_socket(const std::filesystem::path& path, const sockaddr_un& address) {
    struct stat status {};
    if (::lstat(path.c_str(), &status) != 0) {
        if (errno == ENOENT) {
            return;
        }
        throw failure("cannot look at", path);
    }
    if (!S_ISSOCK(status.st_mode)) {
        throw std::runtime_error("there is a file that is not a socket at " + path.string() +
                                 "; move it away, or choose another path with --socket");
    }
    if (somebody_listens(address)) {
        throw AlreadyRunning("another process listens on " + path.string());
    }
    if (::unlink(path.c_str()) != 0) {
        throw failure("cannot remove the old socket", path);
    }
}

void create_folder(const std::filesystem::path& folder, SocketAccess access) {
    constexpr mode_t for_everyone = 0755;
    constexpr mode_t for_own_user = 0700;
    const mode_t mode = access == SocketAccess::everyone ? for_everyone : for_own_user;
    const mode_t previous = ::umask(0);
    const bool done = folder.empty() || ::mkdir(folder.c_str(), mode) == 0 || errno == EEXIST;
    ::umask(previous);
    if (!done) {
        throw failure("cannot create the folder of the socket", folder);
    }
}

// The mode is right from the first moment on.
int bind_with_mode(int descriptor, const sockaddr_un& address, SocketAccess access) {
    constexpr mode_t mask_for_everyone = 0111;
    constexpr mode_t mask_for_own_user = 0177;
    const mode_t previous =
        ::umask(access == SocketAccess::everyone ? mask_for_everyone : mask_for_own_user);
    const int result = ::bind(descriptor, reinterpret_cast<const sockaddr*>(&address), sizeof(address));
    ::umask(previous);
    return result;
}

}  // namespace

Listener::Listener(const std::filesystem::path& path, SocketAccess access) {
    const sockaddr_un address = address_of(path);
    create_folder(path.parent_path(), access);
    remove_stale_socket(path, address);
    descriptor_ = open_socket();
    if (bind_with_mode(descriptor_, address, access) != 0) {
        const auto error = failure("cannot create the socket", path);
        ::close(descriptor_);
        throw error;
    }
    path_ = path;
    if (::listen(descriptor_, backlog) != 0) {
        const auto error = failure("cannot listen on", path);
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
