// Expected bytes, written piece by piece.
#pragma once

#include <gtest/gtest.h>

#include <cstring>
#include <ostream>
#include <string>
#include <string_view>

#include "protocol/layout.h"

namespace callhome::protocol::test {

// Bytes with a text that a failed test can show.
class Bytes {
 public:
    Bytes() = default;
    explicit Bytes(std::span<const std::byte> bytes)
        : content_(reinterpret_cast<const char*>(bytes.data()), bytes.size()) {}

    // Bytes as written, for example "\x00\x01"; a literal may hold zeros.
    template <std::size_t size>
    Bytes& raw(const char (&literal)[size]) {
        content_.append(literal, size - 1);
        return *this;
    }
    // A text in a field of `size` bytes.
    Bytes& text(std::string_view text, std::size_t size) {
        content_.append(text);
        content_.append(size - text.size(), '\0');
        return *this;
    }

    friend bool operator==(const Bytes& one, const Bytes& other) { return one.content_ == other.content_; }
    friend void PrintTo(const Bytes& bytes, std::ostream* out) {
        *out << bytes.content_.size() << " bytes: " << testing::PrintToString(bytes.content_);
    }

 private:
    std::string content_;
};

template <std::size_t size>
void put(char (&field)[size], std::string_view text) {
    std::memcpy(field, text.data(), text.size());
}

// A record as it travels.
template <typename Record>
Bytes in_transport_order(Record record) {
    const auto bytes = std::as_writable_bytes(std::span(&record, 1));
    convert_byte_order(bytes, layout_of<Record>());
    return Bytes(bytes);
}

}  // namespace callhome::protocol::test
