#include "privacy/compiled_rules.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cctype>
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

// Where the line that ends the block begins; 0 where none comes, or another block before it.
std::size_t end_of_block(const CompiledBlock& rule, const TextLines& lines, std::size_t begin) {
    if (rule.end == nullptr) {
        return 0;
    }
    std::size_t at = lines.after(begin);
    for (std::size_t count = 0; count < longest_block && at < lines.text().size(); ++count) {
        const std::string_view line = lines.line_at(at);
        if (is_in(*rule.end, line)) {
            return at;
        }
        if (is_in(*rule.begin, line)) {
            return 0;
        }
        at = lines.after(at);
    }
    return 0;
}

void find_rows(const CompiledBlock& rule, const TextLines& lines, std::size_t begin,
               std::vector<Found>& found) {
    for (std::size_t at = lines.after(begin); at < lines.text().size(); at = lines.after(at)) {
        const std::string_view line = lines.line_at(at);
        re2::StringPiece groups[2];
        if (line.empty() || !rule.row->Match(piece(line), 0, line.size(), RE2::UNANCHORED, groups, 2)) {
            return;
        }
        if (groups[1].data() == nullptr) {
            continue;
        }
        const auto place = at + static_cast<std::size_t>(groups[1].data() - line.data());
        if (auto secret = checked(Check::anything, lines.text(), place, place + groups[1].size())) {
            found.push_back(std::move(*secret));
        }
    }
}

}  // namespace

CompiledRule compiled(const std::string& hint, Check check, const std::string& pattern) {
    return {{hint}, check, compiled_pattern(pattern)};
}

CompiledRule compiled(const MaskRule& rule) {
    return {words_of(rule.hints), rule.check, compiled_pattern(expanded(rule.pattern))};
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
        result.push_back({rule.hint, compiled_pattern(expanded(rule.begin)),
                          compiled_pattern(expanded(rule.row)),
                          rule.end == nullptr ? nullptr : compiled_pattern(expanded(rule.end))});
    }
    return result;
}

TextLines::TextLines(std::string_view text) : text_(text), lowered_(text) {
    std::ranges::transform(lowered_, lowered_.begin(), [](unsigned char c) { return std::tolower(c); });
}

std::string_view TextLines::line_at(std::size_t begin) const {
    return text_.substr(begin, std::min(text_.find('\n', begin), text_.size()) - begin);
}

const std::vector<std::size_t>& TextLines::with(const std::string& word) {
    const auto [entry, is_new] = found_.try_emplace(word);
    if (is_new) {
        for (std::size_t at = lowered_.find(word); at < lowered_.size(); at = lowered_.find(word, at)) {
            const std::size_t before = at == 0 ? std::string::npos : lowered_.rfind('\n', at - 1);
            const std::size_t begin = before == std::string::npos ? 0 : before + 1;
            entry->second.push_back(begin);
            at = after(begin);
        }
    }
    return entry->second;
}

std::vector<std::size_t> TextLines::with_one_of(const std::vector<std::string>& words) {
    std::vector<std::size_t> lines;
    for (const std::string& word : words) {
        const std::vector<std::size_t>& found = with(word);
        lines.insert(lines.end(), found.begin(), found.end());
    }
    if (words.size() > 1) {
        std::ranges::sort(lines);
        lines.erase(std::unique(lines.begin(), lines.end()), lines.end());
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

void find_blocks(const CompiledBlock& rule, TextLines& lines, std::vector<Found>& found) {
    std::size_t passed = 0;
    for (const std::size_t begin : lines.with_one_of({rule.hint})) {
        if (begin < passed || !is_in(*rule.begin, lines.line_at(begin))) {
            continue;
        }
        const std::size_t body = lines.after(begin);
        const std::size_t end = end_of_block(rule, lines, begin);
        if (end == 0) {
            find_rows(rule, lines, begin, found);
        } else if (end > body + 1) {
            const std::string_view text = lines.text().substr(body, end - 1 - body);
            found.push_back({body, end - 1, std::string(text)});
            passed = end;
        }
    }
}

}  // namespace callhome::service
