// The syntax of one command: from its text to the nodes that the parser walks, and to what a reader sees.
#pragma once

#include "grammar.h"

namespace callhome::shell {

// Adds the nodes of `command.syntax` to the grammar and sets `command.first`. The command gets the next
// free index. Throws std::invalid_argument that says what is wrong.
void compile_syntax(Grammar& grammar, Command& command);

}  // namespace callhome::shell
