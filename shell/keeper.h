// Keeps an interactive session alive: a command that ends its process does not end the session.
#pragma once

#include <functional>

#include "history.h"
#include "interactive.h"

namespace callhome::shell {

// Runs `session` in a process of its own, and again when a command has ended that process, until the
// operator leaves. The result is the exit status. Throws std::system_error when no process can be had.
int keep_session(History& history, const std::function<int(SharedState&)>& session);

}  // namespace callhome::shell
