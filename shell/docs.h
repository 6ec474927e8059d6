// docs/commands.md, from the grammar.
#pragma once

#include <string>

#include "grammar.h"

namespace callhome::shell {

std::string command_reference(const Grammar& grammar);

}  // namespace callhome::shell
