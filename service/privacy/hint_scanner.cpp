#include "privacy/hint_scanner.h"

#include <algorithm>
#include <cctype>
#include <deque>
#include <stdexcept>
#include <utility>

namespace callhome::service {

HintScanner::HintScanner(std::vector<std::string> words) : words_(std::move(words)) {
    std::ranges::sort(words_);
    words_.erase(std::unique(words_.begin(), words_.end()), words_.end());
    if (words_.size() > most_hints) {
        throw std::logic_error("more hints of masks than there are places for");
    }
    number_the_kinds();
    next_.resize(kinds_);
    ending_.resize(1);
    for (std::size_t place = 0; place < words_.size(); ++place) {
        add_word(place);
    }
    complete();
}

void HintScanner::number_the_kinds() {
    for (const std::string& word : words_) {
        for (const char c : word) {
            const auto byte = static_cast<unsigned char>(c);
            if (kind_of_[byte] == 0) {
                kind_of_[byte] = static_cast<std::uint8_t>(kinds_++);
                kind_of_[static_cast<unsigned char>(std::toupper(byte))] = kind_of_[byte];
            }
        }
    }
}

void HintScanner::add_word(std::size_t place) {
    State state = 0;
    for (const char c : words_[place]) {
        const std::uint8_t kind = kind_of_[static_cast<unsigned char>(c)];
        if (next(state, kind) == 0) {
            next(state, kind) = static_cast<State>(ending_.size());
            next_.resize(next_.size() + kinds_);
            ending_.emplace_back();
        }
        state = next(state, kind);
    }
    ending_[state].set(place);
}

// Where a word does not go on, its longest end that begins another one does, and that one's words end there
// too. The nearest states come first, so those of shorter ends are complete already.
void HintScanner::complete() {
    std::vector<State> shorter(ending_.size());
    std::deque<State> open{0};
    while (!open.empty()) {
        const State state = open.front();
        open.pop_front();
        ending_[state] |= ending_[shorter[state]];
        for (std::size_t kind = 1; kind < kinds_; ++kind) {
            State& following = next(state, kind);
            const State instead = state == 0 ? State{0} : next(shorter[state], kind);
            if (following == 0) {
                following = instead;
            } else {
                shorter[following] = instead;
                open.push_back(following);
            }
        }
    }
}

Hints HintScanner::hints_of(const std::vector<std::string>& words) const {
    Hints hints;
    for (const std::string& word : words) {
        const auto found = std::ranges::lower_bound(words_, word);
        if (found == words_.end() || *found != word) {
            throw std::logic_error("no such hint of a mask: " + word);
        }
        hints.set(static_cast<std::size_t>(found - words_.begin()));
    }
    return hints;
}

std::vector<HintedLine> HintScanner::lines_of(std::string_view text) const {
    std::vector<HintedLine> lines;
    HintedLine line{};
    bool any = false;
    State state = 0;
    for (std::size_t at = 0; at < text.size(); ++at) {
        state = next_[state * kinds_ + kind_of_[static_cast<unsigned char>(text[at])]];
        if (state != 0 && ending_[state].any()) {
            line.hints |= ending_[state];
            any = true;
        }
        if (text[at] == '\n') {
            if (any) {
                lines.push_back(line);
            }
            line = {at + 1, {}};
            any = false;
        }
    }
    if (any) {
        lines.push_back(line);
    }
    return lines;
}

}  // namespace callhome::service
