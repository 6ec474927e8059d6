// How a fixed-layout record is declared: a packed struct whose members are listed once. From that
// list come the byte-order conversion, the text checks of the service, and the dumps of tests.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>
#include <type_traits>

namespace callhome::protocol {

enum class FieldKind : std::uint8_t {
    number,  // 4 bytes in the transport's byte order, or a single byte
    text,    // NUL-terminated; the bytes after the terminator carry no meaning
    bytes,   // opaque
};

struct Field {
    std::string_view name;
    std::size_t offset;  // bytes from the start of the record
    std::size_t size;    // bytes
    FieldKind kind;
};

// What is known of a record without its type: its length in bytes and its fields in order.
struct Layout {
    std::size_t size = 0;
    std::span<const Field> fields;
};

template <typename Member>
consteval FieldKind kind_of() {
    using Element = std::remove_extent_t<Member>;
    if constexpr (std::is_array_v<Member>) {
        static_assert(std::is_same_v<Element, char> || std::is_same_v<Element, std::uint8_t>);
        return std::is_same_v<Element, char> ? FieldKind::text : FieldKind::bytes;
    } else {
        static_assert(sizeof(Member) == sizeof(std::uint32_t) || sizeof(Member) == 1,
                      "the transport knows 32-bit words and single bytes only");
        return FieldKind::number;
    }
}

// True when the fields, in order, cover `size` bytes without gap or overlap.
consteval bool tiles(std::span<const Field> fields, std::size_t size) {
    std::size_t next = 0;
    for (const Field& field : fields) {
        if (field.offset != next || field.size == 0) {
            return false;
        }
        next += field.size;
    }
    return next == size;
}

// The fields of a record, declared by CALLHOME_RECORD beside the struct.
template <typename Record>
inline constexpr bool fields_of = false;

template <typename Record>
constexpr Layout layout_of() {
    return {sizeof(Record), fields_of<Record>};
}

}  // namespace callhome::protocol

// Applies `macro(record, member)` to each of at most 26 members, separated by commas.
#define CALLHOME_PARENS ()
#define CALLHOME_EXPAND(...) CALLHOME_EXPAND3(CALLHOME_EXPAND3(CALLHOME_EXPAND3(__VA_ARGS__)))
#define CALLHOME_EXPAND3(...) CALLHOME_EXPAND2(CALLHOME_EXPAND2(CALLHOME_EXPAND2(__VA_ARGS__)))
#define CALLHOME_EXPAND2(...) CALLHOME_EXPAND1(CALLHOME_EXPAND1(CALLHOME_EXPAND1(__VA_ARGS__)))
#define CALLHOME_EXPAND1(...) __VA_ARGS__
#define CALLHOME_EACH(macro, record, ...) \
    __VA_OPT__(CALLHOME_EXPAND(CALLHOME_EACH_STEP(macro, record, __VA_ARGS__)))
#define CALLHOME_EACH_STEP(macro, record, member, ...) \
    macro(record, member) __VA_OPT__(, CALLHOME_EACH_AGAIN CALLHOME_PARENS(macro, record, __VA_ARGS__))
#define CALLHOME_EACH_AGAIN() CALLHOME_EACH_STEP

#define CALLHOME_FIELD(record, member)                                  \
    ::callhome::protocol::Field {                                       \
#member, offsetof(record, member), sizeof(record::member),      \
            ::callhome::protocol::kind_of < decltype(record::member)>() \
    }

// Declares the fields of `record`, all of them in order. `bytes` is the literal length that both
// ends of the socket have agreed on. Use it in namespace callhome::protocol.
#define CALLHOME_RECORD(record, bytes, ...)                                              \
    template <>                                                                          \
    inline constexpr auto fields_of<record> =                                            \
        std::array{CALLHOME_EACH(CALLHOME_FIELD, record, __VA_ARGS__)};                  \
    static_assert(sizeof(record) == (bytes), #record " has another length than agreed"); \
    static_assert(tiles(fields_of<record>, bytes), #record " has an undeclared or misplaced field")
