// The rules as RE2 has compiled them, and what they find in a text.
#pragma once

#include <re2/re2.h>

#include <map>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "privacy/checks.h"
#include "privacy/rules.h"

namespace callhome::service {

struct CompiledRule {
    std::vector<std::string> hints;
    Check check;
    std::unique_ptr<const RE2> pattern;
};

struct CompiledBlock {
    std::string hint;
    std::unique_ptr<const RE2> begin;
    std::unique_ptr<const RE2> row;
    std::unique_ptr<const RE2> end;  // null where there is none
};

// Throws std::logic_error for a pattern that is none: the tables are at fault then.
CompiledRule compiled(const MaskRule& rule);
CompiledRule compiled(const std::string& hint, Check check, const std::string& pattern);
std::vector<CompiledRule> compiled(std::span<const MaskRule> rules);
std::vector<CompiledBlock> compiled(std::span<const BlockRule> rules);

// A text, and which of its lines a word stands in. The text must outlive it.
class TextLines {
 public:
    explicit TextLines(std::string_view text);

    std::string_view text() const { return text_; }
    // The beginnings of the lines that hold one of the words, in order.
    std::vector<std::size_t> with_one_of(const std::vector<std::string>& words);
    std::string_view line_at(std::size_t begin) const;
    // Where the next line begins; past the end of the text after the last one.
    std::size_t after(std::size_t begin) const { return begin + line_at(begin).size() + 1; }

 private:
    const std::vector<std::size_t>& with(const std::string& word);

    std::string_view text_;
    std::string lowered_;
    std::map<std::string, std::vector<std::size_t>, std::less<>> found_;  // by word
};

// Adds what the rule finds in the line, as places in it.
void find_in_line(const CompiledRule& rule, std::string_view line, std::vector<Found>& found);

// Adds what the rule finds in the text, as places in it.
void find_blocks(const CompiledBlock& rule, TextLines& lines, std::vector<Found>& found);

}  // namespace callhome::service
