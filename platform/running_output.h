// What the output functions of the C interface tell the output of the running command.
#pragma once

#include <cstdint>
#include <string_view>

#include "platform/command_output.h"

namespace callhome::platform {

// Puts a tuple into the document of the running command; without one nothing happens. `shown` is the text
// that it became in the display.
void add_tuple(std::uint32_t tag, std::string_view shown);

// Shows running-configuration lines, or pieces of one; in a document they have a place of their own.
void show_configuration(std::string_view text);

}  // namespace callhome::platform
