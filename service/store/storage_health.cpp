#include "store/storage_health.h"

#include <fmt/format.h>
#include <spdlog/spdlog.h>
#include <sqlite3.h>

#include <chrono>

namespace callhome::service {
namespace {

constexpr int primary_code = 0xFF;  // the lower byte of an extended error

std::int64_t seconds_now() {
    const auto since_1970 = std::chrono::system_clock::now().time_since_epoch();
    return std::chrono::duration_cast<std::chrono::seconds>(since_1970).count();
}

bool is_damage(int sqlite_error) {
    return sqlite_error == SQLITE_CORRUPT || sqlite_error == SQLITE_NOTADB;
}

}  // namespace

const char* remedy_for(int sqlite_error) {
    switch (sqlite_error & primary_code) {
        case SQLITE_FULL:
            return "make room on its disk";
        case SQLITE_NOTADB:
        case SQLITE_CORRUPT:
            return "put a copy of it back, or move it away to start anew";
        default:
            return "check its disk and the rights of its folder";
    }
}

void StorageHealth::failed(const SQLite::Exception& error) {
    ++failures_;
    is_damaged_ = is_damaged_ || is_damage(error.getErrorCode() & primary_code);
    change(Trouble::database,
           fmt::format("the database fails: {}; {}", error.what(), remedy_for(error.getErrorCode())));
}

void StorageHealth::failed(Trouble trouble, const std::string& reason) {
    ++failures_;
    change(trouble, reason);
}

void StorageHealth::works(Trouble trouble) {
    change(trouble, std::nullopt);
}

std::string StorageHealth::reason() const {
    std::string text;
    for (const auto& reason : reasons_) {
        if (reason) {
            text += (text.empty() ? "" : "; ") + *reason;
        }
    }
    return text;
}

// The log tells of the beginning and the end, not of each failure between them.
void StorageHealth::change(Trouble trouble, std::optional<std::string> reason) {
    auto& place = reasons_.at(static_cast<std::size_t>(trouble));
    if (place == reason) {
        return;
    }
    const bool was_degraded = is_degraded();
    place = std::move(reason);
    since_ = seconds_now();
    if (place) {
        spdlog::error("degraded: {}", *place);
    } else if (was_degraded && !is_degraded()) {
        spdlog::info("no longer degraded");
    }
    if (changed_) {
        changed_();
    }
}

}  // namespace callhome::service
