#include "privacy/compiled_rules.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <stdexcept>

namespace callhome::service {
namespace {

constexpr int most_groups = 16;
constexpr std::size_t longest_block = 500;  // lines
constexpr std::int64_t pattern_memory = 16L * 1024 * 1024;

re2::StringPiece piece(std::string_view text) {
    return {text.data(), text.size()};
}

std::unique_ptr<const RE2> compiled_pattern(const std::string& pattern) {
    RE2::Options options;
    options.set_log_errors(false);
    options.set_max_mem(pattern_memory);
    auto result = std::make_unique<const RE2>(pattern, options);
    if (!result->ok() || result->NumberOfCapturingGroups() >= most_groups) {
        throw std::logic_error(fmt::format("no pattern of a mask: {}: {}", pattern, result->error()));
    }
    return result;
}

std::vector<std::string> words_of(std::string_view list) {
    std::vector<std::string> words;
    while (!list.empty()) {
        const std::size_t end = std::min(list.find('|'), list.size());
        words.emplace_back(list.substr(0, end));
        list.remove_prefix(std::min(end + 1, list.size()));
    }
    return words;
}

bool is_in(const RE2& pattern, std::string_view line) {
    return RE2::PartialMatch(piece(line), pattern);
}

// Past the end of the text after the last line.
std::size_t after(std::string_view text, std::size_t begin) {
    return begin + line_at(text, begin).size() + 1;
}

// Where the line that ends the block begins; 0 where none comes, or another block before it.
std::size_t end_of_block(const CompiledBlock& rule, std::string_view text, std::size_t begin) {
    if (rule.end == nullptr) {
        return 0;
    }
    std::size_t at = after(text, begin);
    for (std::size_t count = 0; count < longest_block && at < text.size(); ++count) {
        const std::string_view line = line_at(text, at);
        if (is_in(*rule.end, line)) {
            return at;
        }
        if (is_in(*rule.begin, line)) {
            return 0;
        }
        at = after(text, at);
    }
    return 0;
}

void find_rows(const CompiledBlock& rule, std::string_view text, std::size_t begin,
               std::vector<Found>& found) {
    for (std::size_t at = after(text, begin); at < text.size(); at = after(text, at)) {
        const std::string_view line = line_at(text, at);
        re2::StringPiece groups[2];
        if (line.empty() || !rule.row->Match(piece(line), 0, line.size(), RE2::UNANCHORED, groups, 2)) {
            return;
        }
        if (groups[1].data() == nullptr) {
            continue;
        }
        const auto place = at + static_cast<std::size_t>(groups[1].data() - line.data());
        if (auto secret = checked(Check::anything, text, place, place + groups[1].size())) {
            found.push_back(std::move(*secret));
        }
    }
}

}  // namespace

CompiledRule compiled(const std::string& hint, Check check, const std::string& pattern) {
    return {{hint}, check, compiled_pattern(pattern), {}};
}

CompiledRule compiled(const MaskRule& rule) {
    return {words_of(rule.hints), rule.check, compiled_pattern(expanded(rule.pattern)), {}};
}

std::vector<CompiledRule> compiled(std::span<const MaskRule> rules) {
    std::vector<CompiledRule> result;
    std::ranges::transform(rules, std::back_inserter(result),
                           [](const MaskRule& rule) { return compiled(rule); });
    return result;
}

std::vector<CompiledBlock> compiled(std::span<const BlockRule> rules) {
    std::vector<CompiledBlock> result;
    for (const BlockRule& rule : rules) {
        result.push_back({rule.hint,
                          compiled_pattern(expanded(rule.begin)),
                          compiled_pattern(expanded(rule.row)),
                          rule.end == nullptr ? nullptr : compiled_pattern(expanded(rule.end)),
                          {}});
    }
    return result;
}

std::string_view line_at(std::string_view text, std::size_t begin) {
    return text.substr(begin, std::min(text.find('\n', begin), text.size()) - begin);
}

std::vector<std::size_t> lines_with(const std::string& word, std::string_view text) {
    std::vector<std::size_t> lines;
    for (std::size_t at = text.find(word); at < text.size(); at = text.find(word, at)) {
        const std::size_t before = at == 0 ? std::string_view::npos : text.rfind('\n', at - 1);
        lines.push_back(before == std::string_view::npos ? 0 : before + 1);
        at = after(text, lines.back());
    }
    return lines;
}

void find_in_line(const CompiledRule& rule, std::string_view line, std::vector<Found>& found) {
    std::array<re2::StringPiece, most_groups> groups;
    const int count = rule.pattern->NumberOfCapturingGroups() + 1;
    std::size_t at = 0;
    while (at <= line.size() &&
           rule.pattern->Match(piece(line), at, line.size(), RE2::UNANCHORED, groups.data(), count)) {
        std::size_t next = at;
        for (int group = 1; group < count; ++group) {
            const re2::StringPiece& part = groups[static_cast<std::size_t>(group)];
            if (part.data() == nullptr) {
                continue;
            }
            const auto begin = static_cast<std::size_t>(part.data() - line.data());
            next = std::max(next, begin + part.size());
            if (auto secret = checked(rule.check, line, begin, begin + part.size())) {
                found.push_back(std::move(*secret));
            }
        }
        // What follows a secret may be the beginning of the next match, so only the secret is passed.
        at = std::max(next, at + 1);
    }
}

void find_blocks(const CompiledBlock& rule, std::string_view text, const std::vector<HintedLine>& lines,
                 std::vector<Found>& found) {
    std::size_t passed = 0;
    for (const HintedLine& line : lines) {
        const std::size_t begin = line.begin;
        const bool is_one = (line.hints & rule.places).any() && begin >= passed;
        if (!is_one || !is_in(*rule.begin, line_at(text, begin))) {
            continue;
        }
        const std::size_t body = after(text, begin);
        const std::size_t end = end_of_block(rule, text, begin);
        if (end == 0) {
            find_rows(rule, text, begin, found);
        } else if (end > body + 1) {
            found.push_back({body, end - 1, std::string(text.substr(body, end - 1 - body))});
            passed = end;
        }
    }
}

}  // namespace callhome::service
