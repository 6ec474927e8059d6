// Records as they are on their way.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <span>
#include <string>

#include "protocol/layout.h"

namespace callhome::platform::test {

template <typename Record>
std::string in_transport_order(Record record) {
    const auto bytes = std::as_writable_bytes(std::span(&record, 1));
    protocol::convert_byte_order(bytes, protocol::layout_of<Record>());
    return {reinterpret_cast<const char*>(bytes.data()), bytes.size()};
}

template <typename Record>
Record from_transport_order(std::string text) {
    Record record{};
    EXPECT_EQ(text.size(), sizeof record);
    protocol::convert_byte_order(std::as_writable_bytes(std::span(text)), protocol::layout_of<Record>());
    std::memcpy(&record, text.data(), std::min(text.size(), sizeof record));
    return record;
}

}  // namespace callhome::platform::test
