// What may be typed for a parameter, by its kind, and the form in which a handler gets it.
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <variant>

namespace callhome::shell {

// A host is handed over as its address where it is one, a host_text as it was typed. A file is handed over
// by its absolute name: who opens it works in another folder.
enum class ValueKind : std::uint8_t { text, word, email, url, host, host_text, u32, u8, file };

// A number's range, or a text's length in bytes; both ends belong to it.
struct Range {
    std::uint32_t least = 0;
    std::uint32_t most = 0;
};

// An address as handlers take it: the address in network order from byte 4 on.
using AddressBlock = std::array<std::uint8_t, 20>;

using Value = std::variant<std::string, std::uint32_t, std::uint8_t, AddressBlock>;

struct CheckedValue {
    Value value;
    std::uint32_t value_type = 0;  // form of a host, 0 for everything else
    std::uint32_t value_kind = 0;  // form of a host_text, 0 for everything else
};

// The name of a kind in the grammar, and back.
std::string_view name_of(ValueKind kind);
std::optional<ValueKind> value_kind_named(std::string_view name);

// True for the kinds whose range is a range of numbers.
constexpr bool is_number(ValueKind kind) {
    return kind == ValueKind::u32 || kind == ValueKind::u8;
}

// Turns what was typed into a value, or says in `why_not` what is wrong with it, as a clause:
// "is not a number from 0 to 7".
std::optional<CheckedValue> check_value(ValueKind kind, Range range, std::string_view typed,
                                        std::string& why_not);

// True when every byte belongs to well-formed UTF-8.
bool is_utf8(std::string_view text);

// The first character that no command line may hold, as a clause, or nothing: control characters and
// bytes that are not UTF-8. `position` receives where it stands.
std::optional<std::string> why_unprintable(std::string_view line, std::size_t& position);

}  // namespace callhome::shell
