#include "table.h"

#include <algorithm>

#include "text_width.h"
#include "values.h"

namespace callhome::shell {

namespace {

constexpr std::string_view digits = "0123456789abcdef";
constexpr std::string_view gap = "  ";

void append_escaped(std::string& text, unsigned char byte) {
    text += "\\x";
    text += digits[byte >> 4U];
    text += digits[byte & 0x0FU];
}

void append_padded(std::string& line, const std::string& cell, std::size_t width) {
    line += cell;
    line.append(width - text_width(cell), ' ');
}

void append_line(std::string& text, std::string line) {
    line.erase(line.find_last_not_of(' ') + 1);
    text += line + "\n";
}

}  // namespace

std::string printable(std::string_view text, KeepLineEnds keep) {
    std::string safe;
    while (!text.empty()) {
        std::size_t good = 0;
        const bool is_clean = !why_unprintable(text, good);
        safe.append(text.substr(0, is_clean ? text.size() : good));
        if (is_clean) {
            break;
        }
        if (text[good] == '\n' && keep == KeepLineEnds::yes) {
            safe += '\n';
        } else if (text[good] != '\r' || keep == KeepLineEnds::no) {
            append_escaped(safe, static_cast<unsigned char>(text[good]));
        }
        text.remove_prefix(good + 1);
    }
    return safe;
}

void Table::add(const std::vector<std::string>& row) {
    std::vector<std::string> cells;
    cells.reserve(row.size());
    for (const std::string& cell : row) {
        cells.push_back(printable(cell, KeepLineEnds::no));
    }
    rows_.push_back(std::move(cells));
}

std::string Table::text() const {
    std::vector<std::size_t> widths(rows_.front().size());
    for (const std::vector<std::string>& row : rows_) {
        for (std::size_t column = 0; column < row.size(); ++column) {
            widths[column] = std::max(widths[column], text_width(row[column]));
        }
    }
    std::string text;
    for (const std::vector<std::string>& row : rows_) {
        std::string line;
        for (std::size_t column = 0; column < row.size(); ++column) {
            append_padded(line, row[column], widths[column]);
            line += gap;
        }
        append_line(text, line);
        if (&row == &rows_.front()) {
            std::string rule;
            for (const std::size_t width : widths) {
                rule += std::string(width, '-') + std::string(gap);
            }
            append_line(text, rule);
        }
    }
    return text;
}

}  // namespace callhome::shell
