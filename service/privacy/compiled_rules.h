// The rules as RE2 has compiled them, and what they find in a text.
#pragma once

#include <re2/re2.h>

#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "privacy/checks.h"
#include "privacy/hint_scanner.h"
#include "privacy/rules.h"

namespace callhome::service {

struct CompiledRule {
    std::vector<std::string> hints;
    Check check;
    std::unique_ptr<const RE2> pattern;
    Hints places = {};  // of the hints in the list of the scanner that is used
};

struct CompiledBlock {
    std::string hint;
    std::unique_ptr<const RE2> begin;
    std::unique_ptr<const RE2> row;
    std::unique_ptr<const RE2> end;  // null where there is none
    Hints places = {};
};

// Throws std::logic_error for a pattern that is none: the tables are at fault then.
CompiledRule compiled(const MaskRule& rule);
CompiledRule compiled(const std::string& hint, Check check, const std::string& pattern);
std::vector<CompiledRule> compiled(std::span<const MaskRule> rules);
std::vector<CompiledBlock> compiled(std::span<const BlockRule> rules);

std::string_view line_at(std::string_view text, std::size_t begin);
// The beginnings of the lines that hold the word, in order; both in lower case.
std::vector<std::size_t> lines_with(const std::string& word, std::string_view text);

// Adds what the rule finds in the line, as places in it.
void find_in_line(const CompiledRule& rule, std::string_view line, std::vector<Found>& found);

// Adds what the rule finds in the text, as places in it. `lines` are those with hints.
void find_blocks(const CompiledBlock& rule, std::string_view text, const std::vector<HintedLine>& lines,
                 std::vector<Found>& found);

}  // namespace callhome::service
