// Where the tuples of the command library stand in a document.
#pragma once

#include <cstdint>
#include <string_view>

#include "document.h"

namespace callhome::platform {

// Handlers mark what is an error and not part of a display with this tag.
inline constexpr std::uint32_t error_tag = 0;

// Puts a tuple into its place. `shown` is the text that it became in the display. False when the tag is
// not known or the text is not what its rows say; the document then is as it was.
bool take_tuple(Document& document, std::uint32_t tag, std::string_view shown);

}  // namespace callhome::platform
