// Tables as text: a heading, a rule below it, rows. Whoever reads them cuts them at fixed columns.
#pragma once

#include <cstddef>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace callhome::service {

// Places are bytes from the beginning of the line.
struct TableColumn {
    struct Place {
        std::size_t start;
        std::size_t width;
    };
    std::string_view above;  // a first line of the heading; empty for none
    std::string_view heading;
    Place heading_at;  // `above`, too
    Place rule_at;
    Place value_at;
};

// A column whose heading, rule and values stand below each other.
constexpr TableColumn table_column(std::size_t start, std::size_t width, std::string_view heading,
                                   std::string_view above = "") {
    return {above, heading, {start, width}, {start, width}, {start, width}};
}

// Two lines, three where a column has something above its heading.
std::string table_heading(std::span<const TableColumn> columns);

// One line with a value for each column. A value is cut to its column's width, at the end of a character;
// one line reaches at least to the start of its last column.
std::string table_row(std::span<const TableColumn> columns, std::span<const std::string> values);

}  // namespace callhome::service
