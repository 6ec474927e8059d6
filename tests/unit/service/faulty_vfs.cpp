#include "faulty_vfs.h"

#include <cstddef>

namespace callhome::service::tests {
namespace {

// The file of the real system stands behind this one.
struct File {
    sqlite3_file base;
    FaultyVfs* faults;
    sqlite3_file* real() { return reinterpret_cast<sqlite3_file*>(this + 1); }
};

File& file_of(sqlite3_file* file) {
    return *reinterpret_cast<File*>(file);
}

sqlite3_file* real(sqlite3_file* file) {
    return file_of(file).real();
}

sqlite3_vfs* system_vfs() {
    return sqlite3_vfs_find("unix");
}

int close_file(sqlite3_file* file) {
    return real(file)->pMethods->xClose(real(file));
}

int write_file(sqlite3_file* file, const void* bytes, int size, sqlite3_int64 offset) {
    const int fault = file_of(file).faults->next_write();
    return fault != SQLITE_OK ? fault : real(file)->pMethods->xWrite(real(file), bytes, size, offset);
}

int sync_file(sqlite3_file* file, int flags) {
    const int fault = file_of(file).faults->next_sync();
    return fault != SQLITE_OK ? fault : real(file)->pMethods->xSync(real(file), flags);
}

const sqlite3_io_methods methods{
    .iVersion = 2,
    .xClose = close_file,
    .xRead =
        [](sqlite3_file* file, void* bytes, int size, sqlite3_int64 offset) {
            return real(file)->pMethods->xRead(real(file), bytes, size, offset);
        },
    .xWrite = write_file,
    .xTruncate = [](sqlite3_file* file,
                    sqlite3_int64 size) { return real(file)->pMethods->xTruncate(real(file), size); },
    .xSync = sync_file,
    .xFileSize = [](sqlite3_file* file,
                    sqlite3_int64* size) { return real(file)->pMethods->xFileSize(real(file), size); },
    .xLock = [](sqlite3_file* file, int kind) { return real(file)->pMethods->xLock(real(file), kind); },
    .xUnlock = [](sqlite3_file* file, int kind) { return real(file)->pMethods->xUnlock(real(file), kind); },
    .xCheckReservedLock =
        [](sqlite3_file* file, int* result) {
            return real(file)->pMethods->xCheckReservedLock(real(file), result);
        },
    .xFileControl =
        [](sqlite3_file* file, int operation, void* argument) {
            return real(file)->pMethods->xFileControl(real(file), operation, argument);
        },
    .xSectorSize = [](sqlite3_file* file) { return real(file)->pMethods->xSectorSize(real(file)); },
    .xDeviceCharacteristics =
        [](sqlite3_file* file) { return real(file)->pMethods->xDeviceCharacteristics(real(file)); },
    .xShmMap =
        [](sqlite3_file* file, int page, int size, int extend, void volatile** memory) {
            return real(file)->pMethods->xShmMap(real(file), page, size, extend, memory);
        },
    .xShmLock = [](sqlite3_file* file, int offset, int count,
                   int flags) { return real(file)->pMethods->xShmLock(real(file), offset, count, flags); },
    .xShmBarrier = [](sqlite3_file* file) { real(file)->pMethods->xShmBarrier(real(file)); },
    .xShmUnmap = [](sqlite3_file* file,
                    int remove) { return real(file)->pMethods->xShmUnmap(real(file), remove); },
    .xFetch = nullptr,
    .xUnfetch = nullptr,
};

int open_file(sqlite3_vfs* vfs, const char* name, sqlite3_file* file, int flags, int* result) {
    File& opened = file_of(file);
    opened.base.pMethods = nullptr;
    opened.faults = static_cast<FaultyVfs*>(vfs->pAppData);
    const int status = system_vfs()->xOpen(system_vfs(), name, opened.real(), flags, result);
    if (opened.real()->pMethods != nullptr) {
        opened.base.pMethods = &methods;
    }
    return status;
}

}  // namespace

FaultyVfs::FaultyVfs() : vfs_(*system_vfs()) {
    vfs_.zName = "faulty";
    vfs_.szOsFile = static_cast<int>(sizeof(File)) + system_vfs()->szOsFile;
    vfs_.pNext = nullptr;
    vfs_.pAppData = this;
    vfs_.xOpen = open_file;
    constexpr int as_default = 1;
    sqlite3_vfs_register(&vfs_, as_default);
}

FaultyVfs::~FaultyVfs() {
    sqlite3_vfs_unregister(&vfs_);
    constexpr int as_default = 1;
    sqlite3_vfs_register(system_vfs(), as_default);
}

void FaultyVfs::fail_writes_from(int count, int error) {
    failing_write_ = writes_ + count;
    write_error_ = error;
}

void FaultyVfs::fail_syncs_from(int count, int error) {
    failing_sync_ = syncs_ + count;
    sync_error_ = error;
}

void FaultyVfs::heal() {
    failing_write_ = 0;
    failing_sync_ = 0;
}

int FaultyVfs::next_write() {
    const int number = ++writes_;
    return failing_write_ != 0 && number >= failing_write_ ? write_error_ : SQLITE_OK;
}

int FaultyVfs::next_sync() {
    const int number = ++syncs_;
    return failing_sync_ != 0 && number >= failing_sync_ ? sync_error_ : SQLITE_OK;
}

}  // namespace callhome::service::tests
