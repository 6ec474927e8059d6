// Follows all commands that a line may still become, word by word. Parser, help and completion share it.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "grammar.h"

namespace callhome::shell {

// Keywords are compared without regard to case, names (words that cannot be abbreviated) with it.
bool is_keyword(const Node& node, std::string_view typed);
bool begins_keyword(const Node& node, std::string_view typed);

struct Step {
    std::uint16_t node;
    CheckedValue value;  // of a parameter
};

enum class MatchOutcome : std::uint8_t { matched, matched_rest_of_line, invalid, ambiguous, bad_value };

class Matcher {
 public:
    // Only commands of this mode, and those of every mode when `with_common`, in the wanted form.
    Matcher(const Grammar& grammar, std::size_t mode, bool with_common, bool no_form);

    // Takes one word. `rest` is the line from this word to its end, for texts. After anything but a
    // match the matcher stands where it stood before.
    MatchOutcome take(std::string_view word, std::string_view rest);

    // Nodes that may come next, in the order of the grammar.
    std::vector<std::uint16_t> next_nodes() const;
    // The command that ends here, or null.
    const Command* ended() const;
    const std::vector<Step>& ended_steps() const;
    const std::string& why_bad_value() const { return why_bad_value_; }
    // A command of the mode begins with exactly this word.
    bool begins_exactly(std::string_view word) const;
    bool has_commands() const { return !first_.empty(); }

 private:
    struct Path {
        std::vector<Step> steps;
    };
    struct Continuation {
        std::size_t path;
        std::uint16_t node;
    };

    std::vector<Continuation> continuations() const;
    MatchOutcome take_keyword(std::string_view word, const std::vector<Continuation>& possible);
    MatchOutcome take_value(std::string_view word, std::string_view rest,
                            const std::vector<Continuation>& possible);
    std::size_t ended_path() const;

    const Grammar* grammar_;
    std::vector<std::uint16_t> first_;
    std::vector<Path> paths_;
    bool at_start_ = true;
    std::string why_bad_value_;
};

}  // namespace callhome::shell
