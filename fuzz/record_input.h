// Records and statuses in a short notation, so that small changes of an input are small changes of a
// record.
#pragma once

#include <cstdint>
#include <vector>

#include "input.h"
#include "protocol/layout.h"

namespace callhome::fuzz {

// A whole record in transport order, field after field: four bytes a word, one a single byte, and for texts
// their length (one byte; two for texts longer than 256) before the text. A text of its field's size has no
// terminator.
std::vector<std::byte> take_record(Input& input, const protocol::Layout& layout);

// Never negative: 0, or n for a refusal of that number, or after a byte from 0x80 on any number in a word.
std::int32_t take_status(Input& input);

}  // namespace callhome::fuzz
