// One request of the platform's own: a record there, a record or a text back.
#pragma once

#include <algorithm>
#include <cstring>
#include <span>
#include <string>

#include "protocol/layout.h"
#include "service_link.h"

namespace callhome::platform {

template <typename Record>
std::span<std::byte> bytes_of(Record& record) {
    return std::as_writable_bytes(std::span(&record, 1));
}

template <typename Record>
ServiceStatus ask(protocol::Opcode opcode, protocol::Operation operation, Record record, Reply& reply) {
    protocol::convert_byte_order(bytes_of(record), protocol::layout_of<Record>());
    return try_exchange(
        {static_cast<std::uint32_t>(opcode), static_cast<std::uint32_t>(operation), bytes_of(record)},
        request_timeout, reply);
}

// What came, as it came.
inline std::string_view text_of(const Reply& reply) {
    return reply.record == nullptr
               ? std::string_view{}
               : std::string_view(reinterpret_cast<const char*>(reply.record.get()), reply.length);
}

// What came of a record; zeroes stand for what did not.
template <typename Record>
Record record_in(std::string_view came) {
    Record record{};
    const auto bytes = bytes_of(record).first(std::min<std::size_t>(came.size(), sizeof record));
    if (!bytes.empty()) {
        std::memcpy(bytes.data(), came.data(), bytes.size());
    }
    protocol::convert_byte_order(bytes, protocol::layout_of<Record>());
    return record;
}

template <typename Record>
Record record_in(const Reply& reply) {
    return record_in<Record>(text_of(reply));
}

// A value of the protocol, and how commands and the running configuration name it.
template <typename Value>
struct Word {
    Value value;
    const char* word;
};

// A number that is not known stands for itself.
template <typename Words>
std::string word_of(const Words& words, std::uint32_t number) {
    for (const auto& [value, word] : words) {
        if (static_cast<std::uint32_t>(value) == number) {
            return word;
        }
    }
    return std::to_string(number);
}

std::string format_word(std::uint32_t format);  // of a protocol::MessageFormat

}  // namespace callhome::platform
