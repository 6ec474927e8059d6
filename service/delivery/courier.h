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
    struct Task {
        DeliveryJob job;
        std::vector<std::string> places;  // to which a connection may serve it
        unsigned passed_over = 0;

        bool may_go_to(const std::string& place) const;
    };
    struct Worker {
        std::condition_variable_any has_task;
        std::optional<Task> task;
        std::string place;  // to which its connection leads; empty for none
        bool is_free = true;
    };

    void work(Worker& worker, const std::stop_token& stop);
    std::optional<Task> next_task(Worker& worker, KeptConnection& kept, const std::stop_token& stop);
    void take_back(Worker& worker, std::string place);
    Worker* free_worker_for(const Task& task);

    TransferLimits limits_;
    Done done_;
    std::mutex mutex_;
    std::deque<Task> tasks_;  // for which no worker was free
    std::deque<Worker> workers_;
    std::vector<std::jthread> threads_;  // last: the threads use all of the above
};

}  // namespace callhome::service
