// Walking a command's tokens, and taking typed values out of them.
#pragma once

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <optional>

#include "callhome/context.h"

namespace callhome::library {

// The tokens of a command in order, for a range-based for. A slot without a token is passed over, and a
// count beyond the slots ends with the last slot.
class Tokens {
 public:
    explicit Tokens(const CommandContext& ctx)
        : first_(ctx.tokens + 1),
          last_(first_ + std::min<int>(ctx.token_count, CALLHOME_TOKEN_SLOTS - 1)) {}

    class Iterator {
     public:
        Iterator(TokenRecord* const* slot, TokenRecord* const* last) : slot_(slot), last_(last) {
            pass_over_empty_slots();
        }
        const TokenRecord& operator*() const { return **slot_; }
        Iterator& operator++() {
            ++slot_;
            pass_over_empty_slots();
            return *this;
        }
        bool operator!=(const Iterator& other) const { return slot_ != other.slot_; }

     private:
        void pass_over_empty_slots() {
            while (slot_ != last_ && *slot_ == nullptr) {
                ++slot_;
            }
        }

        TokenRecord* const* slot_;
        TokenRecord* const* last_;
    };

    [[nodiscard]] Iterator begin() const { return {first_, last_}; }
    [[nodiscard]] Iterator end() const { return {last_, last_}; }

 private:
    TokenRecord* const* first_;
    TokenRecord* const* last_;
};

// The text of a word, text or host-name parameter; a null pointer when the token carries none.
inline const char* text_value(const TokenRecord& token) {
    return static_cast<const char*>(token.value);
}

// A number of a token, wherever in memory the shell has put it.
template <typename Number>
std::optional<Number> number_value(const TokenRecord& token) {
    if (token.value == nullptr) {
        return std::nullopt;
    }
    Number number;
    std::memcpy(&number, token.value, sizeof number);
    return number;
}

// Puts the number of a token into a field of a record; a token without a value changes nothing.
template <typename Number, typename Record>
void set_number(Record& record, Number Record::*field, const TokenRecord& token) {
    if (const auto number = number_value<Number>(token)) {
        record.*field = *number;
    }
}

}  // namespace callhome::library
