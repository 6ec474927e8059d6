#include "frame/own_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace callhome::library {
namespace {

constexpr mode_t owner_only = 0600;

bool is_our_own(int descriptor) {
    struct stat found {};
    return fstat(descriptor, &found) == 0 && S_ISREG(found.st_mode) && found.st_uid == geteuid() &&
           found.st_nlink == 1;
}

}  // namespace

int open_own_file(const char* path, int flags) {
    const int descriptor = open(path, flags | O_NOFOLLOW | O_CLOEXEC | O_NONBLOCK, owner_only);
    if (descriptor >= 0 && !is_our_own(descriptor)) {
        close(descriptor);
        return -1;
    }
    return descriptor;
}

}  // namespace callhome::library
