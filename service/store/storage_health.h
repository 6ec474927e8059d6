// Whether what has to be kept can be kept: the service goes on without it, and says so.
#pragma once

#include <array>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>

#include <SQLiteCpp/SQLiteCpp.h>

namespace callhome::service {

// What can be wrong, each by itself.
enum class Trouble : std::uint8_t {
    database,   // reading or writing it has failed
    disk_room,  // the disk is too full for messages
};

// What to do about an error of the database.
const char* remedy_for(int sqlite_error);

// Used on the io_context's thread only.
class StorageHealth {
 public:
    void failed(const SQLite::Exception& error);
    void failed(Trouble trouble, const std::string& reason);
    // The trouble is over.
    void works(Trouble trouble);

    bool has(Trouble trouble) const { return reason_of(trouble).has_value(); }
    bool is_degraded() const { return has(Trouble::database) || has(Trouble::disk_room); }
    // What is wrong, as one line; empty when nothing is.
    std::string reason() const;
    std::int64_t since() const { return since_; }  // seconds since 1970; of the last change of reason()
    std::uint64_t failures() const { return failures_; }

    // A damaged database may take a write and be damaged all the same: only another start looks at it anew.
    bool may_recover() const { return !is_damaged_; }

    // Called after reason() has changed.
    void when_changed(std::function<void()> changed) { changed_ = std::move(changed); }

 private:
    const std::optional<std::string>& reason_of(Trouble trouble) const {
        return reasons_.at(static_cast<std::size_t>(trouble));
    }
    void change(Trouble trouble, std::optional<std::string> reason);

    std::array<std::optional<std::string>, 2> reasons_;
    bool is_damaged_ = false;
    std::uint64_t failures_ = 0;
    std::int64_t since_ = 0;
    std::function<void()> changed_;
};

}  // namespace callhome::service
