// Taking the texts of the service about diagnostic signatures apart: lines, columns, keys and values. Every
// text given here is terminated.
#pragma once

#include <algorithm>
#include <cstddef>

#include "callhome/data.h"

namespace callhome::library {

// Copies at most `count` characters of `source`, the rest of them zero, and a terminator behind them: the
// destination holds count + 1 bytes. A null source is an empty one; with a null destination nothing is
// done.
void bounded_copy(char* destination, const char* source, std::size_t count);

// The same into a field, cut to it.
template <std::size_t size>
void copy_to_field(char (&field)[size], const char* source, std::size_t count) {
    bounded_copy(field, source, std::min(count, size - 1));
}

// The first line that holds `needle` anywhere in it: its start and its length with the line feed. 0 when
// there is one, else -1, both outputs being null then; a line without a line feed is none.
int find_line_containing(const char* text, const char* needle, const char** line_start,
                         std::size_t* line_length);

// The index of the first line feed; -1 when there is none.
std::ptrdiff_t line_end_index(const char* text);

// Removes blanks at both ends, in place; tabs and line feeds stay. Returns `text`.
char* trim_blanks(char* text);

// A line, and what is cut out of it, is never longer than `buffer`.
using LineText = char[CALLHOME_BUFFER_SIZE];

// Cuts the line at its line feed and splits it at its first colon; both parts are trimmed. -1 when it has
// no colon, both parts being empty then.
int split_key_value(LineText& line, LineText& key, LineText& value);

// Prints a text of the service on standard output, as a format that is given nothing: two percent signs are
// one, and any other one is text.
void print_as_format(const char* text);

}  // namespace callhome::library
