// Displays that are rows: what a column holds is said once, for the table of text and for the document.
#pragma once

#include <cstdint>
#include <cstdio>
#include <span>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "platform/command_output.h"
#include "table.h"

namespace callhome::shell {

struct Time {
    std::uint32_t seconds;  // since 1970; 0: never
};

using Cell = std::variant<std::string, std::uint32_t, Time>;

template <typename Row>
struct Column {
    std::string_view title;  // in the table; empty: not shown there
    std::string_view place;  // in the document; empty: not there
    platform::ValueType type;
    Cell (*cell)(const Row&);
};

// "2026-11-21 14:05:03" in local time, as tables show it; "-" for never.
std::string local_time(Time time);
// A number, a text, or a time in UTC; nothing for never.
void set_cell(std::string_view place, const Cell& cell);
std::string cell_text(const Cell& cell);
bool is_empty(const Cell& cell);  // an empty text, or never

// The cell of a member of the row.
template <typename Row, auto member>
Cell cell_of(const Row& row) {
    return row.*member;
}

template <typename Row, auto member>
Cell time_of(const Row& row) {
    return Time{row.*member};
}

template <typename Row>
void add_members(platform::Members& members, std::span<const Column<Row>> columns) {
    for (const Column<Row>& column : columns) {
        if (!column.place.empty()) {
            members.push_back({column.place, column.type, column.type != platform::ValueType::time});
        }
    }
}

template <typename Row>
std::string table_text(std::span<const Column<Row>> columns, const std::vector<Row>& rows) {
    std::vector<std::string> titles;
    for (const Column<Row>& column : columns) {
        if (!column.title.empty()) {
            titles.emplace_back(column.title);
        }
    }
    Table table(std::move(titles));
    for (const Row& row : rows) {
        std::vector<std::string> cells;
        for (const Column<Row>& column : columns) {
            if (!column.title.empty()) {
                cells.push_back(cell_text(column.cell(row)));
            }
        }
        table.add(cells);
    }
    return table.text();
}

// Shows the rows as a table, or `when_empty`; in a document as the objects of `list`.
template <typename Row>
void show_rows(std::string_view list, std::span<const Column<Row>> columns, const std::vector<Row>& rows,
               const char* when_empty) {
    if (!platform::is_output_structured()) {
        std::fputs(rows.empty() ? when_empty : table_text(columns, rows).c_str(), stdout);
        return;
    }
    for (const Row& row : rows) {
        platform::begin_element(list);
        for (const Column<Row>& column : columns) {
            if (!column.place.empty()) {
                set_cell(column.place, column.cell(row));
            }
        }
    }
}

// Shows the cells of one row below each other, "title : value"; what is empty or never is left out.
template <typename Row>
void show_facts(std::span<const Column<Row>> columns, const Row& row) {
    for (const Column<Row>& column : columns) {
        const Cell cell = column.cell(row);
        if (is_empty(cell)) {
            continue;
        }
        if (!column.place.empty()) {
            set_cell(column.place, cell);
        }
        if (!column.title.empty() && !platform::is_output_structured()) {
            std::printf("%s : %s\n", std::string(column.title).c_str(), cell_text(cell).c_str());
        }
    }
}

template <typename Row>
void add_facts(platform::Members& members, std::span<const Column<Row>> columns) {
    for (const Column<Row>& column : columns) {
        if (!column.place.empty()) {
            members.push_back({column.place, column.type});
        }
    }
}

}  // namespace callhome::shell
