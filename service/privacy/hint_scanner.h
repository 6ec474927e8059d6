// Which lines of a text hold which of many words: all are looked for in one pass, after Aho and Corasick.
#pragma once

#include <array>
#include <bitset>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <string>
#include <string_view>
#include <vector>

namespace callhome::service {

inline constexpr std::size_t most_hints = 192;
using Hints = std::bitset<most_hints>;  // by a word's place in the list

struct HintedLine {
    std::size_t begin;
    Hints hints;
};

class HintScanner {
 public:
    // Of letters in lower case, and found in any. Throws std::logic_error for more words than there are
    // places.
    explicit HintScanner(std::vector<std::string> words);

    // The places of these words; throws std::logic_error for one that is not in the list.
    Hints hints_of(const std::vector<std::string>& words) const;

    // The lines that hold at least one of all words, in order.
    std::vector<HintedLine> lines_of(std::string_view text) const;

 private:
    using State = std::uint16_t;
    static constexpr std::size_t bytes = std::numeric_limits<unsigned char>::max() + 1U;

    State& next(State state, std::size_t kind) { return next_[state * kinds_ + kind]; }
    void number_the_kinds();
    void add_word(std::size_t place);
    void complete();

    std::vector<std::string> words_;
    std::array<std::uint8_t, bytes> kind_of_{};  // 0 for what stands in no word
    std::size_t kinds_ = 1;
    std::vector<State> next_;    // by state and kind of the next byte; 0 is the state without any
    std::vector<Hints> ending_;  // by state: the words that end there
};

}  // namespace callhome::service
