#include "signatures/software_version.h"

#include <gtest/gtest.h>

namespace callhome::service {
namespace {

TEST(SoftwareVersion, IsNumbersWithPointsBetween) {
    for (const char* text : {"1", "1.0", "10.20.30", "0.0.1", "2026", "123456789.1"}) {
        EXPECT_TRUE(is_software_version(text)) << text;
    }
    for (const char* text : {"", ".", "1.", ".1", "1..2", "v1", "1.0-rc1", "1.0 ", "1234567890", "-1"}) {
        EXPECT_FALSE(is_software_version(text)) << text;
    }
}

TEST(SoftwareVersion, IsMetByTheSameOrANewerOne) {
    struct Row {
        const char* running;
        const char* required;
        bool met;
    };
    constexpr Row rows[]{
        {"1.0.0", "", true},      {"1.0.0", "1", true},      {"1.0.0", "1.0", true},
        {"1.0.0", "1.0.0", true}, {"1.0.0", "1.0.1", false}, {"1.0.0", "1.0.0.0", true},
        {"1.0.0", "0.9.9", true}, {"1.10", "1.9", true},     {"1.9", "1.10", false},
        {"2", "1.99", true},      {"1.99", "2", false},      {"1", "1.0.0.1", false},
    };
    for (const Row& row : rows) {
        EXPECT_EQ(meets_version(row.running, row.required), row.met)
            << row.running << " for " << row.required;
    }
}

}  // namespace
}  // namespace callhome::service
