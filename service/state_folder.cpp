#include "state_folder.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <stdexcept>
#include <system_error>

#include "server/listener.h"

namespace callhome::service {
namespace {

constexpr mode_t private_folder = S_IRWXU;
constexpr mode_t private_file = S_IRUSR | S_IWUSR;

struct Descriptor {
    int number;
    ~Descriptor() {
        if (number >= 0) {
            ::close(number);
        }
    }
};

std::system_error failure(const std::string& what, const std::filesystem::path& path) {
    return {errno, std::generic_category(), what + " " + path.string()};
}

std::filesystem::path without_trailing_slash(const std::filesystem::path& path) {
    return path.has_filename() ? path : path.parent_path();
}

void create(const std::filesystem::path& path) {
    if (path.has_parent_path()) {
        std::filesystem::create_directories(path.parent_path());
    }
    if (::mkdir(path.c_str(), private_folder) != 0 && errno != EEXIST) {
        throw failure("cannot create the state folder", path);
    }
}

// The last name must be a folder itself: through a link, somebody else could choose which.
int open_own_folder(const std::filesystem::path& path) {
    const int folder = ::open(path.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
    if (folder < 0) {
        if (errno == ENOTDIR || errno == ELOOP) {
            throw std::runtime_error("the state folder " + path.string() +
                                     " is a link or no folder; name a folder of your own");
        }
        throw failure("cannot open the state folder", path);
    }
    struct stat status {};
    if (::fstat(folder, &status) != 0 || status.st_uid != ::geteuid()) {
        ::close(folder);
        throw std::runtime_error("the state folder " + path.string() +
                                 " belongs to another user; name a folder of your own");
    }
    return folder;
}

}  // namespace

StateFolder::StateFolder(const std::filesystem::path& path) : path_(without_trailing_slash(path)) {
    create(path_);
    const Descriptor folder{open_own_folder(path_)};
    if (::fchmod(folder.number, private_folder) != 0) {
        throw failure("cannot make the state folder private:", path_);
    }
    lock_ = ::openat(folder.number, "lock", O_RDWR | O_CREAT | O_NOFOLLOW | O_CLOEXEC, private_file);
    if (lock_ < 0) {
        throw failure("cannot open the lock file in", path_);
    }
    if (::flock(lock_, LOCK_EX | LOCK_NB) != 0) {
        ::close(lock_);
        throw AlreadyRunning("another callhomed works on the state in " + path_.string());
    }
}

StateFolder::~StateFolder() {
    ::close(lock_);
}

}  // namespace callhome::service
