#include "distribution/login_session.h"

#include <fmt/format.h>
#include <signal.h>
#include <unistd.h>

#include <cerrno>
#include <fstream>
#include <iterator>
#include <optional>
#include <sstream>
#include <string>

namespace callhome::service {
namespace {

struct ProcessState {
    bool has_ended;  // only its parent has still to take notice
    std::uint64_t started;
};

// Reads /proc/PID/stat. The second field is the program's name in parentheses, which may itself hold
// parentheses and blanks; all that follow are plain.
std::optional<ProcessState> read_state(pid_t process) {
    std::ifstream file(fmt::format("/proc/{}/stat", process));
    const std::string text{std::istreambuf_iterator<char>(file), {}};
    const std::size_t name_end = text.rfind(')');
    if (name_end == std::string::npos) {
        return std::nullopt;
    }
    constexpr int fields_between = 18;  // behind the state, the third field, and before the 22nd
    std::istringstream fields(text.substr(name_end + 1));
    std::string state;
    fields >> state;
    std::string ignored;
    for (int field = 0; field < fields_between; ++field) {
        fields >> ignored;
    }
    std::uint64_t started = 0;
    if (!(fields >> started)) {
        return std::nullopt;
    }
    return ProcessState{.has_ended = state == "Z" || state == "X", .started = started};
}

}  // namespace

LoginSession login_session_of(pid_t process) {
    // For 0, which stands for a process that this one cannot see, the kernel would tell our own.
    const pid_t leader = process > 0 ? ::getsid(process) : 0;
    if (leader <= 0) {
        return {};
    }
    const auto state = read_state(leader);
    return {.leader = leader, .started = state ? state->started : 0};
}

bool has_ended(const LoginSession& session) {
    if (session.leader <= 0) {
        return false;
    }
    constexpr int no_signal = 0;
    if (::kill(session.leader, no_signal) != 0 && errno != EPERM) {
        return true;
    }
    // /proc may hide the processes of others; the number alone has to do then.
    const auto state = read_state(session.leader);
    return state && (state->has_ended || (session.started != 0 && session.started != state->started));
}

}  // namespace callhome::service
