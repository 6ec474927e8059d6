// Telling the operator what went wrong.
#pragma once

#include <string>

namespace callhome::platform {

// One line on standard error, with the place of the command before it where that is in a script.
void print_error_line(const std::string& what);

}  // namespace callhome::platform
