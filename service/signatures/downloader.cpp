#include "signatures/downloader.h"

#include <pthread.h>

#include <asio/post.hpp>
#include <csignal>

#include "delivery/http_fetch.h"
#include "messages/text.h"

namespace callhome::service {
namespace {

// One server that falls silent leaves time for the next one.
constexpr std::chrono::milliseconds longest_transfer{15'000};

// Signals are the main thread's business. SIGPIPE above all: a TLS peer that goes away raises it.
void block_signals() {
    sigset_t all;
    ::sigfillset(&all);
    ::pthread_sigmask(SIG_BLOCK, &all, nullptr);
}

}  // namespace

Downloader::Downloader(asio::io_context& io, TransferLimits limits, std::chrono::milliseconds longest)
    : io_(io),
      limits_(std::move(limits)),
      longest_(longest),
      self_(std::make_shared<Downloader*>(this)),
      worker_([this](const std::stop_token& stop) { work(stop); }) {}

Downloader::~Downloader() = default;

bool Downloader::submit(DownloadJob job, Done done) {
    std::size_t all_waiting = 0;
    for (const auto& [kind, count] : waiting_) {
        all_waiting += count;
    }
    if (all_waiting >= most_waiting) {
        return false;
    }
    ++waiting_[job.kind];
    {
        const std::lock_guard lock(mutex_);
        requests_.push_back({std::move(job), Clock::now() + longest_, std::move(done)});
    }
    work_waits_.notify_one();
    return true;
}

std::size_t Downloader::waiting(DownloadKind kind) const {
    const auto found = waiting_.find(kind);
    return found == waiting_.end() ? 0 : found->second;
}

void Downloader::work(const std::stop_token& stop) {
    block_signals();
    while (true) {
        std::unique_lock lock(mutex_);
        if (!work_waits_.wait(lock, stop, [this] { return !requests_.empty(); }) || stop.stop_requested()) {
            return;
        }
        Request request = std::move(requests_.front());
        requests_.pop_front();
        lock.unlock();
        DownloadResult result = run(request, stop);
        if (!stop.stop_requested()) {
            report(std::move(request), std::move(result));
        }
    }
}

DownloadResult Downloader::run(const Request& request, const std::stop_token& stop) const {
    try {
        Fetcher fetcher(request.job.route, limits_, stop);
        return download_files(request.job, [&](const std::string& url, std::size_t most_bytes) {
            const auto left =
                std::chrono::duration_cast<std::chrono::milliseconds>(request.deadline - Clock::now());
            return fetcher.fetch(url, most_bytes, std::min({left, longest_transfer, limits_.total}));
        });
    } catch (const std::exception& error) {
        return {Refusal{protocol::ResultCode::failed, clean_line(error.what())}, {}};
    }
}

void Downloader::report(Request request, DownloadResult result) {
    asio::post(io_, [weak = std::weak_ptr(self_), kind = request.job.kind, done = std::move(request.done),
                     result = std::move(result)]() mutable {
        if (const auto self = weak.lock()) {
            --(*self)->waiting_[kind];
            done(std::move(result));
        }
    });
}

}  // namespace callhome::service
