#include "record_input.h"

namespace callhome::fuzz {
namespace {

constexpr std::uint8_t first_byte_of_any_status = 0x80;
constexpr std::int32_t first_refusal = 0x403B0000;
constexpr std::uint32_t largest_status = 0x7FFFFFFF;
constexpr std::size_t longest_text_of_short_length = 256;

std::span<const std::byte> take_field(Input& input, const protocol::Field& field) {
    if (field.kind == protocol::FieldKind::number) {
        return input.bytes(field.size);
    }
    const std::size_t length = field.size > longest_text_of_short_length ? input.half_word() : input.byte();
    return input.bytes(std::min(length, field.size));
}

}  // namespace

std::vector<std::byte> take_record(Input& input, const protocol::Layout& layout) {
    std::vector<std::byte> record(layout.size);
    for (const protocol::Field& field : layout.fields) {
        const auto content = take_field(input, field);
        std::copy(content.begin(), content.end(),
                  record.begin() + static_cast<std::ptrdiff_t>(field.offset));
    }
    return record;
}

std::int32_t take_status(Input& input) {
    const std::uint8_t number = input.byte();
    if (number >= first_byte_of_any_status) {
        return static_cast<std::int32_t>(input.word() & largest_status);
    }
    return number == 0 ? 0 : first_refusal + number;
}

}  // namespace callhome::fuzz
