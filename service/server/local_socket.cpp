#include "server/local_socket.h"

#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <string>
#include <system_error>

namespace callhome::service {
namespace {

std::runtime_error failure(const std::string& what, const std::filesystem::path& path) {
    return std::runtime_error(what + " " + path.string() + ": " + std::generic_category().message(errno));
}

sockaddr_un address_of(const std::filesystem::path& path, const char* option) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    if (path.native().size() >= sizeof(address.sun_path)) {
        throw std::runtime_error("the path of the socket is too long, choose one of at most " +
                                 std::to_string(sizeof(address.sun_path) - 1) + " bytes with " + option +
                                 ": " + path.string());
    }
    std::memcpy(address.sun_path, path.c_str(), path.native().size());
    return address;
}

int open_socket(int type) {
    const int descriptor = ::socket(AF_UNIX, type | SOCK_CLOEXEC, 0);
    if (descriptor < 0) {
        throw std::system_error(errno, std::generic_category(), "cannot open a socket");
    }
    return descriptor;
}

// A socket of another type is somebody's, too.
bool somebody_listens(const sockaddr_un& address, int type) {
    const int descriptor = open_socket(type);
    const bool is_there =
        ::connect(descriptor, reinterpret_cast<const sockaddr*>(&address), sizeof(address)) == 0 ||
        errno == EPROTOTYPE;
    ::close(descriptor);
    return is_there;
}

void remove_stale_socket(const std::filesystem::path& path, const sockaddr_un& address, int type,
                         const char* option) {
    struct stat status {};
    if (::lstat(path.c_str(), &status) != 0) {
        if (errno == ENOENT) {
            return;
        }
        throw failure("cannot look at", path);
    }
    if (!S_ISSOCK(status.st_mode)) {
        throw std::runtime_error("there is a file that is not a socket at " + path.string() +
                                 "; move it away, or choose another path with " + option);
    }
    if (somebody_listens(address, type)) {
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

int bind_local_socket(const std::filesystem::path& path, int type, SocketAccess access,
                      const char* option) {
    const sockaddr_un address = address_of(path, option);
    create_folder(path.parent_path(), access);
    remove_stale_socket(path, address, type, option);
    const int descriptor = open_socket(type);
    if (bind_with_mode(descriptor, address, access) != 0) {
        const auto error = failure("cannot create the socket", path);
        ::close(descriptor);
        throw error;
    }
    return descriptor;
}

}  // namespace callhome::service
