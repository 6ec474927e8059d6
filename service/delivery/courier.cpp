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

void Courier::submit(DeliveryJob job) {
    const std::lock_guard lock(mutex_);
    Worker* const worker = free_worker_for(job);
    if (worker == nullptr) {
        jobs_.push_back({std::move(job)});
        return;
    }
    worker->is_free = false;
    worker->job = std::move(job);
    worker->has_job.notify_one();
}

// Better one without a connection than one that has to close its own.
Courier::Worker* Courier::free_worker_for(const DeliveryJob& job) {
    Worker* best = nullptr;
    for (Worker& worker : workers_) {
        if (!worker.is_free) {
            continue;
        }
        if (!worker.place.empty() && may_go_to(job, worker.place)) {
            return &worker;
        }
        if (best == nullptr || (worker.place.empty() && !best->place.empty())) {
            best = &worker;
        }
    }
    return best;
}

// A worker that is free takes the oldest job that waits, or rather one for which it has a connection, as
// long as nobody waits forever for that.
void Courier::take_back(Worker& worker, std::string place) {
    const std::lock_guard lock(mutex_);
    worker.place = std::move(place);
    worker.is_free = jobs_.empty();
    if (jobs_.empty()) {
        return;
    }
    auto next = jobs_.begin();
    if (!worker.place.empty() && next->passed_over < most_passed_over) {
        const auto same_place = std::ranges::find_if(
            jobs_, [&](const WaitingJob& waiting) { return may_go_to(waiting.job, worker.place); });
        next = same_place == jobs_.end() ? next : same_place;
        jobs_.front().passed_over += next == jobs_.begin() ? 0 : 1;
    }
    worker.job = std::move(next->job);
    jobs_.erase(next);
}

// Closes a connection that nobody has a job for. Nothing when the service ends.
std::optional<DeliveryJob> Courier::next_job(Worker& worker, KeptConnection& kept,
                                             const std::stop_token& stop) {
    std::unique_lock lock(mutex_);
    const auto has_job = [&worker] { return worker.job.has_value(); };
    if (const auto idle_end = kept.end();
        idle_end && !worker.has_job.wait_until(lock, stop, *idle_end, has_job)) {
        worker.is_free = false;  // while it is busy saying goodbye
        lock.unlock();
        kept.close();
        take_back(worker, "");
        lock.lock();
    }
    if (!worker.has_job.wait(lock, stop, has_job) || stop.stop_requested()) {
        return std::nullopt;
    }
    return std::exchange(worker.job, std::nullopt);
}

void Courier::work(Worker& worker, const std::stop_token& stop) {
    block_signals();
    KeptConnection kept;
    while (const auto job = next_job(worker, kept, stop)) {
        if (!may_go_to(*job, kept.place())) {
            kept.close();
        }
        Outcome outcome = attempt(*job, limits_, stop, kept);
        // Who hears of the outcome may have the next job for the same place.
        take_back(worker, kept.place());
        if (outcome.verdict != Verdict::stopped) {
            done_(job->delivery_id, std::move(outcome));
        }
    }
}

}  // namespace callhome::service
