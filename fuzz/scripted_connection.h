// What the service sends, as the fuzzer's input says.
#pragma once

#include "input.h"

namespace callhome::platform {

// Read by all connections made from now on; it must outlive their use. When it is empty, the peer is gone.
void use_script(fuzz::Input& script);

}  // namespace callhome::platform
