// A platform whose service answers with what the fuzzer's input says. Its checks are of what every request
// must be, whatever was typed and answered.
#pragma once

#include "input.h"

namespace callhome::fuzz {

struct PlatformSettings {
    bool has_output_handle = true;
    bool knows_vrfs = true;
    std::uint32_t vrf_id = 0;  // of every VRF
};

// `answers` is read as the library asks; it must outlive the use. When it is empty, lists end.
void use_answers(Input& answers, const PlatformSettings& settings);

}  // namespace callhome::fuzz
