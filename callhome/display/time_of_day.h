// Times of day as displays and the running configuration show them.
#pragma once

#include <array>
#include <cinttypes>
#include <cstdint>
#include <cstdio>

namespace callhome::library {

inline constexpr std::int32_t minutes_of_an_hour = 60;

// Hours and minutes with a colon between them, each part of at most 9 with a zero before it. What is not
// within a day is shown as it came.
class TimeOfDay {
 public:
    explicit TimeOfDay(std::uint32_t minutes_after_midnight) {
        constexpr std::int32_t largest_single_digit = 9;
        const auto time = static_cast<std::int32_t>(minutes_after_midnight);
        const std::int32_t hours = time / minutes_of_an_hour;
        const std::int32_t minutes = time % minutes_of_an_hour;
        std::snprintf(text_.data(), text_.size(), "%s%" PRId32 ":%s%" PRId32,
                      hours <= largest_single_digit ? "0" : "", hours,
                      minutes <= largest_single_digit ? "0" : "", minutes);
    }

    [[nodiscard]] const char* c_str() const { return text_.data(); }

 private:
    std::array<char, 32> text_{};
};

}  // namespace callhome::library
