// Finds out when the storage works again, so that nobody has to restart the service for it.
#pragma once

#include <chrono>
#include <functional>
#include <memory>

#include <asio/io_context.hpp>
#include <asio/steady_timer.hpp>

#include "store/database.h"

namespace callhome::service {

// While the database is in trouble, tries a write now and then. Lives on the io_context's thread; all
// references must outlive it.
class StorageWatch {
 public:
    // `recovered` is told when a write has worked again.
    StorageWatch(asio::io_context& io, Database& database, std::chrono::milliseconds pause,
                 std::function<void()> recovered);
    ~StorageWatch();
    StorageWatch(const StorageWatch&) = delete;
    StorageWatch& operator=(const StorageWatch&) = delete;

    // Called with what is wrong, empty when nothing is any more.
    void when_told(std::function<void(const std::string& reason)> told) { told_ = std::move(told); }

 private:
    void look();
    void try_later();
    void try_now();

    Database& database_;
    const std::chrono::milliseconds pause_;
    std::function<void()> recovered_;
    std::function<void(const std::string&)> told_;
    asio::steady_timer timer_;
    bool waits_ = false;
    // What is on its way through the io_context finds out here whether there is still someone to tell.
    std::shared_ptr<StorageWatch*> self_;
};

}  // namespace callhome::service
