#include "clean_text.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <utility>

#include "platform/utf8.h"

namespace callhome::platform {
namespace {

// C0, DEL, or C1 as UTF-8 writes it.
std::size_t control_length(std::string_view text) {
    const auto first = static_cast<unsigned char>(text[0]);
    constexpr unsigned char delete_code = 0x7F, c1_lead = 0xC2, c1_first = 0x80, c1_last = 0x9F;
    if ((first < ' ' && first != '\n' && first != '\t') || first == delete_code) {
        return 1;
    }
    const auto second = static_cast<unsigned char>(text.size() > 1 ? text[1] : 0);
    return first == c1_lead && second >= c1_first && second <= c1_last ? 2 : 0;
}

void append_visible(std::string& out, std::string_view bytes) {
    for (const char byte : bytes) {
        std::array<char, sizeof "\\x00"> text{};
        std::snprintf(text.data(), text.size(), "\\x%02x", static_cast<unsigned char>(byte));
        out += text.data();
    }
}

// Nearly all text is of this kind, and need not be looked at by the character.
std::size_t ascii_length(std::string_view text) {
    const auto* end = std::find_if(text.begin(), text.end(),
                                   [](char byte) { return static_cast<signed char>(byte) < 0; });
    return static_cast<std::size_t>(end - text.begin());
}

}  // namespace

std::string without_controls(std::string_view text) {
    std::string out;
    while (!text.empty()) {
        const std::size_t control = control_length(text);
        if (control > 0) {
            append_visible(out, text.substr(0, control));
        } else {
            out += text[0];
        }
        text.remove_prefix(std::max<std::size_t>(control, 1));
    }
    return out;
}

std::string valid_text(std::string_view text) {
    TextCleaner cleaner(ControlCharacters::kept);
    std::string valid = cleaner.take(text);
    return valid += cleaner.finish();
}

std::string TextCleaner::take_valid(std::string_view piece) {
    std::string joined;
    if (!pending_.empty()) {
        joined = std::exchange(pending_, {}).append(piece);
        piece = joined;
    }
    std::string out;
    while (!piece.empty()) {
        const std::size_t ascii = ascii_length(piece);
        out += piece.substr(0, ascii);
        piece.remove_prefix(ascii);
        if (piece.empty()) {
            break;
        }
        const Sequence sequence = first_sequence(piece);
        if (sequence.state == SequenceState::cut_short) {
            pending_ = piece;
            break;
        }
        const bool is_whole = sequence.state == SequenceState::whole;
        out += is_whole ? piece.substr(0, sequence.length) : replacement_character;
        piece.remove_prefix(sequence.length);
    }
    return out;
}

std::string TextCleaner::take(std::string_view piece) {
    std::string valid = take_valid(piece);
    return controls_ == ControlCharacters::kept ? valid : without_controls(valid);
}

std::string TextCleaner::finish() {
    const bool is_cut_short = !std::exchange(pending_, {}).empty();
    return is_cut_short ? std::string(replacement_character) : std::string();
}

}  // namespace callhome::platform
