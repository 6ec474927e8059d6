#include "signature/text.h"

#include <cstdio>
#include <cstring>

namespace callhome::library {

void bounded_copy(char* destination, const char* source, std::size_t count) {
    if (destination == nullptr) {
        return;
    }
    if (source == nullptr) {
        *destination = '\0';
        return;
    }
    const std::size_t length = strnlen(source, count);
    std::memcpy(destination, source, length);
    std::memset(destination + length, 0, count - length + 1);
}

int find_line_containing(const char* text, const char* needle, const char** line_start,
                         std::size_t* line_length) {
    *line_start = nullptr;
    *line_length = 0;
    const char* start = std::strstr(text, needle);
    if (start == nullptr) {
        return -1;
    }
    while (start != text && *start != '\n') {
        --start;
    }
    if (*start == '\n') {
        ++start;
    }
    const std::ptrdiff_t end = line_end_index(start);
    if (end < 0) {
        return -1;
    }
    *line_start = start;
    *line_length = static_cast<std::size_t>(end) + 1;
    return 0;
}

std::ptrdiff_t line_end_index(const char* text) {
    const char* end = std::strchr(text, '\n');
    return end == nullptr ? -1 : end - text;
}

char* trim_blanks(char* text) {
    constexpr const char* blank = " ";
    const char* start = text + std::strspn(text, blank);
    std::size_t length = std::strlen(start);
    while (length > 0 && start[length - 1] == *blank) {
        --length;
    }
    std::memmove(text, start, length);
    text[length] = '\0';
    return text;
}

int split_key_value(LineText& line, LineText& key, LineText& value) {
    key[0] = '\0';
    value[0] = '\0';
    line[std::strcspn(line, "\n")] = '\0';
    const char* colon = std::strchr(line, ':');
    if (colon == nullptr) {
        return -1;
    }
    copy_to_field(key, line, static_cast<std::size_t>(colon - line));
    copy_to_field(value, colon + 1, std::strlen(colon + 1));
    trim_blanks(key);
    trim_blanks(value);
    return 0;
}

void print_as_format(const char* text) {
    while (const char* percent = std::strchr(text, '%')) {
        const bool is_doubled = percent[1] == '%';
        std::fwrite(text, 1, static_cast<std::size_t>(percent + 1 - text), stdout);
        text = percent + (is_doubled ? 2 : 1);
    }
    std::fputs(text, stdout);
}

}  // namespace callhome::library
