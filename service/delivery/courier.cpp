#include "delivery/courier.h"

#include <pthread.h>

#include <algorithm>
#include <csignal>
#include <utility>

namespace callhome::service {
namespace {

constexpr unsigned most_passed_over = 8;

// Signals are the main thread's business. SIGPIPE above all: a TLS peer that goes away raises it.
void block_signals() {
    sigset_t all;
    ::sigfillset(&all);
    ::pthread_sigmask(SIG_BLOCK, &all, nullptr);
}

}  // namespace

Courier::Courier(std::size_t workers, const TransferLimits& limits, Done done)
    : limits_(limits), done_(std::move(done)), workers_(workers) {
    for (Worker& worker : workers_) {
        threads_.emplace_back([this, &worker](const std::stop_token& stop) { work(worker, stop); });
    }
}

Courier::~Courier() {
    // All are asked before the first is waited for.
    for (std::jthread& thread : threads_) {
        thread.request_stop();
    }
}

bool Courier::Task::may_go_to(const std::string& place) const {
    return std::ranges::find(places, place) != places.end();
}

void Courier::submit(DeliveryJob job) {
    std::vector<std::string> places = places_of(job);
    Task task{std::move(job), std::move(places)};
    std::unique_lock lock(mutex_);
    Worker* const worker = free_worker_for(task);
    if (worker == nullptr) {
        tasks_.push_back(std::move(task));
        return;
    }
    worker->is_free = false;
    worker->task = std::move(task);
    lock.unlock();
    worker->has_task.notify_one();
}

// Better one without a connection than one that has to close its own.
Courier::Worker* Courier::free_worker_for(const Task& task) {
    Worker* best = nullptr;
    for (Worker& worker : workers_) {
        if (!worker.is_free) {
            continue;
        }
        if (task.may_go_to(worker.place)) {
            return &worker;
        }
        if (best == nullptr || (worker.place.empty() && !best->place.empty())) {
            best = &worker;
        }
    }
    return best;
}

// A worker that is free takes the oldest task that waits, or rather one for which it has a connection, as
// long as nobody waits forever for that.
void Courier::take_back(Worker& worker, std::string place) {
    const std::lock_guard lock(mutex_);
    worker.place = std::move(place);
    worker.is_free = tasks_.empty();
    if (tasks_.empty()) {
        return;
    }
    auto next = tasks_.begin();
    if (next->passed_over < most_passed_over) {
        const auto same_place =
            std::ranges::find_if(tasks_, [&](const Task& task) { return task.may_go_to(worker.place); });
        next = same_place == tasks_.end() ? next : same_place;
        tasks_.front().passed_over += next == tasks_.begin() ? 0 : 1;
    }
    worker.task = std::move(*next);
    tasks_.erase(next);
}

// Closes a connection for which nothing has come. Nothing when the service ends.
std::optional<Courier::Task> Courier::next_task(Worker& worker, KeptConnection& kept,
                                                const std::stop_token& stop) {
    std::unique_lock lock(mutex_);
    const auto has_task = [&worker] { return worker.task.has_value(); };
    const auto idle_end = kept.end();
    if (idle_end && !worker.has_task.wait_until(lock, stop, *idle_end, has_task)) {
        worker.is_free = false;  // while it says goodbye
        lock.unlock();
        kept.close();
        take_back(worker, "");
        lock.lock();
    }
    if (!worker.has_task.wait(lock, stop, has_task) || stop.stop_requested()) {
        return std::nullopt;
    }
    return std::exchange(worker.task, std::nullopt);
}

void Courier::work(Worker& worker, const std::stop_token& stop) {
    block_signals();
    KeptConnection kept;
    while (const auto task = next_task(worker, kept, stop)) {
        if (!task->may_go_to(kept.place())) {
            kept.close();
        }
        Outcome outcome = attempt(task->job, limits_, stop, kept);
        // Who hears of the outcome may have the next task for the same place.
        take_back(worker, kept.place());
        if (outcome.verdict != Verdict::stopped) {
            done_(task->job.delivery_id, std::move(outcome));
        }
    }
}

}  // namespace callhome::service
