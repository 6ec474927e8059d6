// Ends a service that nobody uses any more.
#pragma once

#include <chrono>
#include <functional>

#include <asio/io_context.hpp>
#include <asio/steady_timer.hpp>

namespace callhome::service {

struct IdleTimes {
    std::chrono::milliseconds for_first_client = std::chrono::seconds(10);
    // A script that calls the shell again and again finds the service still there.
    std::chrono::milliseconds after_last_client = std::chrono::seconds(2);
    // How often a queue that keeps the service alive is looked at.
    std::chrono::milliseconds while_busy = std::chrono::seconds(5);
};

class IdleWatch {
 public:
    struct Questions {
        std::function<bool()> has_clients;
        std::function<bool()> is_busy;  // something that needs no client is due soon
    };

    // Waits for a first client. `end` is called once, when nobody is there and nothing is due.
    IdleWatch(asio::io_context& io, IdleTimes times, Questions questions, std::function<void()> end);

    void last_client_has_gone();

 private:
    void look_after(std::chrono::milliseconds time);
    void look();

    asio::steady_timer timer_;
    const IdleTimes times_;
    const Questions questions_;
    const std::function<void()> end_;
};

}  // namespace callhome::service
