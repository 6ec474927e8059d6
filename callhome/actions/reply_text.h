// What the service has to say about a message that it was asked to send.
#pragma once

#include <glib.h>

#include <cstddef>
#include <memory>

namespace callhome::library {

struct GFree {
    void operator()(char* text) const { g_free(text); }
};
using OwnedText = std::unique_ptr<char, GFree>;

// A copy, with a terminator, of the text in the `size` bytes at `text`.
OwnedText copy_of_text(const char* text, std::size_t size);

// Removes white space at both ends, in place.
char* trim(char* text);

// Prints a text as a warning below a success line; nothing when it is blank. Trims it in place.
void print_warning(char* text);

// Prints a text as one line; nothing when there is none.
void print_explanation(const char* text);

}  // namespace callhome::library
