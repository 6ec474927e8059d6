#include "delivery/courier.h"

#include <pthread.h>

#include <csignal>

namespace callhome::service {
namespace {

// Signals are the main thread's business. SIGPIPE above all: a TLS peer that goes away raises it.
void block_signals() {
    sigset_t all;
    ::sigfillset(&all);
    ::pthread_sigmask(SIG_BLOCK, &all, nullptr);
}

}  // namespace

Courier::Courier(std::size_t workers, const TransferLimits& limits, Done done)
    : limits_(limits), done_(std::move(done)) {
    for (std::size_t i = 0; i < workers; ++i) {
        workers_.emplace_back([this](const std::stop_token& stop) { work(stop); });
    }
}

Courier::~Courier() {
    // All are asked before the first is waited for.
    for (std::jthread& worker : workers_) {
        worker.request_stop();
    }
}

void Courier::submit(DeliveryJob job) {
    {
        const std::lock_guard lock(mutex_);
        jobs_.push_back(std::move(job));
    }
    work_waits_.notify_one();
}

void Courier::work(const std::stop_token& stop) {
    block_signals();
    while (true) {
        std::unique_lock lock(mutex_);
        if (!work_waits_.wait(lock, stop, [this] { return !jobs_.empty(); }) || stop.stop_requested()) {
            return;
        }
        const DeliveryJob job = std::move(jobs_.front());
        jobs_.pop_front();
        lock.unlock();
        Outcome outcome = attempt(job, limits_, stop);
        if (outcome.verdict != Verdict::stopped) {
            done_(job.delivery_id, std::move(outcome));
        }
    }
}

}  // namespace callhome::service
