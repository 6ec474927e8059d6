#include "store/transaction.h"

#include <spdlog/spdlog.h>
#include <sqlite3.h>

namespace callhome::service {

Transactions::Transactions(SQLite::Database& connection)
    : connection_(connection),
      begin_(connection, "BEGIN IMMEDIATE"),
      commit_(connection, "COMMIT"),
      rollback_(connection, "ROLLBACK") {}

bool Transactions::is_open() const {
    return sqlite3_get_autocommit(connection_.getHandle()) == 0;
}

Transaction::Transaction(Transactions& transactions)
    : transactions_(transactions), is_part_(transactions.is_open()) {
    if (!is_part_) {
        run(transactions_.begin_);
    }
}

Transaction::~Transaction() {
    // A commit has ended it, and some errors have rolled it back already.
    if (is_part_ || !transactions_.is_open()) {
        return;
    }
    try {
        run(transactions_.rollback_);
    } catch (const SQLite::Exception& error) {
        spdlog::error("a change could not be taken back: {}", error.what());
    }
}

void Transaction::commit() {
    if (!is_part_) {
        run(transactions_.commit_);
    }
}

}  // namespace callhome::service
