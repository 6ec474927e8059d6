#include "text_format.h"

#include <gtest/gtest.h>

#include <vector>

namespace callhome::platform {
namespace {

struct Expansion {
    const char* format;
    std::vector<const char*> values;
    const char* expected;
};

const Expansion expansions[] = {
    {"", {}, ""},
    {"\n", {}, "\n"},
    {"%s", {"value"}, "value"},
    {"from email addr:%s\n", {"a@example.com"}, "from email addr:a@example.com\n"},
    {"%s and %s", {"one", "two"}, "one and two"},
    {"%s%s", {"one", "two"}, "onetwo"},
    {"[%5s]", {"ab"}, "[   ab]"},
    {"[%-5s]", {"ab"}, "[ab   ]"},
    {"[%2s]", {"abcd"}, "[abcd]"},
    {"[%.2s]", {"abcd"}, "[ab]"},
    {"[%.s]", {"abcd"}, "[]"},
    {"[%-5.3s]", {"abcd"}, "[abc  ]"},
    {"[%05s]", {"ab"}, "[   ab]"},
    {"[%- +#5s]", {"ab"}, "[ab   ]"},
    {"100%%", {}, "100%"},
    {"%%s", {"value"}, "%s"},
    {"%%%s%%", {"value"}, "%value%"},
    // Values are never formats.
    {"%s", {"%s%n%%"}, "%s%n%%"},
    // No value left: the rest is text.
    {"%s and %s", {"one"}, "one and %s"},
    {"%s", {}, "%s"},
    {"%5s %-3.1s", {}, "%5s %-3.1s"},
    // Not a string conversion.
    {"%d %n %x %p %c", {"value"}, "%d %n %x %p %c"},
    {"%ls %hhs %*s %1$s", {"value"}, "%ls %hhs %*s %1$s"},
    {"%", {"value"}, "%"},
    {"5%", {}, "5%"},
    {"% ", {"value"}, "% "},
    {"%5", {"value"}, "%5"},
    {"%-", {"value"}, "%-"},
    {"%.", {"value"}, "%."},
    {"%5%s", {"value"}, "%5value"},
    {"%d%%%s", {"value"}, "%d%value"},
};

TEST(TextFormatTest, FormatsExpandAsListed) {
    for (const auto& [format, values, expected] : expansions) {
        std::size_t taken = 0;
        const auto next = [&, &all = values](const Conversion& conversion) -> std::optional<std::string> {
            if (taken == all.size()) {
                return std::nullopt;
            }
            return render(all[taken++], conversion);
        };
        EXPECT_EQ(expand(format, next), expected) << "format: " << format;
    }
}

TEST(TextFormatTest, AnAbsurdWidthIsCut) {
    const auto next = [](const Conversion& conversion) { return std::optional(render("x", conversion)); };
    EXPECT_EQ(expand("%99999999999999999999999s", next).size(), 4096U);
    EXPECT_EQ(expand("%1000000000s", next).size(), 4096U);
    EXPECT_EQ(expand("%.99999999999999999999999s", next), "x");
}

}  // namespace
}  // namespace callhome::platform
