#include "store/storage_watch.h"

namespace callhome::service {

StorageWatch::StorageWatch(asio::io_context& io, Database& database, std::chrono::milliseconds pause,
                           std::function<void()> recovered)
    : database_(database),
      pause_(pause),
      recovered_(std::move(recovered)),
      timer_(io),
      self_(std::make_shared<StorageWatch*>(this)) {
    database_.health().when_changed([this] { look(); });
    look();
}

StorageWatch::~StorageWatch() {
    database_.health().when_changed({});
}

void StorageWatch::look() {
    const StorageHealth& health = database_.health();
    if (told_) {
        told_(health.reason());
    }
    if (health.has(Trouble::database) && health.may_recover() && !waits_) {
        try_later();
    }
}

void StorageWatch::try_later() {
    waits_ = true;
    timer_.expires_after(pause_);
    timer_.async_wait([weak = std::weak_ptr(self_)](const asio::error_code& error) {
        const auto self = weak.lock();
        if (!error && self != nullptr) {
            (*self)->try_now();
        }
    });
}

void StorageWatch::try_now() {
    waits_ = false;
    try {
        database_.try_write();
    } catch (const SQLite::Exception& error) {
        database_.health().failed(error);
        // The same reason is no change, of which look() would hear.
        look();
        return;
    }
    database_.health().works(Trouble::database);
    recovered_();
}

}  // namespace callhome::service
