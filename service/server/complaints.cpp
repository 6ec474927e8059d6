#include "server/complaints.h"

#include <spdlog/spdlog.h>

namespace callhome::service {

void Complaints::log(std::string_view line, Clock::time_point now) {
    if (now - minute_began_ >= std::chrono::minutes(1)) {
        if (left_out_ != 0) {
            spdlog::warn("{} more complaints about clients were not logged", left_out_);
        }
        minute_began_ = now;
        logged_ = 0;
        left_out_ = 0;
    }
    if (logged_ == most_a_minute) {
        ++left_out_;
        return;
    }
    ++logged_;
    spdlog::warn("{}", line);
}

}  // namespace callhome::service
