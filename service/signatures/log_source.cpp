#include "signatures/log_source.h"

#include <spdlog/spdlog.h>

#include <exception>
#include <utility>

namespace callhome::service {

LogSources::LogSources(asio::io_context& io, LogSettings settings, TakeLine take)
    : io_(io), settings_(std::move(settings)), take_(std::move(take)) {
    try {
        socket_.emplace(io_, settings_.socket, settings_.access, take_);
    } catch (const std::exception& error) {
        spdlog::warn("Signatures get no log lines through a socket: {}", error.what());
    }
}

void LogSources::listen(bool wanted) {
    if (!wanted) {
        journal_.reset();
        return;
    }
    try {
        journal_.emplace(io_, settings_.journal_folder, take_);
        if (!journal_->has_entries()) {
            spdlog::warn("Signatures find nothing in the system journal that this service may read");
        }
    } catch (const std::exception& error) {
        spdlog::warn("Signatures get no lines of the system journal: {}", error.what());
    }
}

}  // namespace callhome::service
