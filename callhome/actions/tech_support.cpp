#include <fcntl.h>
#include <unistd.h>

#include <array>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <string_view>

#include "callhome/handlers.h"
#include "frame/outcome.h"
#include "frame/own_file.h"
#include "frame/text.h"
#include "platform/interface.h"

namespace callhome::library {
namespace {

constexpr std::string_view support_commands =
    "show hostname\n"
    "show module\n"
    "show version\n"
    "show running-config callhome all\n"
    "show system internal callhome event-history\n"
    "show system internal callhome mem-stats detail\n"
    "show snmp | include contact\n"
    "show callhome\n"
    "show trace callhome\n";
static_assert(support_commands.size() == 225);

static_assert(sizeof(ScriptRun) == 1044);
static_assert(offsetof(ScriptRun, path) == 4 && offsetof(ScriptRun, reserved_1) == 132);
static_assert(offsetof(ScriptRun, fixed_1) == 776 && offsetof(ScriptRun, fixed_2) == 780);
static_assert(offsetof(ScriptRun, session_id) == 784 && offsetof(ScriptRun, reserved_2) == 788);

constexpr std::size_t path_size = 100;  // bytes, terminator included
using ScriptPath = std::array<char, path_size>;

ScriptPath script_path() {
    ScriptPath path{};
    std::snprintf(path.data(), path.size(), "/tmp/tech_callhome.%d", static_cast<int>(getpid()));
    return path;
}

// Behind what an earlier run may have left. False when the script cannot be opened, or not be written
// whole.
bool add_commands(const char* path) {
    const int script = open_own_file(path, O_RDWR | O_APPEND | O_CREAT);
    if (script < 0) {
        return false;
    }
    const ssize_t written = write(script, support_commands.data(), support_commands.size());
    const bool is_closed = close(script) == 0;
    if (is_closed && written == static_cast<ssize_t>(support_commands.size())) {
        return true;
    }
    unlink(path);
    return false;
}

// The script that runs now; empty while none does.
ScriptPath running_script{};

void remove_running_script() {
    if (running_script.front() != '\0') {
        unlink(running_script.data());
        running_script.front() = '\0';
    }
}

// One of the commands may end the process, when it finds the service lost.
void remove_also_at_exit(const ScriptPath& path) {
    static const bool is_registered = std::atexit(remove_running_script) == 0;
    (void)is_registered;
    running_script = path;
}

std::uint32_t say_not_implemented() {
    std::puts("this cli command is not implemented");
    std::fflush(stdout);
    std::fflush(stderr);
    return done;
}

}  // namespace
}  // namespace callhome::library

using namespace callhome::library;

uint32_t callhome_show_tech_support(CommandContext* ctx) {
    const ScriptPath path = script_path();
    if (!add_commands(path.data())) {
        std::puts("Error: unable to open tmp file");
        return failed;
    }
    ScriptRun request{};
    copy_text(request.path, path.data());
    request.fixed_1 = PLATFORM_SCRIPT_FIXED;
    request.fixed_2 = PLATFORM_SCRIPT_FIXED;
    request.session_id = ctx->session_id;
    remove_also_at_exit(path);
    const int result = shell_execute_script_file(&request);
    remove_running_script();
    return result == 0 ? done : failed;
}

uint32_t callhome_show_inventory(void) {
    return say_not_implemented();
}

uint32_t callhome_show_techsupport(void) {
    return say_not_implemented();
}
