#include "grammar.h"

// The grammar is part of the program: the shell and its commands cannot come apart.
asm(".section .rodata\n"
    ".global callhome_grammar_begin\n"
    ".global callhome_grammar_end\n"
    ".hidden callhome_grammar_begin\n"
    ".hidden callhome_grammar_end\n"
    "callhome_grammar_begin:\n"
    ".incbin \"" CALLHOME_GRAMMAR_FILE
    "\"\n"
    "callhome_grammar_end:\n"
    ".text\n");

extern "C" {
__attribute__((visibility("hidden"))) extern const char callhome_grammar_begin[];
__attribute__((visibility("hidden"))) extern const char callhome_grammar_end[];
}

namespace callhome::shell {

std::string_view embedded_grammar() {
    return {callhome_grammar_begin,
            static_cast<std::size_t>(callhome_grammar_end - callhome_grammar_begin)};
}

}  // namespace callhome::shell
