// Which defaults a configuration leaves unsaid.
#include "defaults.h"

#include <gtest/gtest.h>

#include "parser.h"
#include "real_grammar.h"

namespace callhome::shell {
namespace {

using Lines = std::vector<std::string>;

const Grammar& small_grammar() {
    static const Grammar read = read_grammar(
        "mode exec\n"
        "mode edit exec (edit)\n"
        "value NAME word 1-9 : Name\n"
        "value N u32 0-99 : Number\n"
        "edit [no] enable = @x : Help\n"
        "edit [no] inventory [interval <N>] = @x : Help\n"
        "edit profile (own! | <NAME>) (size <N> | level <N>) = @x : Help\n"
        "default edit no inventory\n"
        "default edit inventory interval 7\n"
        "default edit profile own size 5\n"
        "default edit profile <NAME> level 0\n"
        "default edit profile <NAME> size 3\n"
        "default exec never said here\n"
        "default edit no enable\n",
        "g");
    return read;
}

Lines missing_from(const Lines& lines) {
    MissingDefaults defaults(small_grammar(), small_grammar().mode_named("edit"));
    for (const std::string& line : lines) {
        defaults.notice(line);
    }
    return defaults.lines();
}

TEST(MissingDefaults, AreAllOfTheModeWhenNothingIsSaid) {
    EXPECT_EQ(missing_from({}),
              (Lines{"no inventory", "inventory interval 7", "profile own size 5", "no enable"}));
}

TEST(MissingDefaults, AreNotAddedToWhatIsSaidWithOrWithoutNo) {
    EXPECT_EQ(missing_from({"inventory", "enable"}), (Lines{"inventory interval 7", "profile own size 5"}));
    EXPECT_EQ(missing_from({"no inventory", "no enable"}),
              (Lines{"inventory interval 7", "profile own size 5"}));
}

TEST(MissingDefaults, AnotherValueIsTheSameSettingHoweverItIsSpaced) {
    EXPECT_EQ(missing_from({"inventory interval  9", "profile own  size 1"}),
              (Lines{"no inventory", "no enable"}));
}

TEST(MissingDefaults, ADeeperSettingIsAnother) {
    EXPECT_EQ(missing_from({"profile own level 5", "enable now"}),
              (Lines{"no inventory", "inventory interval 7", "profile own size 5", "no enable"}));
}

TEST(MissingDefaults, StandForEachNameInTheText) {
    EXPECT_EQ(missing_from({"inventory", "enable", "inventory interval 1", "profile b size 1",
                            "profile b other x", "profile a level 3", "profile own size 5"}),
              (Lines{"profile b level 0", "profile a size 3"}));
}

// A value for a placeholder of the grammar's default lines.
std::string with_a_name(std::string_view line) {
    std::string typed(line);
    const std::size_t begin = typed.find('<');
    return begin == std::string::npos ? typed : typed.replace(begin, typed.find('>') - begin + 1, "noc");
}

TEST(Defaults, CanAllBeTyped) {
    ASSERT_FALSE(grammar().defaults.empty());
    for (const DefaultLine& line : grammar().defaults) {
        const ParseResult result = parse_line(grammar(), line.mode, with_a_name(line.text));
        const auto* command = std::get_if<ParsedCommand>(&result);
        ASSERT_NE(command, nullptr) << line.text << ": " << describe(std::get<ParseError>(result));
        EXPECT_EQ(command->mode, line.mode) << line.text;
    }
}

}  // namespace
}  // namespace callhome::shell
