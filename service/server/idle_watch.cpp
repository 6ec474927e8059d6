#include "server/idle_watch.h"

#include <utility>

namespace callhome::service {

IdleWatch::IdleWatch(asio::io_context& io, IdleTimes times, Questions questions, std::function<void()> end)
    : timer_(io), times_(times), questions_(std::move(questions)), end_(std::move(end)) {
    look_after(times_.for_first_client);
}

void IdleWatch::last_client_has_gone() {
    look_after(times_.after_last_client);
}

void IdleWatch::look_after(std::chrono::milliseconds time) {
    timer_.expires_after(time);
    timer_.async_wait([this](const asio::error_code& error) {
        if (!error) {
            look();
        }
    });
}

void IdleWatch::look() {
    if (questions_.has_clients()) {
        return;  // The last of them will tell when it goes.
    }
    if (questions_.is_busy()) {
        look_after(times_.while_busy);
    } else {
        end_();
    }
}

}  // namespace callhome::service
