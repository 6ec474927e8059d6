#include "fake_files.h"

#include <fcntl.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cstdarg>
#include <cstring>

#include "protocol/marker.h"

namespace callhome::test {

Files& files() {
    static Files instance;
    return instance;
}

namespace {

// Where the file of this path really is; a null pointer for those that are where they say.
const char* place_of(const char* path) {
    if (std::strcmp(path, working_file) == 0) {
        return files().working_file.c_str();
    }
    return std::strncmp(path, script_beginning, std::strlen(script_beginning)) == 0 ? files().script.c_str()
                                                                                    : nullptr;
}

int open_path(const char* path, int flags, mode_t mode) {
    const char* place = place_of(path);
    if (place == nullptr) {
        return static_cast<int>(syscall(SYS_openat, AT_FDCWD, path, flags, mode));
    }
    files().opened.emplace_back(path);
    if (files().opened.size() == 2 && files().when_opened_again) {
        files().when_opened_again();
    }
    return static_cast<int>(syscall(SYS_openat, AT_FDCWD, place, flags, mode));
}

}  // namespace
}  // namespace callhome::test

using namespace callhome::test;

// The C library's own declarations carry attributes and aliases that these definitions must not have,
// so they have names of their own and only the symbols of the C library.
extern "C" {

int fake_open(const char* path, int flags, ...) __asm__("open");
int fake_open64(const char* path, int flags, ...) __asm__("open64");
int fake_access(const char* path, int mode) __asm__("access");
int fake_unlink(const char* path) __asm__("unlink");
uid_t fake_geteuid() __asm__("geteuid");

int fake_open(const char* path, int flags, ...) {
    va_list list;
    va_start(list, flags);
    const auto mode = (flags & (O_CREAT | O_TMPFILE)) != 0 ? va_arg(list, unsigned) : 0;
    va_end(list);
    return open_path(path, flags, mode);
}

int fake_open64(const char* path, int flags, ...) {
    va_list list;
    va_start(list, flags);
    const auto mode = (flags & (O_CREAT | O_TMPFILE)) != 0 ? va_arg(list, unsigned) : 0;
    va_end(list);
    return open_path(path, flags, mode);
}

int fake_access(const char* path, int mode) {
    if (std::strcmp(path, callhome::protocol::processing_marker) == 0 && mode == F_OK) {
        return files().marker_stands ? 0 : -1;
    }
    return static_cast<int>(syscall(SYS_faccessat, AT_FDCWD, path, mode));
}

int fake_unlink(const char* path) {
    if (const char* place = place_of(path)) {
        files().removed.emplace_back(path);
        path = place;
    }
    return static_cast<int>(syscall(SYS_unlinkat, AT_FDCWD, path, 0));
}

uid_t fake_geteuid() {
    return files().stranger != 0 ? files().stranger : static_cast<uid_t>(syscall(SYS_geteuid));
}
}
