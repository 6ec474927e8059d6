#include "matcher.h"

#include <strings.h>

#include <algorithm>

namespace callhome::shell {

namespace {

bool equal_without_case(std::string_view left, std::string_view right) {
    return left.size() == right.size() && strncasecmp(left.data(), right.data(), left.size()) == 0;
}

constexpr std::size_t no_path = SIZE_MAX;

}  // namespace

bool is_keyword(const Node& node, std::string_view typed) {
    if (node.parameter != nullptr) {
        return false;
    }
    return node.may_be_abbreviated ? equal_without_case(node.word, typed) : node.word == typed;
}

bool begins_keyword(const Node& node, std::string_view typed) {
    if (node.parameter != nullptr || typed.size() > node.word.size()) {
        return false;
    }
    const std::string_view beginning = node.word.substr(0, typed.size());
    return node.may_be_abbreviated ? equal_without_case(beginning, typed) : beginning == typed;
}

Matcher::Matcher(const Grammar& grammar, std::size_t mode, bool with_common, bool no_form)
    : grammar_(&grammar) {
    first_.reserve(grammar.commands.size());
    for (const Command& command : grammar.commands) {
        const bool is_here = command.mode ? *command.mode == mode : with_common;
        const bool has_form = command.forms == Forms::both || (command.forms == Forms::no_only) == no_form;
        if (is_here && has_form) {
            first_.insert(first_.end(), command.first.begin(), command.first.end());
        }
    }
}

std::vector<Matcher::Continuation> Matcher::continuations() const {
    std::vector<Continuation> possible;
    possible.reserve(first_.size());
    if (at_start_) {
        for (const std::uint16_t node : first_) {
            possible.push_back({no_path, node});
        }
    }
    for (std::size_t path = 0; path < paths_.size(); ++path) {
        for (const std::uint16_t node : grammar_->nodes[paths_[path].steps.back().node].followers) {
            possible.push_back({path, node});
        }
    }
    return possible;
}

MatchOutcome Matcher::take(std::string_view word, std::string_view rest) {
    const std::vector<Continuation> possible = continuations();
    const MatchOutcome outcome = take_keyword(word, possible);
    return outcome == MatchOutcome::invalid ? take_value(word, rest, possible) : outcome;
}

MatchOutcome Matcher::take_keyword(std::string_view word, const std::vector<Continuation>& possible) {
    std::vector<Continuation> chosen;
    for (const Continuation& next : possible) {
        if (is_keyword(grammar_->nodes[next.node], word)) {
            chosen.push_back(next);
        }
    }
    if (chosen.empty()) {
        for (const Continuation& next : possible) {
            const Node& node = grammar_->nodes[next.node];
            if (node.may_be_abbreviated && begins_keyword(node, word)) {
                chosen.push_back(next);
            }
        }
    }
    if (chosen.empty()) {
        return MatchOutcome::invalid;
    }
    const std::string_view first_word = grammar_->nodes[chosen.front().node].word;
    const bool is_ambiguous = std::any_of(chosen.begin(), chosen.end(), [&](const Continuation& next) {
        return grammar_->nodes[next.node].word != first_word;
    });
    if (is_ambiguous) {
        return MatchOutcome::ambiguous;
    }
    std::vector<Path> paths;
    for (const Continuation& next : chosen) {
        Path path = next.path == no_path ? Path{} : paths_[next.path];
        path.steps.push_back({next.node, {}});
        paths.push_back(std::move(path));
    }
    paths_ = std::move(paths);
    at_start_ = false;
    return MatchOutcome::matched;
}

MatchOutcome Matcher::take_value(std::string_view word, std::string_view rest,
                                 const std::vector<Continuation>& possible) {
    std::vector<Path> paths;
    bool took_rest = false;
    bool was_refused = false;
    for (const Continuation& next : possible) {
        const Node& node = grammar_->nodes[next.node];
        if (node.parameter == nullptr) {
            continue;
        }
        const bool is_text = node.parameter->kind == ValueKind::text;
        std::string why_not;
        std::optional<CheckedValue> value =
            check_value(node.parameter->kind, node.parameter->range, is_text ? rest : word, why_not);
        if (!value) {
            why_bad_value_ = std::move(why_not);
            was_refused = true;
            continue;
        }
        Path path = next.path == no_path ? Path{} : paths_[next.path];
        path.steps.push_back({next.node, std::move(*value)});
        paths.push_back(std::move(path));
        took_rest = took_rest || is_text;
    }
    if (paths.empty()) {
        return was_refused ? MatchOutcome::bad_value : MatchOutcome::invalid;
    }
    paths_ = std::move(paths);
    at_start_ = false;
    return took_rest ? MatchOutcome::matched_rest_of_line : MatchOutcome::matched;
}

std::vector<std::uint16_t> Matcher::next_nodes() const {
    std::vector<std::uint16_t> nodes;
    for (const Continuation& next : continuations()) {
        nodes.push_back(next.node);
    }
    return nodes;
}

std::size_t Matcher::ended_path() const {
    for (std::size_t path = 0; path < paths_.size(); ++path) {
        if (grammar_->nodes[paths_[path].steps.back().node].may_end) {
            return path;
        }
    }
    return no_path;
}

const Command* Matcher::ended() const {
    const std::size_t path = ended_path();
    return path == no_path ? nullptr
                           : &grammar_->commands[grammar_->nodes[paths_[path].steps.back().node].command];
}

const std::vector<Step>& Matcher::ended_steps() const {
    return paths_[ended_path()].steps;
}

bool Matcher::begins_exactly(std::string_view word) const {
    return std::any_of(first_.begin(), first_.end(),
                       [&](std::uint16_t node) { return is_keyword(grammar_->nodes[node], word); });
}

}  // namespace callhome::shell
