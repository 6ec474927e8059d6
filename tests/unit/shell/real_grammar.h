// The grammar that is built into the shell, for tests of what it makes of a line.
#pragma once

#include <stdexcept>
#include <string>
#include <string_view>

#include "grammar.h"

namespace callhome::shell {

inline const Grammar& grammar() {
    static const Grammar read = read_grammar(embedded_grammar(), embedded_grammar_name);
    return read;
}

inline std::size_t mode_named(std::string_view name) {
    for (std::size_t mode = 0; mode < grammar().modes.size(); ++mode) {
        if (grammar().modes[mode].name == name) {
            return mode;
        }
    }
    throw std::runtime_error("no mode " + std::string(name));
}

}  // namespace callhome::shell
