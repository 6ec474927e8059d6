#include "signatures/table.h"

#include <gtest/gtest.h>

#include <array>

namespace callhome::service {
namespace {

constexpr std::array columns{table_column(0, 4, "ID"), table_column(5, 6, "Name", "The"),
                             table_column(12, 5, "Last")};

std::string row(const std::array<std::string, 3>& values) {
    return table_row(columns, values);
}

TEST(Table, TheHeadingHasALineAboveOnlyWhereAColumnHasOne) {
    EXPECT_EQ(table_heading(columns),
              "     The\n"
              "ID   Name   Last\n"
              "---- ------ -----\n");
    EXPECT_EQ(table_heading(std::span(columns).first(1)), "ID\n----\n");
}

TEST(Table, EachValueStandsInItsColumn) {
    EXPECT_EQ(row({"1", "abc", "x"}), "1    abc    x\n");
}

TEST(Table, AValueIsCutToItsColumnAtTheEndOfACharacter) {
    EXPECT_EQ(row({"12345", "abcdefg", "123456"}), "1234 abcdef 12345\n");
    EXPECT_EQ(row({"", "abcdeä", ""}), "     abcde  \n");
}

TEST(Table, ARowReachesToTheStartOfItsLastColumn) {
    EXPECT_EQ(row({"", "", ""}), "            \n");
}

TEST(Table, AValueStaysOnItsLine) {
    EXPECT_EQ(row({"a\nb", "c\td", "e\r"}), "a b  c d    e\n");
}

}  // namespace
}  // namespace callhome::service
