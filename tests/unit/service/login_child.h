// A process that leads a login session of its own, until it is told to end.
#pragma once

#include <poll.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include "distribution/login_session.h"

namespace callhome::service {

class LoginChild {
 public:
    LoginChild() {
        int ready[2];
        if (::pipe(ready) != 0) {
            return;
        }
        process_ = ::fork();
        if (process_ == 0) {
            ::prctl(PR_SET_PDEATHSIG, SIGKILL);
            ::setsid();
            ::close(ready[0]);
            ::close(ready[1]);
            while (true) {
                ::pause();
            }
        }
        // Its end of the pipe closes when the session is there.
        ::close(ready[1]);
        pollfd closed{.fd = ready[0], .events = 0, .revents = 0};
        ::poll(&closed, 1, -1);
        ::close(ready[0]);
    }
    ~LoginChild() { end(); }
    LoginChild(const LoginChild&) = delete;
    LoginChild& operator=(const LoginChild&) = delete;

    pid_t process() const { return process_; }
    LoginSession session() const { return login_session_of(process_); }

    // It has ended, but its parent has not asked for it yet.
    void kill() {
        ::kill(process_, SIGKILL);
        siginfo_t info{};
        ::waitid(P_PID, static_cast<id_t>(process_), &info, WEXITED | WNOWAIT);
    }
    void end() {
        if (process_ > 0) {
            kill();
            ::waitpid(process_, nullptr, 0);
            process_ = 0;
        }
    }

 private:
    pid_t process_ = 0;
};

}  // namespace callhome::service
