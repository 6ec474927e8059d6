#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>
#include <utility>

#include "error_line.h"
#include "platform/interface.h"
#include "platform/reference.h"
#include "record_text.h"

namespace callhome::platform {
namespace {

constexpr int failed = 1;

RunScript& runner() {
    static RunScript run;
    return run;
}

// A script may hold the command that runs it.
bool is_running = false;

struct Closed {
    void operator()(std::FILE* file) const { (void)std::fclose(file); }
};
using File = std::unique_ptr<std::FILE, Closed>;

// Without waiting for who writes into a pipe; errno says why there is nothing.
File open_script(const std::string& path) {
    const int descriptor = ::open(path.c_str(), O_RDONLY | O_NOFOLLOW | O_CLOEXEC | O_NONBLOCK);
    if (descriptor < 0) {
        return nullptr;
    }
    struct stat found {};
    const bool is_file = ::fstat(descriptor, &found) == 0 && S_ISREG(found.st_mode);
    std::FILE* file = is_file ? ::fdopen(descriptor, "r") : nullptr;
    if (file == nullptr) {
        errno = is_file ? errno : EINVAL;
        ::close(descriptor);
    }
    return File(file);
}

int run_script(const ScriptRun& request) {
    const std::string path(text_in(request.path));
    if (!runner()) {
        print_error_line("Scripts cannot be run here");
        return failed;
    }
    if (is_running) {
        print_error_line("A script that a command runs cannot run another one");
        return failed;
    }
    const File script = open_script(path);
    if (!script) {
        print_error_line("The script " + path + " cannot be read: " + std::strerror(errno));
        return failed;
    }
    is_running = true;
    std::string prefix = set_error_prefix("");
    bool has_succeeded = false;
    try {
        has_succeeded = runner()(script.get(), path);
    } catch (...) {
        has_succeeded = false;  // each of its lines has told of itself
    }
    set_error_prefix(std::move(prefix));
    is_running = false;
    return has_succeeded ? 0 : failed;
}

}  // namespace

void run_scripts_with(RunScript run) {
    runner() = std::move(run);
}

}  // namespace callhome::platform

extern "C" int shell_execute_script_file(void* request) {
    if (request == nullptr) {
        return callhome::platform::failed;
    }
    try {
        return callhome::platform::run_script(*static_cast<const ScriptRun*>(request));
    } catch (...) {
        return callhome::platform::failed;
    }
}
