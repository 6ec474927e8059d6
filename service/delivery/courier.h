// The threads that carry messages out. Everything else of the service runs on one other thread.
#pragma once

#include <condition_variable>
#include <deque>
#include <functional>
#include <mutex>
#include <optional>
#include <string>
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

    // The job goes to who has a connection to its host, so that there are not more connections to a host
    // than jobs for it at the same time.
    void submit(DeliveryJob job);

 private:
    struct Worker {
        std::condition_variable_any has_job;
        std::optional<DeliveryJob> job;
        std::string place;  // to which its connection leads; empty for none
        bool is_free = true;
    };
    struct WaitingJob {
        DeliveryJob job;
        unsigned passed_over = 0;
    };

    void work(Worker& worker, const std::stop_token& stop);
    std::optional<DeliveryJob> next_job(Worker& worker, KeptConnection& kept, const std::stop_token& stop);
    void take_back(Worker& worker, std::string place);
    Worker* free_worker_for(const DeliveryJob& job);

    TransferLimits limits_;
    Done done_;
    std::mutex mutex_;
    std::deque<WaitingJob> jobs_;  // for which no worker was free
    std::deque<Worker> workers_;
    std::vector<std::jthread> threads_;  // last: the threads use all of the above
};

}  // namespace callhome::service
