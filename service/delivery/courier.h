// The threads that carry messages out. Everything else of the service runs on one other thread.
#pragma once

#include <condition_variable>
#include <deque>
#include <functional>
#include <mutex>
#include <thread>
#include <vector>

#include "delivery/attempt.h"

namespace callhome::service {

class Courier {
 public:
    // Called on one of the courier's threads.
    using Done = std::function<void(std::int64_t delivery_id, Outcome outcome)>;

    Courier(std::size_t workers, const TransferLimits& limits, Done done);
    // Ends running transfers within about a second; what they were to carry stays undelivered.
    ~Courier();

    Courier(const Courier&) = delete;
    Courier& operator=(const Courier&) = delete;

    void submit(DeliveryJob job);

 private:
    void work(const std::stop_token& stop);

    TransferLimits limits_;
    Done done_;
    std::mutex mutex_;
    std::condition_variable_any work_waits_;
    std::deque<DeliveryJob> jobs_;
    std::vector<std::jthread> workers_;  // last: the threads use all of the above
};

}  // namespace callhome::service
