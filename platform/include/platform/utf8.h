// Taking UTF-8 apart.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string_view>

namespace callhome::platform {

enum class SequenceState : std::uint8_t {
    whole,
    cut_short,  // the text ends inside a sequence that is right so far
    wrong,      // the longest beginning that could have become a sequence, at least one byte
};

struct Sequence {
    std::size_t length = 0;
    SequenceState state = SequenceState::whole;
};

namespace utf8 {

// What a sequence looks like that begins with one of these bytes. The second byte is narrower than the
// others where it would make an overlong form, a surrogate or a number beyond Unicode.
struct Lead {
    unsigned char first, last;
    std::size_t length;
    unsigned char least_second, most_second;
};

inline constexpr unsigned char least_continuation = 0x80, most_continuation = 0xBF;
inline constexpr std::array leads{
    Lead{0x00, 0x7F, 1, least_continuation, most_continuation},
    Lead{0xC2, 0xDF, 2, least_continuation, most_continuation},
    Lead{0xE0, 0xE0, 3, 0xA0, most_continuation},
    Lead{0xE1, 0xEC, 3, least_continuation, most_continuation},
    Lead{0xED, 0xED, 3, least_continuation, 0x9F},
    Lead{0xEE, 0xEF, 3, least_continuation, most_continuation},
    Lead{0xF0, 0xF0, 4, 0x90, most_continuation},
    Lead{0xF1, 0xF3, 4, least_continuation, most_continuation},
    Lead{0xF4, 0xF4, 4, least_continuation, 0x8F},
};

}  // namespace utf8

// The sequence at the beginning of `text`, which is not empty.
constexpr Sequence first_sequence(std::string_view text) {
    const auto first = static_cast<unsigned char>(text[0]);
    for (const utf8::Lead& lead : utf8::leads) {
        if (first < lead.first || first > lead.last) {
            continue;
        }
        for (std::size_t at = 1; at < lead.length; ++at) {
            if (at == text.size()) {
                return {at, SequenceState::cut_short};
            }
            const auto byte = static_cast<unsigned char>(text[at]);
            const unsigned char least = at == 1 ? lead.least_second : utf8::least_continuation;
            const unsigned char most = at == 1 ? lead.most_second : utf8::most_continuation;
            if (byte < least || byte > most) {
                return {at, SequenceState::wrong};
            }
        }
        return {lead.length, SequenceState::whole};
    }
    return {1, SequenceState::wrong};
}

}  // namespace callhome::platform
