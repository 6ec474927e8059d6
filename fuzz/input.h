// Takes values off the bytes of one fuzzer input. What is no longer there is zero or empty, so every input
// means something.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string>

namespace callhome::fuzz {

class Input {
 public:
    Input() = default;
    Input(const std::uint8_t* data, std::size_t size) : bytes_(std::as_bytes(std::span(data, size))) {}

    bool is_empty() const { return bytes_.empty(); }

    std::uint8_t byte() {
        const auto taken = bytes(1);
        return taken.empty() ? std::uint8_t{0} : std::to_integer<std::uint8_t>(taken.front());
    }
    // Big-endian.
    std::uint16_t half_word() {
        const unsigned high = byte();
        return static_cast<std::uint16_t>((high << 8U) | byte());
    }
    std::uint32_t word() {
        const std::uint32_t high = half_word();
        return (high << 16U) | half_word();
    }

    // At most `count`.
    std::span<const std::byte> bytes(std::size_t count) {
        const auto taken = bytes_.first(std::min(count, bytes_.size()));
        bytes_ = bytes_.subspan(taken.size());
        return taken;
    }
    // As many as a half word before them says.
    std::span<const std::byte> counted_bytes() { return bytes(half_word()); }
    std::string counted_text() { return text_of(counted_bytes()); }
    std::string rest() { return text_of(bytes(bytes_.size())); }

 private:
    static std::string text_of(std::span<const std::byte> taken) {
        return {reinterpret_cast<const char*>(taken.data()), taken.size()};
    }

    std::span<const std::byte> bytes_;
};

}  // namespace callhome::fuzz
