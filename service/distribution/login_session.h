// Login sessions: all that one login on the switch has started belongs to one.
#pragma once

#include <sys/types.h>

#include <cstdint>

namespace callhome::service {

struct LoginSession {
    pid_t leader = 0;           // its first process; 0 when out of sight, as that of another container is
    std::uint64_t started = 0;  // when that process started, in clock ticks since the boot; 0 when unknown

    bool operator==(const LoginSession&) const = default;
};

// The session that the process belongs to.
LoginSession login_session_of(pid_t process);

// Whether its first process is known to have ended. A process that has got the same number since is not it.
bool has_ended(const LoginSession& session);

}  // namespace callhome::service
