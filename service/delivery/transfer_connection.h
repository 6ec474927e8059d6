// Connections that outlive a transfer: who has another message for the same place goes on with the one that
// there is.
#pragma once

#include <chrono>
#include <filesystem>
#include <memory>
#include <optional>
#include <stop_token>
#include <string>
#include <vector>

#include "delivery/curl_handle.h"
#include "delivery/settings.h"

namespace callhome::service {

// All that makes a connection the one it is. Where anything differs, another one is opened.
struct Way {
    std::string place;  // where it leads, in a form of its carrier's own
    std::vector<std::string> settings;

    bool operator==(const Way&) const = default;
};

// Changes when the file does: what it says counts for connections that are opened afterwards.
std::string stamp_of(const std::filesystem::path& file);

class TransferConnection {
 public:
    // `protocols` as with CurlHandle. `goodbye` is the command that ends a conversation; null for none.
    TransferConnection(Way way, const char* protocols, const char* goodbye, const TransferLimits& limits,
                       const std::stop_token& stop);
    // Says goodbye.
    ~TransferConnection();

    TransferConnection(const TransferConnection&) = delete;
    TransferConnection& operator=(const TransferConnection&) = delete;

    const Way& way() const { return way_; }
    CurlHandle& handle() { return handle_; }

    // It has carried a message before.
    bool was_used() const { return uses_ > 0; }
    // A message has gone out over it, and another one may.
    void hold();
    bool can_go_on() const;
    std::chrono::steady_clock::time_point idle_end() const { return used_ + keep_idle_; }

    bool is_encrypted = false;

 private:
    const Way way_;
    const char* const goodbye_;
    const std::chrono::milliseconds goodbye_within_;
    const std::chrono::milliseconds keep_idle_;
    const unsigned most_uses_;
    const std::chrono::steady_clock::time_point end_;
    std::chrono::steady_clock::time_point used_;
    unsigned uses_ = 0;
    CurlHandle handle_;
};

// The connection that one courier has left open behind it.
class KeptConnection {
 public:
    // The one that is kept, when it goes this way and can go on; else null. One that leads to the same
    // place in another way is closed.
    std::unique_ptr<TransferConnection> take(const Way& way);
    // Closes the one that was kept before.
    void keep(std::unique_ptr<TransferConnection> connection);
    void close() { connection_.reset(); }

    // Where it leads; empty when there is none.
    std::string place() const { return connection_ == nullptr ? "" : connection_->way().place; }
    bool is_encrypted() const { return connection_ != nullptr && connection_->is_encrypted; }
    // When it has been idle for long enough.
    std::optional<std::chrono::steady_clock::time_point> end() const;

 private:
    std::unique_ptr<TransferConnection> connection_;
};

}  // namespace callhome::service
