// What it costs to hold log lines against the patterns of many signatures.
#pragma once

#include "measure.h"

namespace callhome::bench {

// A thousand lines against a hundred patterns, beside one pattern over the same lines.
Sample compare_log_lines(int pairs);

}  // namespace callhome::bench
