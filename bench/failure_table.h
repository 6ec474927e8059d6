// What it costs to take the table of failed signatures apart and print it.
#pragma once

#include "measure.h"

namespace callhome::bench {

// A thousand lines of the table, beside copying the same text.
Sample compare_failure_table(int pairs);

}  // namespace callhome::bench
