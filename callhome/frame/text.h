// Texts in the fixed fields of records.
#pragma once

#include <array>
#include <cstddef>
#include <cstring>

namespace callhome::library {

// Puts `text` into a field of a record: cut to the field, terminator included, the rest of the field
// zero. A null text leaves the field as it is.
template <std::size_t size>
void copy_text(char (&field)[size], const char* text) {
    if (text == nullptr) {
        return;
    }
    const std::size_t length = strnlen(text, size - 1);
    std::memmove(field, text, length);
    std::memset(field + length, 0, size - length);
}

// The text of a field that came from outside, which may lack its terminator.
template <std::size_t size>
class FieldText {
 public:
    explicit FieldText(const char (&field)[size]) { std::memcpy(text_.data(), field, size); }

    [[nodiscard]] const char* c_str() const { return text_.data(); }
    [[nodiscard]] bool empty() const { return text_.front() == '\0'; }

 private:
    std::array<char, size + 1> text_{};
};

}  // namespace callhome::library
