// So many a minute.
#pragma once

#include <cstddef>
#include <cstdint>

namespace callhome::service {

class RunBudget {
 public:
    // True, and one less is left of this minute, unless `most` were taken since it began. Seconds of a
    // clock that may jump.
    bool take(std::size_t most, std::int64_t now) {
        constexpr std::int64_t minute = 60;
        if (now < began_ || now - began_ >= minute) {
            began_ = now;
            taken_ = 0;
        }
        if (taken_ >= most) {
            return false;
        }
        ++taken_;
        return true;
    }

 private:
    std::int64_t began_ = 0;
    std::size_t taken_ = 0;
};

}  // namespace callhome::service
