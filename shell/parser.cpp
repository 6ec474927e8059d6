#include "parser.h"

#include <algorithm>

#include "callhome/context.h"
#include "matcher.h"
#include "words.h"

namespace callhome::shell {

namespace {

constexpr std::size_t most_tokens = CALLHOME_TOKEN_SLOTS - 1;  // the first slot is unused
constexpr std::size_t most_expected_words = 8;                 // in a message

struct LevelResult {
    std::variant<ParsedCommand, ParseError> result;
    std::size_t words_matched = 0;
};

void add_expected(ParseError& error, const std::string& word) {
    if (std::find(error.expected.begin(), error.expected.end(), word) == error.expected.end()) {
        error.expected.push_back(word);
    }
}

// The line's words after "no" and "do", matched against the commands of one mode.
class LevelParser {
 public:
    LevelParser(const Grammar& grammar, Matcher matcher, std::string_view line, std::string_view words)
        : grammar_(grammar), matcher_(std::move(matcher)), line_(line), rest_(words) {}

    LevelResult parse(std::size_t mode, bool no_form) {
        while (!rest_.empty()) {
            if (rest_.front() == filter_mark && matcher_.ended() != nullptr) {
                return finish(mode, no_form);
            }
            const std::string_view from_here = rest_;
            const std::string_view word = take_word(rest_);
            switch (matcher_.take(word, from_here)) {
                case MatchOutcome::matched:
                    ++words_matched_;
                    break;
                case MatchOutcome::matched_rest_of_line:
                    ++words_matched_;
                    rest_ = {};
                    break;
                case MatchOutcome::invalid:
                    return error(ErrorKind::invalid, word);
                case MatchOutcome::ambiguous:
                    return error(ErrorKind::ambiguous, word);
                case MatchOutcome::bad_value:
                    return error(ErrorKind::value, word);
            }
        }
        return finish(mode, no_form);
    }

 private:
    LevelResult error(ErrorKind kind, std::string_view word) const {
        ParseError error;
        error.kind = kind;
        error.word = word;
        error.position = word.empty() ? line_.size() : static_cast<std::size_t>(word.data() - line_.data());
        if (kind == ErrorKind::value) {
            error.reason = matcher_.why_bad_value();
        }
        for (const std::uint16_t index : matcher_.next_nodes()) {
            const Node& node = grammar_.nodes[index];
            if (kind != ErrorKind::ambiguous || (node.may_be_abbreviated && begins_keyword(node, word))) {
                add_expected(error,
                             std::string(node.parameter != nullptr ? node.parameter->name : node.word));
            }
        }
        return {std::move(error), words_matched_};
    }

    LevelResult finish(std::size_t mode, bool no_form) {
        ParsedCommand parsed;
        parsed.command = matcher_.ended();
        if (parsed.command == nullptr) {
            return error(ErrorKind::incomplete, {});
        }
        parsed.mode = mode;
        parsed.no_form = no_form;
        if (!rest_.empty()) {
            if (std::optional<FilterError> wrong = read_filters(parsed)) {
                ParseError error{wrong->is_incomplete ? ErrorKind::incomplete : ErrorKind::value,
                                 static_cast<std::size_t>(wrong->word.data() - line_.data()),
                                 std::string(wrong->word),
                                 {},
                                 std::move(wrong->reason)};
                return {std::move(error), words_matched_ + 1};
            }
        }
        add_tokens(parsed);
        if (parsed.tokens.size() > most_tokens) {
            ParseError error{
                ErrorKind::value, 0, {}, {}, "the command has more words than a handler can be given"};
            return {std::move(error), words_matched_};
        }
        return {std::move(parsed), words_matched_};
    }

    std::optional<FilterError> read_filters(ParsedCommand& parsed) const {
        if (std::optional<FilterError> wrong = parse_filters(rest_, parsed.filters)) {
            return wrong;
        }
        if (is_format(parsed.filters.front().kind) && !is_display(*parsed.command)) {
            std::string_view words = rest_.substr(1);
            return FilterError{take_word(words), "is a form of displays; this command is none", false};
        }
        return std::nullopt;
    }

    void add_tokens(ParsedCommand& parsed) const {
        for (const Step& step : matcher_.ended_steps()) {
            const Node& node = grammar_.nodes[step.node];
            parsed.ends_in_value = node.parameter != nullptr;
            if (parsed.ends_in_value) {
                parsed.values.push_back(step.value);
            }
            if (node.keyword_id) {
                parsed.tokens.push_back(
                    {*node.keyword_id, node.parameter != nullptr
                                           ? step.value
                                           : CheckedValue{std::string(node.token_text), 0}});
            }
        }
    }

