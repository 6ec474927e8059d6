#include "configuration_difference.h"

#include <string_view>
#include <unordered_map>

namespace callhome::shell {

namespace {

using Lines = std::vector<std::string>;

// For each line, whether the other list has it, too. A line that stands in both, but more often in one,
// is common only so often as it stands in both.
std::vector<bool> common_lines(const Lines& lines, const Lines& other) {
    std::unordered_map<std::string_view, std::size_t> left;
    for (const std::string& line : other) {
        ++left[line];
    }
    std::vector<bool> common;
    common.reserve(lines.size());
    for (const std::string& line : lines) {
        const auto found = left.find(line);
        common.push_back(found != left.end() && found->second > 0);
        if (common.back()) {
            --found->second;
        }
    }
    return common;
}

// One of the two lists, read line by line.
struct Reader {
    const Lines& lines;
    std::vector<bool> is_common;
    char mark;
    std::size_t at = 0;

    // Puts out the lines before the next common one and steps over that one.
    void step(Lines& found) {
        for (; at < lines.size() && !is_common[at]; ++at) {
            found.push_back(mark + lines[at]);
        }
        at += at < lines.size() ? 1 : 0;
    }
    bool is_done() const { return at >= lines.size(); }
};

}  // namespace

Lines difference(const Lines& before, const Lines& after) {
    // Both lists are in the order of the generators: lines about the same subject meet when both are read
    // from one common line to the next.
    Reader removed{before, common_lines(before, after), '-'};
    Reader added{after, common_lines(after, before), '+'};
    Lines found;
    while (!removed.is_done() || !added.is_done()) {
        removed.step(found);
        added.step(found);
    }
    return found;
}

}  // namespace callhome::shell
