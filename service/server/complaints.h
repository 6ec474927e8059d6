// Log lines that a client can cause at will: so many a minute, the others are counted only.
#pragma once

#include <chrono>
#include <cstddef>
#include <string_view>

namespace callhome::service {

class Complaints {
 public:
    using Clock = std::chrono::steady_clock;

    static constexpr std::size_t most_a_minute = 20;

    void log(std::string_view line, Clock::time_point now = Clock::now());

 private:
    Clock::time_point minute_began_{};
    std::size_t logged_ = 0;
    std::size_t left_out_ = 0;
};

}  // namespace callhome::service