    const Grammar& grammar_;
    Matcher matcher_;
    std::string_view line_, rest_;
    std::size_t words_matched_ = 0;
};

struct Level {
    std::size_t mode;
    Matcher matcher;
};

// The session's mode and those above it, innermost first; modes that know the first word as it stands
// come before those that only know words beginning so.
std::vector<Level> levels_for(const Grammar& grammar, std::size_t mode, bool exec_only, bool no_form,
                              std::string_view first_word) {
    std::vector<Level> levels;
    bool with_common = !exec_only;
    for (std::optional<std::size_t> at = mode; at; at = grammar.modes[*at].parent) {
        if (!exec_only || !grammar.modes[*at].parent) {
            levels.push_back({*at, Matcher(grammar, *at, with_common, no_form)});
        }
        with_common = false;
    }
    std::stable_partition(levels.begin(), levels.end(),
                          [&](const Level& level) { return level.matcher.begins_exactly(first_word); });
    return levels;
}

// How close a failed attempt came: words matched, then a wrong value before a wrong word.
std::size_t closeness(const LevelResult& result) {
    const ErrorKind kind = std::get<ParseError>(result.result).kind;
    return 2 * result.words_matched + (kind == ErrorKind::value || kind == ErrorKind::ambiguous ? 1 : 0);
}

// A message stays one line, however long the word.
std::string quoted(std::string_view word) {
    constexpr std::size_t longest_shown = 40;
    if (word.size() <= longest_shown) {
        return '"' + std::string(word) + '"';
    }
    std::size_t length = longest_shown;
    while (length > 0 && !is_utf8(word.substr(0, length))) {
        --length;
    }
    return '"' + std::string(word.substr(0, length)) + "...\"";
}

std::string listed(const std::vector<std::string>& words) {
    std::string list;
    for (std::size_t index = 0; index < std::min(words.size(), most_expected_words); ++index) {
        list += (index == 0 ? "" : ", ") + words[index];
    }
    return words.size() > most_expected_words ? list + ", ..." : list;
}

ParseResult parse_words(const Grammar& grammar, std::size_t mode, std::string_view line,
                        std::string_view words) {
    std::string_view after = words;
    std::string_view first = take_word(after);
    const bool exec_only = first == do_word && grammar.modes[mode].parent.has_value();
    if (exec_only) {
        words = after;
        first = take_word(after);
    }
    const bool no_form = first == no_word;
    if (no_form) {
        words = after;
        first = take_word(after);
    }
    std::optional<LevelResult> best;
    for (Level& level : levels_for(grammar, mode, exec_only, no_form, first)) {
        LevelResult attempt =
            LevelParser(grammar, std::move(level.matcher), line, words).parse(level.mode, no_form);
        if (auto* parsed = std::get_if<ParsedCommand>(&attempt.result)) {
            return std::move(*parsed);
        }
        auto& error = std::get<ParseError>(attempt.result);
        if (best && closeness(attempt) == closeness(*best)) {
            for (const std::string& word : error.expected) {
                add_expected(std::get<ParseError>(best->result), word);
            }
        } else if (!best || closeness(attempt) > closeness(*best)) {
            best = std::move(attempt);
        }
        // A mode further up must not take what is only too short for this one.
        if (std::get<ParseError>(best->result).kind == ErrorKind::ambiguous) {
            break;
        }
    }
    return std::move(std::get<ParseError>(best->result));
}

}  // namespace

bool is_comment(std::string_view trimmed_line) {
    return !trimmed_line.empty() && (trimmed_line.front() == '!' || trimmed_line.front() == '#');
}

ParseResult parse_line(const Grammar& grammar, std::size_t mode, std::string_view line) {
    const std::string_view words = trimmed(line);
    if (words.empty() || is_comment(words)) {
        return NothingTyped{};
    }
    std::size_t position = 0;
    if (std::optional<std::string> why = why_unprintable(words, position)) {
        position += static_cast<std::size_t>(words.data() - line.data());
        return ParseError{
            ErrorKind::value, position, {}, {}, "character " + std::to_string(position + 1) + " " + *why};
    }
    return parse_words(grammar, mode, line, words);
}

std::string describe(const ParseError& error) {
    switch (error.kind) {
        case ErrorKind::invalid:
            return "Invalid input at " + quoted(error.word) +
                   (error.expected.empty() ? ": nothing more can stand here"
                                           : ": expected " + listed(error.expected));
        case ErrorKind::incomplete:
            return "Incomplete command" +
                   (error.expected.empty() ? "" : ": expected " + listed(error.expected));
        case ErrorKind::ambiguous:
            return "Ambiguous command: " + quoted(error.word) + " may be " + listed(error.expected);
        case ErrorKind::value:
            break;
    }
    return "Invalid value: " + (error.word.empty() ? "" : quoted(error.word) + " ") + error.reason;
}

}  // namespace callhome::shell
