#include "delivery/transfer_connection.h"

#include <fmt/format.h>
#include <sys/stat.h>

#include <utility>

namespace callhome::service {

std::string stamp_of(const std::filesystem::path& file) {
    struct stat status {};
    if (file.empty() || ::stat(file.c_str(), &status) != 0) {
        return "";
    }
    return fmt::format("{}.{}.{}.{}", status.st_ino, status.st_size, status.st_mtim.tv_sec,
                       status.st_mtim.tv_nsec);
}

TransferConnection::TransferConnection(Way way, const char* protocols, const char* goodbye,
                                       const TransferLimits& limits, const std::stop_token& stop)
    : way_(std::move(way)),
      goodbye_(goodbye),
      goodbye_within_(limits.goodbye),
      keep_idle_(limits.keep_idle),
      most_uses_(limits.keep_for_messages),
      end_(std::chrono::steady_clock::now() + limits.keep_for),
      handle_(protocols, limits, stop) {}

TransferConnection::~TransferConnection() {
    if (goodbye_ != nullptr) {
        handle_.hold_connection();
        handle_.take_leave(goodbye_, goodbye_within_);
    }
}

void TransferConnection::hold() {
    handle_.hold_connection();
    ++uses_;
    used_ = std::chrono::steady_clock::now();
}

bool TransferConnection::can_go_on() const {
    const auto now = std::chrono::steady_clock::now();
    return uses_ < most_uses_ && now < end_ && now < idle_end() && handle_.is_connection_quiet();
}

std::unique_ptr<TransferConnection> KeptConnection::take(const Way& way) {
    if (connection_ == nullptr || connection_->way().place != way.place) {
        return nullptr;
    }
    std::unique_ptr<TransferConnection> connection = std::move(connection_);
    return connection->way() == way && connection->can_go_on() ? std::move(connection) : nullptr;
}

void KeptConnection::keep(std::unique_ptr<TransferConnection> connection) {
    connection->hold();
    connection_ = connection->can_go_on() ? std::move(connection) : nullptr;
}

std::optional<std::chrono::steady_clock::time_point> KeptConnection::end() const {
    return connection_ == nullptr ? std::nullopt : std::optional(connection_->idle_end());
}

}  // namespace callhome::service
