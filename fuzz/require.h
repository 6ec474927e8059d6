// What must hold after every input. A breach ends the fuzzer, which keeps the input.
#pragma once

#include <unistd.h>

#include <cstdio>
#include <cstdlib>

namespace callhome::fuzz {

// `what` says what should have been. Written past stderr, which a fuzzer may have silenced.
inline void require(bool holds, const char* what) {
    if (!holds) {
        dprintf(STDERR_FILENO, "does not hold: %s\n", what);
        std::abort();
    }
}

}  // namespace callhome::fuzz
