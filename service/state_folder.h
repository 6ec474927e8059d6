// The folder of everything that outlives the process, for one process at a time.
#pragma once

#include <filesystem>

namespace callhome::service {

class StateFolder {
 public:
    // Creates the folder, open to its owner only, and locks it. Throws AlreadyRunning when another
    // process has the lock, or std::runtime_error when the folder is a link, belongs to somebody else or
    // cannot be created.
    explicit StateFolder(const std::filesystem::path& path);
    ~StateFolder();

    StateFolder(const StateFolder&) = delete;
    StateFolder& operator=(const StateFolder&) = delete;

    std::filesystem::path database() const { return path_ / "callhome.db"; }

 private:
    const std::filesystem::path path_;
    int lock_ = -1;
};

}  // namespace callhome::service
