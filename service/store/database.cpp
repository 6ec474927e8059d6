#include "store/database.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <stdexcept>
#include <system_error>

namespace callhome::service {
namespace {

// 1: what one switch is configured with. 2: all of it, and the pending copy. 3: diagnostic signatures.
// Later versions add tables only.
constexpr int schema_version = 3;

// SQLite would create the file with the process's umask; what it holds is nobody else's business.
const std::filesystem::path& create_private(const std::filesystem::path& file) {
    const int descriptor =
        ::open(file.c_str(), O_RDWR | O_CREAT | O_NOFOLLOW | O_CLOEXEC, S_IRUSR | S_IWUSR);
    if (descriptor < 0) {
        throw std::system_error(errno, std::generic_category(),
                                "cannot open the database " + file.string());
    }
    ::close(descriptor);
    return file;
}

}  // namespace

Database::Database(const std::filesystem::path& file)
    : connection_(create_private(file).string(), SQLite::OPEN_READWRITE) {
    connection_.exec("PRAGMA journal_mode = WAL; PRAGMA synchronous = FULL; PRAGMA foreign_keys = ON;");
    // What makes a message cheaper by a third and costs no promise: the text of one that is forgotten is
    // left in pages that the next one takes, instead of being written over, and what only a statement needs
    // is not written to a file. Larger pages cost more, as each commit writes some that hold little, and
    // rarer checkpoints gain nothing.
    connection_.exec("PRAGMA secure_delete = FAST; PRAGMA temp_store = MEMORY;");
    const int version = connection_.execAndGet("PRAGMA user_version").getInt();
    if (version > schema_version) {
        throw std::runtime_error("the database " + file.string() +
                                 " was written by a newer version of callhomed; install that version, "
                                 "or move the file away to start anew");
    }
    try_write();
}

// The version is written even when it is the one that stands there.
void Database::try_write() {
    connection_.exec("PRAGMA user_version = " + std::to_string(schema_version));
}

}  // namespace callhome::service
