// Output filters: how they are written, and what they let through.
#include "filter.h"

#include <gtest/gtest.h>

#include "table.h"

namespace callhome::shell {
namespace {

constexpr const char* output = "alpha 1\nbeta 2\n\ngamma 12\nbeta | 3\n";

std::string filtered(std::string_view written) {
    std::vector<FilterSpec> filters;
    if (const std::optional<FilterError> error = parse_filters(written, filters)) {
        return "error at \"" + std::string(error->word) + "\": " + error->reason;
    }
    FilterChain chain(filters);
    std::string shown;
    std::string_view rest = output;
    while (!rest.empty()) {
        const std::size_t end = rest.find('\n');
        chain.take(rest.substr(0, end), shown);
        rest.remove_prefix(end + 1);
    }
    chain.finish(shown);
    return shown;
}

struct Written {
    const char* filters;
    const char* shown;
};

void PrintTo(const Written& written, std::ostream* out) {
    *out << written.filters;
}

class Filters : public testing::TestWithParam<Written> {};

TEST_P(Filters, ShowTheseLines) {
    EXPECT_EQ(filtered(GetParam().filters), GetParam().shown);
}

constexpr Written written[] = {
    {"| include beta", "beta 2\nbeta | 3\n"},
    {"|include beta", "beta 2\nbeta | 3\n"},
    {"| i ^g...a", "gamma 12\n"},
    {"| in a 1", "alpha 1\ngamma 12\n"},
    {"| include alpha|gamma", "alpha 1\ngamma 12\n"},
    {"| include \"a \\| 3\"", "beta | 3\n"},
    {"| exclude a", "\n"},
    {"| begin gam", "gamma 12\nbeta | 3\n"},
    {"| begin nowhere", ""},
    {"| count", "5\n"},
    {"| include beta | count", "2\n"},
    {"| include beta | exclude 3 | count", "1\n"},
    {"| count | include 5", "5\n"},
    {"| include nothing | count", "0\n"},
    {"| no-more", output},
    {"| no-more | include alpha", "alpha 1\n"},
    {"| include (a", "error at \"(a\": is not a pattern: missing ): (a"},
    {"| sort",
     "error at \"sort\": is not a filter: use include, exclude, begin, count, "
     "no-more, json or xml"},
    {"| json", output},
    {"| xml | include beta | count", "2\n"},
    {"| include beta | json", "error at \"json\": can only be the first filter"},
    {"| json | x", "error at \"x\": can only be the first filter"},
    {"| count 5", "error at \"5\": stands where only another filter can stand"},
    {"|", "error at \"\": "},
    {"| include", "error at \"\": "},
    {"| include | count", "error at \"| count\": "},
};
INSTANTIATE_TEST_SUITE_P(Written, Filters, testing::ValuesIn(written));

TEST(Filters, MatchInLinearTime) {
    std::vector<FilterSpec> filters;
    ASSERT_FALSE(parse_filters("| include (a*)*(a*)*(a*)*(a*)*b$", filters));
    FilterChain chain(filters);
    std::string shown;
    chain.take(std::string(100000, 'a'), shown);  // a backtracking matcher would not come back
    EXPECT_EQ(shown, "");
}

TEST(Table, KeepsColumnsAndHidesControlCharacters) {
    Table table({"A", "Name"});
    table.add({"1", "two\x1B[31m"});
    table.add({"1000", "ü"});
    EXPECT_EQ(table.text(), "A     Name\n----  -----------\n1     two\\x1b[31m\n1000  ü\n");
}

TEST(Table, ShowsBytesThatAreNotUtf8AsNumbers) {
    EXPECT_EQ(printable("a\xFFz\r\n", KeepLineEnds::yes), "a\\xffz\n");
}

}  // namespace
}  // namespace callhome::shell
