// Disks that fail, for tests: what SQLite writes and synchronises goes through here.
#pragma once

#include <sqlite3.h>

#include <atomic>

namespace callhome::service::tests {

// While one lives, databases are opened through it; it must outlive them.
class FaultyVfs {
 public:
    FaultyVfs();
    ~FaultyVfs();
    FaultyVfs(const FaultyVfs&) = delete;
    FaultyVfs& operator=(const FaultyVfs&) = delete;

    // From the `count`-th from now on (1 is the next one), each fails so until heal().
    void fail_writes_from(int count, int error);
    void fail_syncs_from(int count, int error);
    void heal();

    int writes() const { return writes_; }  // tried so far
    int syncs() const { return syncs_; }

    // SQLITE_OK, or what this write or sync fails with.
    int next_write();
    int next_sync();

 private:
    sqlite3_vfs vfs_{};
    std::atomic<int> writes_ = 0;
    std::atomic<int> syncs_ = 0;
    int failing_write_ = 0;  // 0 for none
    int failing_sync_ = 0;
    int write_error_ = SQLITE_OK;
    int sync_error_ = SQLITE_OK;
};

}  // namespace callhome::service::tests
