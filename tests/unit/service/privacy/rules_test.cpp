#include "privacy/rules.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <ostream>

#include "corpus.h"
#include "privacy/compiled_rules.h"

namespace callhome::service {

// What a failed test calls a row.
static void PrintTo(const MaskRule& rule, std::ostream* out) {
    *out << rule.pattern;
}

namespace {

std::vector<std::string> lines_of_all_texts() {
    std::string all;
    for (const char* file : {"secrets.txt", "identities.txt"}) {
        for (const tests::Form& form : tests::read_forms(file)) {
            all += form.text() + '\n';
        }
    }
    for (const char* file : {"kept.txt", "kept_unless_high.txt"}) {
        for (const std::string& text : tests::read_texts(file)) {
            all += text + '\n';
        }
    }
    std::vector<std::string> lines;
    for (std::size_t begin = 0; begin < all.size();) {
        const std::size_t end = all.find('\n', begin);
        lines.push_back(all.substr(begin, end - begin));
        begin = end + 1;
    }
    return lines;
}

class EachRule : public testing::TestWithParam<MaskRule> {
 protected:
    static const std::vector<std::string>& lines() {
        static const std::vector<std::string> all = lines_of_all_texts();
        return all;
    }
};

// A row that nothing in the corpus needs is a row that nobody knows to work.
TEST_P(EachRule, FindsALineOfTheCorpus) {
    const CompiledRule rule = compiled(GetParam());
    EXPECT_TRUE(std::ranges::any_of(lines(), [&](const std::string& line) {
        std::vector<Found> found;
        find_in_line(rule, line, found);
        return !found.empty();
    })) << GetParam().pattern;
}

// Else it would not be tried where it matches.
TEST_P(EachRule, HasAHintInEachLineThatItFinds) {
    const CompiledRule rule = compiled(GetParam());
    for (const std::string& line : lines()) {
        std::vector<Found> found;
        find_in_line(rule, line, found);
        EXPECT_TRUE(found.empty() || !HintScanner(rule.hints).lines_of(line).empty())
            << GetParam().pattern << " finds " << line;
    }
}

INSTANTIATE_TEST_SUITE_P(OfSecrets, EachRule,
                         testing::ValuesIn(secret_rules().begin(), secret_rules().end()));
INSTANTIATE_TEST_SUITE_P(OfIdentities, EachRule,
                         testing::ValuesIn(identity_rules().begin(), identity_rules().end()));
INSTANTIATE_TEST_SUITE_P(OfWhatIsKept, EachRule,
                         testing::ValuesIn(kept_rules().begin(), kept_rules().end()));

TEST(Blocks, EachFindsOneInTheCorpus) {
    std::string all;
    for (const tests::Form& form : tests::read_forms("secrets.txt")) {
        all += form.text() + "\n\n";
    }
    for (CompiledBlock& block : compiled(block_rules())) {
        const HintScanner scanner({block.hint});
        block.places = scanner.hints_of({block.hint});
        std::vector<Found> found;
        find_blocks(block, all, scanner.lines_of(all), found);
        EXPECT_FALSE(found.empty()) << block.begin->pattern();
    }
}

TEST(Expanded, BlanksAndPiecesStandForWhatTheySay) {
    EXPECT_EQ(expanded("a b~c"), "a[ \\t]+b[ \\t]*c");
    EXPECT_EQ(expanded("[ ~%]\\ %%"), "[ ~%]\\ %");
    EXPECT_EQ(expanded("[^\\]~]~"), "[^\\]~][ \\t]*");
    EXPECT_NE(expanded("%value%").find('('), std::string::npos);
    EXPECT_THROW(expanded("%no such piece%"), std::logic_error);
}

}  // namespace
}  // namespace callhome::service
