#include "signatures/table.h"

#include <algorithm>

#include "messages/text.h"

namespace callhome::service {
namespace {

// `text` in its place; what stands there already is not touched, but for a text that is too long.
void put(std::string& line, const TableColumn::Place& place, std::string_view text) {
    if (line.size() < place.start) {
        line.resize(place.start, ' ');
    }
    line += cut_to(text, place.width);
}

void end_line(std::string& line) {
    line += '\n';
}

}  // namespace

std::string table_heading(std::span<const TableColumn> columns) {
    std::string above;
    std::string heading;
    std::string rule;
    for (const TableColumn& column : columns) {
        if (!column.above.empty()) {
            put(above, {column.heading_at.start, column.above.size()}, column.above);
        }
        put(heading, {column.heading_at.start, column.heading.size()}, column.heading);
        put(rule, column.rule_at, std::string(column.rule_at.width, '-'));
    }
    if (!above.empty()) {
        end_line(above);
    }
    end_line(heading);
    end_line(rule);
    return above + heading + rule;
}

std::string table_row(std::span<const TableColumn> columns, std::span<const std::string> values) {
    std::string line;
    const std::size_t count = std::min(columns.size(), values.size());
    for (std::size_t i = 0; i < count; ++i) {
        put(line, columns[i].value_at, clean_line(values[i]));
    }
    end_line(line);
    return line;
}

}  // namespace callhome::service
