#include "privacy/hint_scanner.h"

#include <gtest/gtest.h>
#include <rapidcheck.h>

#include <stdexcept>

#include "privacy/secret_finder.h"

namespace callhome::service {
namespace {

// Each line and word by itself.
std::vector<std::size_t> plainly_found(const std::string& word, const std::string& text) {
    std::vector<std::size_t> lines;
    const std::string lowered = lower_case(text);
    for (std::size_t begin = 0; begin <= lowered.size();) {
        const std::size_t end = std::min(lowered.find('\n', begin), lowered.size());
        if (lowered.substr(begin, end - begin).find(word) != std::string::npos) {
            lines.push_back(begin);
        }
        begin = end + 1;
    }
    return lines;
}

std::vector<std::size_t> found(const HintScanner& scanner, const std::string& word,
                               const std::string& text) {
    std::vector<std::size_t> lines;
    for (const HintedLine& line : scanner.lines_of(text)) {
        if ((line.hints & scanner.hints_of({word})).any()) {
            lines.push_back(line.begin);
        }
    }
    return lines;
}

TEST(HintScanner, FindsWordsWithinAndBehindOneAnotherInAnyCase) {
    const HintScanner scanner({"key", "monkey", "eyes", "$"});
    const std::string text = "MonKeyes\n\nnothing\nke\ny$";
    EXPECT_EQ(found(scanner, "monkey", text), (std::vector<std::size_t>{0}));
    EXPECT_EQ(found(scanner, "key", text), (std::vector<std::size_t>{0}));
    EXPECT_EQ(found(scanner, "eyes", text), (std::vector<std::size_t>{0}));
    EXPECT_EQ(found(scanner, "$", text), (std::vector<std::size_t>{21}));
    EXPECT_EQ(scanner.lines_of(text).size(), 2U);
    EXPECT_TRUE(scanner.lines_of("").empty());
}

TEST(HintScanner, FindsWhatALookAtEachLineFinds) {
    const auto letters = rc::gen::elementOf(std::string("abAB:\n\xC3\xBC"));
    const auto word =
        rc::gen::nonEmpty(rc::gen::container<std::string>(rc::gen::elementOf(std::string("ab:"))));
    EXPECT_TRUE(rc::check("all words, all lines", [&] {
        const auto words =
            *rc::gen::nonEmpty(rc::gen::container<std::vector<std::string>>(rc::gen::resize(5, word)));
        const auto text = *rc::gen::container<std::string>(letters);
        const HintScanner scanner(words);
        for (const std::string& each : words) {
            RC_ASSERT(found(scanner, each, text) == plainly_found(each, text));
        }
    }));
}

TEST(HintScanner, KnowsOnlyItsWordsAndHasRoomForSoMany) {
    EXPECT_THROW((void)HintScanner({"one"}).hints_of({"two"}), std::logic_error);
    std::vector<std::string> words;
    for (std::size_t i = 0; i < most_hints; ++i) {
        words.push_back(std::to_string(i));
    }
    EXPECT_EQ(HintScanner(words).lines_of("17").size(), 1U);
    words.emplace_back("one more");
    EXPECT_THROW(HintScanner{words}, std::logic_error);
}

}  // namespace
}  // namespace callhome::service
