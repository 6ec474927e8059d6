// The moment by which an exchange must have ended, however many steps it takes.
#pragma once

#include <algorithm>
#include <cerrno>
#include <chrono>

#include "link_error.h"

namespace callhome::platform {

class Deadline {
 public:
    using Clock = std::chrono::steady_clock;

    explicit Deadline(std::chrono::milliseconds from_now) : end_(Clock::now() + from_now) {}

    // Time left, more than 0. Throws LinkError (ETIMEDOUT) when there is none.
    std::chrono::milliseconds left() const {
        const auto span = std::chrono::ceil<std::chrono::milliseconds>(end_ - Clock::now());
        if (span.count() <= 0) {
            throw LinkError(ETIMEDOUT, "the call-home service did not answer in time");
        }
        return span;
    }

    // This deadline, or the one after `from_now` when that comes first.
    Deadline at_most(std::chrono::milliseconds from_now) const {
        Deadline other(from_now);
        other.end_ = std::min(end_, other.end_);
        return other;
    }

 private:
    Clock::time_point end_;
};

}  // namespace callhome::platform
