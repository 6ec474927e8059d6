// The settings that a running configuration leaves out because they have their default.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <unordered_map>
#include <unordered_set>
#include <vector>

#include "grammar.h"

namespace callhome::shell {

// A parameter in a default line stands for each name that the configuration has in its place.
class MissingDefaults {
 public:
    // The default lines of one mode.
    MissingDefaults(const Grammar& grammar, std::size_t mode);

    // A line of the configuration: what it sets needs no default.
    void notice(std::string_view line);
    // The lines for what no line has set, in the order of the grammar.
    std::vector<std::string> lines() const;

 private:
    struct Setting {
        std::string line;
        bool is_set = false;
    };
    // A line with a parameter: what stands before it, and behind it.
    struct Pattern {
        std::string_view before, after;
        std::unordered_set<std::string> names;  // that lines have been made for
    };

    void add(std::string line);
    void add_names_of(std::string_view line);

    const Grammar& grammar_;
    std::size_t mode_;
    std::vector<Setting> settings_;
    std::vector<Pattern> patterns_;
    // By the words that set something, without the value; those that end in a value and those that do
    // not, for the beginning of the one may be the whole of the other.
    std::unordered_map<std::string, std::size_t> with_value_, without_value_;
};

}  // namespace callhome::shell
