#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <cctype>
#include <string>

namespace callhome::service::tests {

// What names a row of a test table in reports: letters, digits and underscores only.
inline std::string row_name(std::string text) {
    constexpr std::size_t longest = 48;
    text.resize(std::min(text.size(), longest));
    std::replace_if(
        text.begin(), text.end(), [](unsigned char c) { return std::isalnum(c) == 0; }, '_');
    return text;
}

}  // namespace callhome::service::tests
