// What may stand at the cursor: for `?` and for completion.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "grammar.h"

namespace callhome::shell {

struct Candidate {
    std::string shown;  // the keyword; for a parameter its range or its name
    std::string_view help;
    bool is_keyword = false;

    bool operator==(const Candidate&) const = default;
};

struct Expectation {
    std::string_view partial;  // the word before the cursor, as far as it is typed
    std::vector<Candidate> candidates;
    bool may_end = false;          // the command is complete here
    bool understood = true;        // false: a word before the partial one is wrong
    bool is_inside_value = false;  // what has begun can only be a value: `?` belongs to it
    bool may_begin_text = false;   // a value that may begin with `?` can stand here
};

// `text` is what stands before the cursor.
Expectation expectation_at(const Grammar& grammar, std::size_t mode, std::string_view text);

// The answer to `?`, lines with their ends.
std::string help_text(const Expectation& expectation);

struct Completion {
    std::string insert;                // what is to be put in at the cursor
    std::vector<std::string> choices;  // shown when there is more than one and nothing to put in
};

Completion complete(const Grammar& grammar, std::size_t mode, std::string_view text);

}  // namespace callhome::shell
