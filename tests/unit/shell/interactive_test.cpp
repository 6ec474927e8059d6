// Errors under the line that was typed.
#include "interactive.h"

#include <gtest/gtest.h>

#include "options.h"

namespace callhome::shell {
namespace {

std::string shown(std::string_view line) {
    static const Grammar grammar = read_grammar(embedded_grammar(), embedded_grammar_name);
    constexpr std::size_t prompt_width = 4;
    return error_under_line(std::get<ParseError>(parse_line(grammar, 2, line)), line, prompt_width);
}

TEST(ErrorUnderLine, PointsAtTheWord) {
    EXPECT_EQ(shown("show wrod"), "         ^\n% Invalid input\n");
}

TEST(ErrorUnderLine, CountsCharactersAndNotBytes) {
    EXPECT_EQ(shown("destination-profile ü wrod"), "                          ^\n% Invalid input\n");
}

TEST(ErrorUnderLine, ListsWhatAnAmbiguousWordMayBe) {
    EXPECT_EQ(shown("en"), "    ^\n% Ambiguous command: \"en\"\n  enable\n  end\n");
}

TEST(ErrorUnderLine, SaysTheRangeOfANumber) {
    EXPECT_EQ(shown("switch-priority 9"),
              "                    ^\n% Invalid value: \"9\" is not a number from 0 to 7\n");
}

TEST(ErrorUnderLine, PointsNowhereWhenTheLineIsTooShort) {
    EXPECT_EQ(shown("show"), "% Incomplete command\n");
}

Options read(std::vector<const char*> words) {
    return read_options(words);
}

TEST(Options, KeepCommandsAndFilesInTheirOrder) {
    const Options options = read({"-c", "one", "--file=two", "--command", "three", "--echo"});
    ASSERT_EQ(options.sources.size(), 3U);
    EXPECT_EQ(options.sources[0].text, "one");
    EXPECT_TRUE(options.sources[1].is_file);
    EXPECT_EQ(options.sources[1].text, "two");
    EXPECT_EQ(options.sources[2].text, "three");
    EXPECT_TRUE(options.echo);
}

TEST(Options, AreRefusedWhenUnknownOrWithoutTheirArgument) {
    EXPECT_THROW(read({"--nonsense"}), UsageError);
    EXPECT_THROW(read({"show"}), UsageError);
    EXPECT_THROW(read({"-c"}), UsageError);
    EXPECT_THROW(read({"--echo=yes"}), UsageError);
}

TEST(Options, AreListedExceptThoseForDevelopers) {
    EXPECT_NE(usage().find("--keep-going"), std::string::npos);
    EXPECT_EQ(usage().find("--dump-commands"), std::string::npos);
}

}  // namespace
}  // namespace callhome::shell
