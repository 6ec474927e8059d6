// The one SQLite database of the service. Used from the io_context's thread only.
#pragma once

#include <filesystem>

#include <SQLiteCpp/SQLiteCpp.h>

#include "store/statements.h"
#include "store/storage_health.h"

namespace callhome::service {

class Database {
 public:
    // Opens or creates the database file, private to its owner (mode 0600), with a write-ahead log and
    // full synchronisation: what was committed survives a kill and a power cut. Throws
    // SQLite::Exception, or std::runtime_error when the file belongs to a newer version.
    explicit Database(const std::filesystem::path& file);

    SQLite::Database& connection() { return connection_; }
    Statements& statements() { return statements_; }

    // Whoever meets an error of the database notes it here.
    StorageHealth& health() { return health_; }

    // A transaction that changes nothing and yet has to reach the disk. Throws SQLite::Exception.
    void try_write();

 private:
    SQLite::Database connection_;
    Statements statements_{connection_};
    StorageHealth health_;
};

}  // namespace callhome::service
