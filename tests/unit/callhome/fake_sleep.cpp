#include "fake_sleep.h"

#include <unistd.h>

#include <ctime>

namespace callhome::test {

std::vector<unsigned>& sleeps() {
    static std::vector<unsigned> instance;
    return instance;
}

}  // namespace callhome::test

// As in fake_files.cpp, only the symbol is the C library's.
extern "C" {

unsigned fake_sleep(unsigned seconds) __asm__("sleep");

unsigned fake_sleep(unsigned seconds) {
    // A fuzzer's watchdog is a thread of its own, and has to wait.
    if (gettid() != getpid()) {
        const timespec time{.tv_sec = static_cast<time_t>(seconds), .tv_nsec = 0};
        nanosleep(&time, nullptr);
        return 0;
    }
    callhome::test::sleeps().push_back(seconds);
    return 0;
}
}
