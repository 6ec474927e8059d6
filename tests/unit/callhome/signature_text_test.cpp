#include "signature/text.h"

#include <utility>

#include "command.h"

namespace callhome::test {
namespace {

using namespace callhome::library;

constexpr char unwritten = '#';

// What `count` characters of a text leave in a memory of ten bytes, terminators shown as '0'.
std::string copied(const char* source, std::size_t count) {
    std::string memory(10, unwritten);
    bounded_copy(memory.data(), source, count);
    for (char& character : memory) {
        character = character == '\0' ? '0' : character;
    }
    return memory;
}

TEST(BoundedCopyTest, CopiesAtMostTheCountAndTerminatesBehindIt) {
    EXPECT_EQ(copied("signature", 4), "sign0#####");
    EXPECT_EQ(copied("signature", 9), "signature0");
    EXPECT_EQ(copied("signature", 0), "0#########");
}

TEST(BoundedCopyTest, ClearsThePositionsThatTheSourceDoesNotFill) {
    EXPECT_EQ(copied("ds", 6), "ds00000###");
    EXPECT_EQ(copied("ds", 2), "ds0#######");
    EXPECT_EQ(copied("", 6), "0000000###");
}

TEST(BoundedCopyTest, ANullSourceIsEmptyAndANullDestinationIsLeftAlone) {
    EXPECT_EQ(copied(nullptr, 6), "0#########");
    bounded_copy(nullptr, "text", 4);
    bounded_copy(nullptr, nullptr, 4);
}

TEST(BoundedCopyTest, DoesNotReadBehindTheCount) {
    const std::vector<char> unterminated{'d', 's', '_'};
    EXPECT_EQ(copied(unterminated.data(), unterminated.size()), "ds_0######");
}

TEST(CopyToFieldTest, CutsToTheField) {
    char field[4] = {};
    copy_to_field(field, "signature", 9);
    EXPECT_STREQ(field, "sig");
    copy_to_field(field, "signature", 2);
    EXPECT_STREQ(field, "si");
}

// The line that is found, as "INDEX:LINE"; "none" when there is none.
std::string line_with(const std::string& text, const char* needle) {
    const char* start = text.data() + 1;
    std::size_t length = 7;
    const int result = find_line_containing(text.c_str(), needle, &start, &length);
    if (result != 0) {
        EXPECT_EQ(result, -1);
        EXPECT_EQ(start, nullptr);
        EXPECT_EQ(length, 0U);
        return "none";
    }
    return std::to_string(start - text.c_str()) + ":" + std::string(start, length);
}

TEST(FindLineTest, GivesTheWholeLineAroundTheFirstMatch) {
    EXPECT_EQ(line_with("first\nthe second one\nsecond\n", "second"), "6:the second one\n");
    EXPECT_EQ(line_with("first\nsecond\n", "first"), "0:first\n");
    EXPECT_EQ(line_with("first\nsecond\n", "rst"), "0:first\n");
    EXPECT_EQ(line_with("\n\nthird\n", "third"), "2:third\n");
    EXPECT_EQ(line_with("first\nsecond\n", ""), "0:first\n");
}

TEST(FindLineTest, ANeedleMaySpanLines) {
    EXPECT_EQ(line_with("one\ntwo\nthree\n", "two\nth"), "4:two\n");
    EXPECT_EQ(line_with("one\ntwo\nthree\n", "\ntwo"), "4:two\n") << "what follows its line feed";
}

TEST(FindLineTest, ALineWithoutALineFeedIsNone) {
    EXPECT_EQ(line_with("first\nsecond", "second"), "none");
    EXPECT_EQ(line_with("second", "second"), "none");
    EXPECT_EQ(line_with("first\n", "second"), "none");
    EXPECT_EQ(line_with("", "second"), "none");
}

TEST(LineEndTest, IsTheIndexOfTheFirstLineFeed) {
    EXPECT_EQ(line_end_index("\n"), 0);
    EXPECT_EQ(line_end_index("line\n\n"), 4);
    EXPECT_EQ(line_end_index("line"), -1);
    EXPECT_EQ(line_end_index(""), -1);
}

TEST(TrimBlanksTest, RemovesBlanksAtBothEndsOnly) {
    const std::vector<std::pair<std::string, std::string>> texts{
        {"", ""},
        {"    ", ""},
        {"text", "text"},
        {"  text", "text"},
        {"text  ", "text"},
        {"  two words ", "two words"},
        {"\t x \n", "\t x \n"},
        {" \n ", "\n"},
    };
    for (const auto& [text, trimmed] : texts) {
        std::string memory = text;
        EXPECT_EQ(trim_blanks(memory.data()), memory.data());
        EXPECT_STREQ(memory.c_str(), trimmed.c_str()) << '"' << text << '"';
    }
}

struct Parts {
    int result;
    std::string key, value;
};

Parts split(const std::string& text) {
    LineText line;
    LineText key = "old key";
    LineText value = "old value";
    copy_to_field(line, text.c_str(), text.size());
    const int result = split_key_value(line, key, value);
    return {result, key, value};
}

TEST(SplitKeyValueTest, SplitsAtTheFirstColonAndTrims) {
    const auto [result, key, value] = split(" Profile : http://a:80/x : y  \nnext: line\n");
    EXPECT_EQ(result, 0);
    EXPECT_EQ(key, "Profile");
    EXPECT_EQ(value, "http://a:80/x : y");
}

TEST(SplitKeyValueTest, EitherPartMayBeEmpty) {
    EXPECT_EQ(split(":value").key, "");
    EXPECT_EQ(split(":value").value, "value");
    EXPECT_EQ(split("key:").key, "key");
    EXPECT_EQ(split("key:  \n").value, "");
}

TEST(SplitKeyValueTest, WithoutAColonInTheLineBothPartsAreEmpty) {
    for (const char* line : {"no colon\n", "\nnext: line\n", "", "no colon"}) {
        const auto [result, key, value] = split(line);
        EXPECT_EQ(result, -1);
        EXPECT_EQ(key + value, "");
    }
}

TEST(SplitKeyValueTest, HoldsTheLongestLine) {
    const std::string most(CALLHOME_BUFFER_SIZE - 2, 'v');
    EXPECT_EQ(split(":" + most).value, most);
    EXPECT_EQ(split(most + ":").key, most);
}

std::string printed_as_format(const char* text) {
    return capture([&] { print_as_format(text); }).out;
}

TEST(PrintAsFormatTest, TwoPercentSignsAreOneAndAnyOtherIsText) {
    const std::vector<std::pair<const char*, const char*>> texts{
        {"", ""},
        {"plain\n", "plain\n"},
        {"100%%\n", "100%\n"},
        {"100%\n", "100%\n"},
        {"%", "%"},
        {"%%", "%"},
        {"%%%", "%%"},
        {"%%%%", "%%"},
        {"%%s%n%5$d%%%s", "%s%n%5$d%%s"},
    };
    for (const auto& [text, shown] : texts) {
        EXPECT_EQ(printed_as_format(text), shown) << text;
    }
}

}  // namespace
}  // namespace callhome::test
