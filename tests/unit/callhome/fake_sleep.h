// Stands before the C library's sleep: the library does not wait, and what it asked for is kept.
#pragma once

#include <vector>

namespace callhome::test {

// Seconds of each sleep since the test began.
std::vector<unsigned>& sleeps();

}  // namespace callhome::test
