#include "fake_sleep.h"

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
    callhome::test::sleeps().push_back(seconds);
    return 0;
}
}
