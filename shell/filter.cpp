#include "filter.h"

#include <re2/re2.h>

#include <algorithm>

#include "words.h"

namespace callhome::shell {

namespace {

constexpr std::int64_t pattern_memory = 1 << 20;  // bytes, for one compiled pattern
constexpr std::size_t longest_line = 1 << 20;     // a longer one is shown in pieces

RE2::Options pattern_options() {
    RE2::Options options;
    options.set_log_errors(false);
    options.set_max_mem(pattern_memory);
    return options;
}

re2::StringPiece piece(std::string_view text) {
    return {text.data(), text.size()};
}

// The pattern at the beginning of `rest`, which is taken off.
std::string_view take_pattern(std::string_view& rest) {
    if (!rest.empty() && rest.front() == '"') {
        const std::size_t end = rest.find('"', 1);
        if (end != std::string_view::npos) {
            const std::string_view pattern = rest.substr(1, end - 1);
            rest = trimmed(rest.substr(end + 1));
            return pattern;
        }
    }
    const std::size_t next = rest.starts_with(filter_mark) ? 0 : std::min(rest.find(" |"), rest.size());
    const std::string_view pattern = trimmed(rest.substr(0, next));
    rest = trimmed(rest.substr(next));
    return pattern;
}

const FilterWord* filter_named(std::string_view typed) {
    const FilterWord* found = nullptr;
    for (const FilterWord& row : filter_words) {
        if (!typed.empty() && row.word.starts_with(typed)) {
            if (found != nullptr) {
                return nullptr;
            }
            found = &row;
        }
    }
    return found;
}

std::optional<FilterError> why_bad_pattern(std::string_view pattern) {
    const RE2 compiled(piece(pattern), pattern_options());
    if (!compiled.ok()) {
        return FilterError{pattern, "is not a pattern: " + compiled.error(), false};
    }
    return std::nullopt;
}

}  // namespace

std::optional<FilterError> parse_filters(std::string_view text, std::vector<FilterSpec>& filters) {
    while (!text.empty()) {
        if (text.front() != filter_mark) {
            return FilterError{text, "stands where only another filter can stand", false};
        }
        std::string_view rest = trimmed(text.substr(1));
        if (rest.empty()) {
            return FilterError{rest, {}, true};
        }
        const std::string_view typed = take_word(rest);
        const FilterWord* filter = filter_named(typed);
        if (filter == nullptr) {
            return FilterError{
                typed, "is not a filter: use include, exclude, begin, count, no-more, json or xml", false};
        }
        if (is_format(filter->kind) && !filters.empty()) {
            return FilterError{typed, "can only be the first filter", false};
        }
        FilterSpec spec{filter->kind, {}};
        if (filter->takes_pattern) {
            const std::string_view pattern = take_pattern(rest);
            if (pattern.empty()) {
                return FilterError{rest, {}, true};
            }
            if (std::optional<FilterError> wrong = why_bad_pattern(pattern)) {
                return wrong;
            }
            spec.pattern = pattern;
        }
        filters.push_back(std::move(spec));
        text = rest;
    }
    return std::nullopt;
}

std::string_view last_filter(std::string_view text) {
    for (;;) {
        std::string_view rest = text.substr(1);
        const FilterWord* filter = filter_named(take_word(rest));
        if (filter != nullptr && filter->takes_pattern) {
            take_pattern(rest);
        }
        if (!rest.starts_with(filter_mark)) {
            return text;
        }
        text = rest;
    }
}

struct FilterChain::Stage {
    Stage(FilterKind kind_of_stage, const std::string& text)
        : kind(kind_of_stage), pattern(text, pattern_options()) {}

    bool matches(std::string_view line) const { return RE2::PartialMatch(piece(line), pattern); }

    FilterKind kind;
    RE2 pattern;
    bool has_begun = false;
    std::uint64_t lines = 0;
};

FilterChain::FilterChain(const std::vector<FilterSpec>& filters) {
    for (const FilterSpec& filter : filters) {
        if (filter.kind != FilterKind::no_more && !is_format(filter.kind)) {
            stages_.push_back(std::make_unique<Stage>(filter.kind, filter.pattern));
        }
    }
}

FilterChain::~FilterChain() = default;

void FilterChain::take(std::string_view line, std::string& shown) {
    pass(0, line, shown);
}

void FilterChain::pass(std::size_t stage, std::string_view line, std::string& shown) {
    for (; stage < stages_.size(); ++stage) {
        Stage& filter = *stages_[stage];
        switch (filter.kind) {
            case FilterKind::include:
                if (!filter.matches(line)) {
                    return;
                }
                break;
            case FilterKind::exclude:
                if (filter.matches(line)) {
                    return;
                }
                break;
            case FilterKind::begin:
                filter.has_begun = filter.has_begun || filter.matches(line);
                if (!filter.has_begun) {
                    return;
                }
                break;
            case FilterKind::count:
                ++filter.lines;
                return;
            case FilterKind::no_more:
            case FilterKind::json:
            case FilterKind::xml:
                break;
        }
    }
    shown.append(line);
    shown += '\n';
}

void FilterChain::finish(std::string& shown) {
    for (std::size_t stage = 0; stage < stages_.size(); ++stage) {
        if (stages_[stage]->kind == FilterKind::count) {
            pass(stage + 1, std::to_string(stages_[stage]->lines), shown);
        }
    }
}

void TextFilter::take(std::string_view piece, std::string& shown) {
    pending_ += piece;
    std::size_t begin = 0;
    for (std::size_t end = 0; (end = pending_.find('\n', begin)) != std::string::npos; begin = end + 1) {
        chain_.take(std::string_view(pending_).substr(begin, end - begin), shown);
    }
    pending_.erase(0, begin);
    if (pending_.size() > longest_line) {
        chain_.take(pending_, shown);
        pending_.clear();
    }
}

void TextFilter::finish(std::string& shown) {
    if (!pending_.empty()) {
        chain_.take(pending_, shown);
        pending_.clear();
    }
    chain_.finish(shown);
}

}  // namespace callhome::shell
