// What handlers print, made fit to be read: valid UTF-8, and nothing that drives a terminal.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace callhome::platform {

inline constexpr std::string_view replacement_character = "\xEF\xBF\xBD";  // U+FFFD

enum class ControlCharacters : std::uint8_t { kept, made_visible };

// The text with its control characters, except tabs and line ends, made visible as \xHH.
std::string without_controls(std::string_view text);

// The text with U+FFFD for what is not UTF-8.
std::string valid_text(std::string_view text);

// Cleans a text that comes in pieces, which may end inside a character.
class TextCleaner {
 public:
    explicit TextCleaner(ControlCharacters controls) : controls_(controls) {}

    // What can be shown after this piece.
    std::string take(std::string_view piece);
    // After the last piece: a character that never became whole.
    std::string finish();

 private:
    std::string take_valid(std::string_view piece);

    ControlCharacters controls_;
    std::string pending_;  // the beginning of a character
};

}  // namespace callhome::platform
