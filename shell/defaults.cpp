#include "defaults.h"

#include <algorithm>

#include "parser.h"
#include "words.h"

namespace callhome::shell {

namespace {

// The words of a line with one blank between them, without "no".
std::string words_of(std::string_view line) {
    std::string words;
    for (std::string_view word = take_word(line); !word.empty(); word = take_word(line)) {
        if (words.empty() && word == no_word) {
            continue;
        }
        words.append(words.empty() ? "" : " ").append(word);
    }
    return words;
}

std::string without_last_word(const std::string& words) {
    const std::size_t blank = words.rfind(' ');
    return blank == std::string::npos ? std::string() : words.substr(0, blank);
}

// True when the line's last word is a value.
bool ends_in_value(const Grammar& grammar, std::size_t mode, std::string_view line) {
    const ParseResult result = parse_line(grammar, mode, line);
    const auto* command = std::get_if<ParsedCommand>(&result);
    return command != nullptr && command->ends_in_value;
}

// Names that the grammar knows as words are not those of the operator's own entries.
bool is_name_in_grammar(const Grammar& grammar, std::string_view word) {
    return std::any_of(grammar.nodes.begin(), grammar.nodes.end(),
                       [&](const Node& node) { return !node.may_be_abbreviated && node.word == word; });
}

}  // namespace

MissingDefaults::MissingDefaults(const Grammar& grammar, std::size_t mode)
    : grammar_(grammar), mode_(mode) {
    for (const DefaultLine& line : grammar.defaults) {
        if (line.mode != mode) {
            continue;
        }
        const std::size_t begin = line.text.find('<');
        if (begin == std::string_view::npos) {
            add(std::string(line.text));
        } else {
            const std::size_t end = line.text.find('>', begin);
            patterns_.push_back({line.text.substr(0, begin), line.text.substr(end + 1), {}});
        }
    }
}

void MissingDefaults::add(std::string line) {
    const std::string words = words_of(line);
    if (ends_in_value(grammar_, mode_, line)) {
        with_value_.emplace(without_last_word(words), settings_.size());
    } else {
        without_value_.emplace(words, settings_.size());
    }
    settings_.push_back({std::move(line), false});
}

void MissingDefaults::add_names_of(std::string_view line) {
    for (Pattern& pattern : patterns_) {
        if (!line.starts_with(pattern.before)) {
            continue;
        }
        std::string_view rest = line.substr(pattern.before.size());
        const std::string name(take_word(rest));
        if (!name.empty() && !is_name_in_grammar(grammar_, name) && pattern.names.insert(name).second) {
            add(std::string(pattern.before).append(name).append(pattern.after));
        }
    }
}

void MissingDefaults::notice(std::string_view line) {
    add_names_of(line);
    const std::string words = words_of(line);
    if (const auto found = without_value_.find(words); found != without_value_.end()) {
        settings_[found->second].is_set = true;
    }
    if (const auto found = with_value_.find(without_last_word(words)); found != with_value_.end()) {
        settings_[found->second].is_set = true;
    }
}

std::vector<std::string> MissingDefaults::lines() const {
    std::vector<std::string> missing;
    for (const Setting& setting : settings_) {
        if (!setting.is_set) {
            missing.push_back(setting.line);
        }
    }
    return missing;
}

}  // namespace callhome::shell
