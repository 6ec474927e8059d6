#include "help.h"

#include <algorithm>

#include "filter.h"
#include "matcher.h"
#include "parser.h"
#include "words.h"

namespace callhome::shell {

namespace {

constexpr std::string_view pattern_help = "Regular expression";
constexpr std::string_view no_help = "Remove a setting, or set it back";
constexpr std::string_view do_help = "Run a command of exec mode";

void add(Expectation& expectation, Candidate candidate) {
    auto& all = expectation.candidates;
    if (std::find(all.begin(), all.end(), candidate) == all.end()) {
        all.push_back(std::move(candidate));
    }
}

std::string shown_parameter(const Parameter& parameter) {
    if (is_number(parameter.kind)) {
        std::string range("<");
        range.append(std::to_string(parameter.range.least)).append("-");
        return range.append(std::to_string(parameter.range.most)).append(">");
    }
    return std::string(parameter.name);
}

Candidate candidate_for(const Grammar& grammar, const Node& node) {
    if (node.parameter != nullptr) {
        return {shown_parameter(*node.parameter), node.parameter->help, false};
    }
    const auto help = grammar.word_help.find(node.word);
    return {std::string(node.word), help == grammar.word_help.end() ? std::string_view{} : help->second,
            true};
}

// The words after the command: "| include PATTERN | count". False when it does not know them.
bool expect_filter(Expectation& expectation, const Command& command, std::string_view filters) {
    const std::string_view last = last_filter(filters);
    const auto earlier = filters.substr(0, static_cast<std::size_t>(last.data() - filters.data()));
    const bool ends_in_blank = blanks.find(filters.back()) != std::string_view::npos;
    const std::string_view rest = trimmed(last.substr(1));
    std::vector<FilterSpec> specs;
    if (parse_filters(earlier, specs)) {
        return false;
    }
    const bool is_at_word =
        rest.empty() || (!ends_in_blank && rest.find_first_of(blanks) == std::string_view::npos);
    if (is_at_word) {
        expectation.partial = rest;
        for (const FilterWord& filter : filter_words) {
            const bool may_stand_here = !is_format(filter.kind) || (earlier.empty() && is_display(command));
            if (filter.word.starts_with(rest) && may_stand_here) {
                add(expectation, {std::string(filter.word), filter.help, true});
            }
        }
        return true;
    }
    const std::optional<FilterError> wrong = parse_filters(last, specs);
    if (wrong && !wrong->is_incomplete) {
        return false;
    }
    const bool is_pattern = wrong || (!specs.empty() && !specs.back().pattern.empty());
    expectation.may_end = !wrong;
    if (is_pattern) {
        expectation.is_inside_value = !ends_in_blank;
        expectation.partial =
            ends_in_blank ? rest.substr(rest.size()) : rest.substr(rest.find_last_of(blanks) + 1);
        add(expectation, {"PATTERN", pattern_help, false});
    }
    return true;
}

// Cuts the partial word off the text before the cursor.
std::string_view take_partial(std::string_view& text) {
    const std::size_t blank = text.find_last_of(blanks);
    const std::size_t begin = blank == std::string_view::npos ? 0 : blank + 1;
    const std::string_view partial = text.substr(begin);
    text = text.substr(0, begin);
    return partial;
}

void add_next(Expectation& expectation, const Grammar& grammar, const Matcher& matcher,
              std::string_view partial) {
    bool takes_value = false;
    bool takes_keyword = false;
    for (const std::uint16_t index : matcher.next_nodes()) {
        const Node& node = grammar.nodes[index];
        if (node.parameter != nullptr || begins_keyword(node, partial)) {
            add(expectation, candidate_for(grammar, node));
            takes_value = takes_value || node.parameter != nullptr;
            expectation.may_begin_text = expectation.may_begin_text ||
                                         (node.parameter != nullptr && !is_number(node.parameter->kind));
            takes_keyword = takes_keyword || node.parameter == nullptr;
        }
    }
    expectation.is_inside_value = takes_value && !takes_keyword && !partial.empty();
    if (partial.empty() && matcher.ended() != nullptr) {
        expectation.may_end = true;
    }
}

// Adds what may come after `words` among the commands of one mode. False when it does not know them.
// `partial` stands behind them; what it is for a filter, another mode may have put into `expectation`.
bool expect_in_mode(Expectation& expectation, const Grammar& grammar, Matcher& matcher,
                    std::string_view words, std::string_view partial) {
    while (!words.empty()) {
        if (words.front() == filter_mark && matcher.ended() != nullptr) {
            // The partial word belongs to the filters.
            const char* end = partial.data() + partial.size();
            return expect_filter(expectation, *matcher.ended(),
                                 {words.data(), static_cast<std::size_t>(end - words.data())});
        }
        const std::string_view from_here = words;
        const std::vector<std::uint16_t> possible = matcher.next_nodes();
        const std::string_view word = take_word(words);
        const MatchOutcome outcome = matcher.take(word, from_here);
        if (outcome == MatchOutcome::matched_rest_of_line) {
            for (const std::uint16_t index : possible) {
                if (grammar.nodes[index].parameter != nullptr) {
                    add(expectation, candidate_for(grammar, grammar.nodes[index]));
                }
            }
            expectation.is_inside_value = true;
            expectation.may_end = true;
            return true;
        }
        if (outcome != MatchOutcome::matched) {
            return false;
        }
    }
    if (partial.starts_with(filter_mark) && matcher.ended() != nullptr) {
        return expect_filter(expectation, *matcher.ended(), partial);
    }
    add_next(expectation, grammar, matcher, partial);
    return true;
}

struct LineStart {
    bool exec_only = false;
    bool no_form = false;
};

// Takes "do" and "no" off the finished words.
LineStart take_line_start(const Grammar& grammar, std::size_t mode, std::string_view& words) {
    LineStart start;
    std::string_view after = words;
    if (take_word(after) == do_word && grammar.modes[mode].parent) {
        start.exec_only = true;
        words = after;
    }
    after = words;
    if (take_word(after) == no_word) {
        start.no_form = true;
        words = after;
    }
    return start;
}

}  // namespace

Expectation expectation_at(const Grammar& grammar, std::size_t mode, std::string_view text) {
    Expectation expectation;
    std::string_view words = text;
    expectation.partial = take_partial(words);
    words = trimmed(words);
    const LineStart start = take_line_start(grammar, mode, words);
    const bool is_first_word = words.empty();
    if (is_first_word && !start.no_form && !start.exec_only && grammar.modes[mode].parent) {
        for (const auto& [word, help] : {std::pair{no_word, no_help}, std::pair{do_word, do_help}}) {
            if (word.starts_with(expectation.partial)) {
                add(expectation, {std::string(word), help, true});
            }
        }
    }
    bool understood = false;
    bool with_common = !start.exec_only;
    const std::string_view partial = expectation.partial;
    for (std::optional<std::size_t> at = mode; at; at = grammar.modes[*at].parent) {
        if (!start.exec_only || !grammar.modes[*at].parent) {
            Matcher matcher(grammar, *at, with_common, start.no_form);
            understood = expect_in_mode(expectation, grammar, matcher, words, partial) || understood;
        }
        with_common = false;
        // At the beginning of a line the mode's own words are what is looked for.
        if (is_first_word && !expectation.candidates.empty()) {
            break;
        }
    }
    expectation.understood = understood;
    if (!understood) {
        expectation.partial = partial;
    }
    return expectation;
}

std::string help_text(const Expectation& expectation) {
    constexpr std::size_t narrowest_column = 12;
    if (!expectation.understood) {
        return "% Unrecognized command\n";
    }
    std::size_t width = narrowest_column;
    for (const Candidate& candidate : expectation.candidates) {
        width = std::max(width, candidate.shown.size());
    }
    std::vector<Candidate> sorted = expectation.candidates;
    std::stable_sort(sorted.begin(), sorted.end(), [](const Candidate& left, const Candidate& right) {
        return left.shown < right.shown;
    });
    std::string text;
    for (const Candidate& candidate : sorted) {
        text.append("  ").append(candidate.shown).append(width - candidate.shown.size() + 2, ' ');
        text.append(candidate.help).append("\n");
    }
    if (expectation.may_end) {
        text += "  <cr>\n";
    }
    return text.empty() ? "% There is no such word here\n" : text;
}

Completion complete(const Grammar& grammar, std::size_t mode, std::string_view text) {
    Completion completion;
    const Expectation expectation = expectation_at(grammar, mode, text);
    for (const Candidate& candidate : expectation.candidates) {
        if (candidate.is_keyword) {
            completion.choices.push_back(candidate.shown);
        }
    }
    if (completion.choices.empty() || !expectation.understood) {
        return {};
    }
    std::sort(completion.choices.begin(), completion.choices.end());
    const std::string& first = completion.choices.front();
    const std::string& last = completion.choices.back();
    const auto common = static_cast<std::size_t>(
        std::mismatch(first.begin(), first.end(), last.begin(), last.end()).first - first.begin());
    if (common > expectation.partial.size()) {
        completion.insert = first.substr(expectation.partial.size(), common - expectation.partial.size());
    }
    if (completion.choices.size() == 1) {
        completion.insert += ' ';
        completion.choices.clear();
    }
    return completion;
}

}  // namespace callhome::shell
