#include "configuration_difference.h"

#include <gtest/gtest.h>

namespace callhome::shell {
namespace {

using Lines = std::vector<std::string>;

TEST(Difference, OfEqualLinesIsEmpty) {
    EXPECT_EQ(difference({}, {}), Lines{});
    EXPECT_EQ(difference({"a", "b"}, {"a", "b"}), Lines{});
}

TEST(Difference, ShowsAChangeWhereItIs) {
    EXPECT_EQ(difference({"a", "size 1", "b", "c"}, {"a", "size 2", "b", "d", "c"}),
              (Lines{"-size 1", "+size 2", "+d"}));
}

TEST(Difference, OfNothingAndSomethingIsAllOfIt) {
    EXPECT_EQ(difference({}, {"a", "b"}), (Lines{"+a", "+b"}));
    EXPECT_EQ(difference({"a", "b"}, {}), (Lines{"-a", "-b"}));
}

TEST(Difference, DoesNotMindTheOrder) {
    EXPECT_EQ(difference({"a", "b", "c"}, {"c", "a", "b"}), Lines{});
    EXPECT_EQ(difference({"a", "x", "b"}, {"b", "y", "a"}), (Lines{"-x", "+y"}));
}

TEST(Difference, CountsLinesThatAreRepeated) {
    EXPECT_EQ(difference({"a", "a", "b"}, {"a", "b", "b"}), (Lines{"-a", "+b"}));
}

TEST(Difference, OfManyLinesIsFoundInOneReading) {
    Lines before;
    Lines after;
    constexpr int lines = 200'000;
    for (int line = 0; line < lines; ++line) {
        before.push_back(std::to_string(line));
        after.push_back(std::to_string(-line - 1));
    }
    EXPECT_EQ(difference(before, after).size(), 2U * lines);  // hours, if each were looked for in turn
}

}  // namespace
}  // namespace callhome::shell
