#include "signature/table.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <span>

#include "display/output.h"
#include "signature/text.h"

namespace callhome::library {
namespace {

enum class Blanks : std::uint8_t { trimmed, kept };

// A column is taken by its position only. The last one of a table goes on to the line feed.
struct Column {
    std::size_t start;
    std::size_t width;  // characters; of the last column, the most that are shown
    std::uint32_t tag;
    const char* format;
    Blanks blanks = Blanks::trimmed;
};

constexpr std::size_t longest_last_column = 63;

constexpr std::array downloaded_signatures{
    Column{0, 8, 0x30740063, "%-8s "},      // ID
    Column{9, 31, 0x30740064, "%-31s "},    // name
    Column{41, 8, 0x30740065, "%-8s "},     // revision
    Column{50, 10, 0x30740066, "%-10s "},   // state
    Column{61, 19, 0x30740067, "%-19s\n"},  // last update
};

// Every line is a row, also one that begins with so many blanks that only its last column says something.
// What continues a row would be 51 blanks that are all that is left of the text: they have no line feed and
// end the table.
constexpr std::array failures{
    Column{0, 8, 0x30740073, "%-8s "},                  // ID
    Column{9, 16, 0x30740074, "%-16s "},                // name
    Column{26, 5, 0x30740075, "%-5s "},                 // stage
    Column{32, 19, 0x30740076, "%-19s "},               // time of the last one
    Column{52, 199, 0x30740077, "%s\n", Blanks::kept},  // reason
};

constexpr std::array run_times{
    Column{0, 8, 0x30740069, "%-8s  "},     // ID
    Column{10, 31, 0x3074006A, "%-31s  "},  // name
    Column{43, 13, 0x3074006B, "%-13s  "},  // runs, most runs, and whether it is removed then
    Column{58, 11, 0x3074006C, "%-11s  "},  // average in seconds
    Column{71, longest_last_column, 0x3074006D, "%-9s\n"},  // longest in seconds
};

// Two columns begin right of their headings: there the service writes the numbers.
constexpr std::array downloads{
    Column{0, 16, 0x3074006E, "%-16s    "},               // type
    Column{20, 5, 0x3074006F, "%-5s      "},              // in the queue
    Column{31, 8, 0x30740070, "%-8s "},                   // failed
    Column{40, 8, 0x30740071, "%-8s "},                   // succeeded
    Column{49, longest_last_column, 0x30740072, "%s\n"},  // when the last one was asked for
};

constexpr std::size_t widest_column = failures.back().width;

void print_column(const Column& column, const char* row, std::size_t row_length) {
    char field[widest_column + 1];
    copy_to_field(field, row + column.start, std::min(column.width, row_length - column.start));
    if (column.blanks == Blanks::trimmed) {
        trim_blanks(field);
    }
    print_tuple(column.tag, column.format, field);
}

void print_rows(std::span<const Column> columns, const char* text) {
    const auto shortest_row = static_cast<std::ptrdiff_t>(columns.back().start);
    while (*text != '\0') {
        const std::ptrdiff_t length = line_end_index(text);
        if (length < shortest_row) {
            return;
        }
        for (const Column& column : columns) {
            print_column(column, text, static_cast<std::size_t>(length));
        }
        text += length + 1;
    }
}

}  // namespace

void print_downloaded_signatures(const char* text) {
    print_rows(downloaded_signatures, text);
}

void print_ds_failure_table(const char* text) {
    print_rows(failures, text);
}

void print_run_time_table(const char* text) {
    print_rows(run_times, text);
}

void print_download_table(const char* text) {
    print_rows(downloads, text);
}

}  // namespace callhome::library
