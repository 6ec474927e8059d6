// What it costs to take out of a text what its readers are not to see.
#pragma once

#include "measure.h"

namespace callhome::bench {

// The megabyte that takes longest of those that are made to be slow, beside four times a quarter of it:
// what takes longer than that does not grow linearly.
Sample compare_masking();

}  // namespace callhome::bench
