// Statements that are prepared once, and transactions around them.
#pragma once

#include <SQLiteCpp/SQLiteCpp.h>
#include <SQLiteCpp/VariadicBind.h>

namespace callhome::service {

// A statement alone is a transaction of its own. It is reset in any case: one that stays open keeps
// the write-ahead log from being taken over, and its late error would hit the next change.
template <typename... Values>
void run(SQLite::Statement& statement, const Values&... values) {
    struct Reset {
        SQLite::Statement& statement;
        ~Reset() { statement.tryReset(); }
    } const reset{statement};
    SQLite::bind(statement, values...);
    statement.exec();
}

class Transactions {
 public:
    explicit Transactions(SQLite::Database& connection);

    // Whether one is under way on the connection.
    bool is_open() const;

 private:
    friend class Transaction;
    SQLite::Database& connection_;
    SQLite::Statement begin_, commit_, rollback_;
};

// What happens until commit() is made as a whole or, at the end of this object's life, not at all. Within
// another transaction it is a part of that one and is decided with it.
class Transaction {
 public:
    explicit Transaction(Transactions& transactions);
    ~Transaction();
    Transaction(const Transaction&) = delete;
    Transaction& operator=(const Transaction&) = delete;

    void commit();

 private:
    Transactions& transactions_;
    const bool is_part_;
};

}  // namespace callhome::service
