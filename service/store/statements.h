// Statements that are prepared once: for most of them that takes longer than running them.
#pragma once

#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include <SQLiteCpp/SQLiteCpp.h>

namespace callhome::service {

class Statements {
    using Statement = std::unique_ptr<SQLite::Statement>;
    using Idle = std::vector<Statement>;

 public:
    // A statement while it is used. It is reset when this goes, whatever was thrown meanwhile: one that
    // stays open keeps the write-ahead log from being taken over.
    class Use {
     public:
        Use(Idle& idle, Statement statement) : idle_(idle), statement_(std::move(statement)) {}
        ~Use();
        Use(const Use&) = delete;
        Use& operator=(const Use&) = delete;

        SQLite::Statement& operator*() const { return *statement_; }
        SQLite::Statement* operator->() const { return statement_.get(); }

     private:
        Idle& idle_;
        Statement statement_;
    };

    explicit Statements(SQLite::Database& connection) : connection_(connection) {}

    // Nothing is bound to it. `sql` is one of few texts, since each is kept; it may be used a second time
    // while it is used. Throws SQLite::Exception.
    Use use(std::string_view sql);

 private:
    SQLite::Database& connection_;
    std::map<std::string, Idle, std::less<>> idle_;  // by their text
};

}  // namespace callhome::service
