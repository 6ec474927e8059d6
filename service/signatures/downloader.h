// The thread that downloads signatures, one request after the other. Everything else of the service runs on
// one other thread.
#pragma once

#include <array>
#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <thread>

#include <asio/io_context.hpp>

#include "delivery/settings.h"
#include "signatures/download.h"

namespace callhome::service {

class Downloader {
 public:
    // Called once, on the io_context's thread; not at all when the service ends before.
    using Done = std::function<void(DownloadResult result)>;

    Downloader(asio::io_context& io, TransferLimits limits,
               std::chrono::milliseconds longest = longest_download);
    // Ends a running transfer within about a second.
    ~Downloader();

    Downloader(const Downloader&) = delete;
    Downloader& operator=(const Downloader&) = delete;

    static constexpr std::size_t most_waiting = 8;
    // False when too many wait already.
    bool submit(DownloadJob job, Done done);

    // Submitted, and not finished.
    std::size_t waiting(DownloadKind kind) const;

 private:
    using Clock = std::chrono::steady_clock;
    struct Request {
        DownloadJob job;
        Clock::time_point deadline;
        Done done;
    };

    void work(const std::stop_token& stop);
    DownloadResult run(const Request& request, const std::stop_token& stop) const;
    void report(Request request, DownloadResult result);

    asio::io_context& io_;
    const TransferLimits limits_;
    const std::chrono::milliseconds longest_;
    std::map<DownloadKind, std::size_t> waiting_;  // the io_context's thread only
    std::mutex mutex_;
    std::condition_variable_any work_waits_;
    std::deque<Request> requests_;
    // Results on their way find out here whether there is still someone to tell.
    std::shared_ptr<Downloader*> self_;
    std::jthread worker_;  // last: the thread uses all of the above
};

}  // namespace callhome::service
