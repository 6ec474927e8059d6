// A change that cannot be stored is not made, neither in memory nor in the database; the next one is.
#include <gtest/gtest.h>
#include <sqlite3.h>

#include <array>
#include <memory>

#include "changes.h"
#include "description.h"
#include "store/store.h"
#include "temporary_folder.h"

namespace callhome::service {
namespace {

class Failure {
 public:
    virtual ~Failure() = default;
    virtual void begin(Database& database) = 0;
    virtual void end(Database& database) = 0;
};

class ReadOnly final : public Failure {
    void begin(Database& database) override { database.connection().exec("PRAGMA query_only = ON"); }
    void end(Database& database) override { database.connection().exec("PRAGMA query_only = OFF"); }
};

// The statements succeed, their commit does not.
class CommitFails final : public Failure {
    void begin(Database& database) override {
        sqlite3_commit_hook(
            database.connection().getHandle(), [](void*) { return 1; }, nullptr);
    }
    void end(Database& database) override {
        sqlite3_commit_hook(database.connection().getHandle(), nullptr, nullptr);
    }
};

class LockedByAnother final : public Failure {
    void begin(Database& database) override {
        other_ = std::make_unique<Database>(database.connection().getFilename());
        other_->connection().exec("BEGIN IMMEDIATE");
    }
    void end(Database& /*database*/) override { other_.reset(); }
    std::unique_ptr<Database> other_;
};

struct NamedFailure {
    const char* name;
    std::unique_ptr<Failure> (*make)();
};

template <typename Kind>
std::unique_ptr<Failure> make() {
    return std::make_unique<Kind>();
}

constexpr std::array failures{NamedFailure{"ReadOnly", make<ReadOnly>},
                              NamedFailure{"CommitFails", make<CommitFails>},
                              NamedFailure{"LockedByAnother", make<LockedByAnother>}};

class FailingCommit : public testing::TestWithParam<NamedFailure> {
 protected:
    std::string reopened() const {
        Database other(folder / "callhome.db");
        const Store again(other);
        return description_of(again.configuration());
    }

    TemporaryFolder folder;
    Database database{folder / "callhome.db"};
    Store store{database};
};

TEST_P(FailingCommit, LeavesMemoryAndDatabaseAsTheyWere) {
    const std::unique_ptr<Failure> failure = GetParam().make();
    for (const NamedChange& change : changes) {
        const std::string before = description_of(store.configuration());
        failure->begin(database);
        EXPECT_THROW(change.make(store), SQLite::Exception) << change.name;
        failure->end(database);
        EXPECT_EQ(description_of(store.configuration()), before) << change.name;
        EXPECT_EQ(reopened(), before) << change.name;
        change.make(store);
        EXPECT_NE(description_of(store.configuration()), before) << change.name;
        EXPECT_EQ(reopened(), description_of(store.configuration())) << change.name;
    }
}

INSTANTIATE_TEST_SUITE_P(Of, FailingCommit, testing::ValuesIn(failures),
                         [](const auto& instance) { return instance.param.name; });

TEST(FullDisk, LeavesMemoryAndDatabaseAsTheyWere) {
    const TemporaryFolder folder;
    Database database(folder / "callhome.db");
    Store store(database);
    SQLite::Database& connection = database.connection();
    const int pages = connection.execAndGet("PRAGMA page_count").getInt();
    connection.exec("PRAGMA max_page_count = " + std::to_string(pages));
    const std::string long_text(2'000, 'x');
    EXPECT_THROW(
        {
            // The first rows may still fit; each that does not must leave nothing behind.
            for (const char* name : {"siteId", "custId", "contractId", "sysContact"}) {
                store.set_contact(name, long_text);
                store.remove_contact(name);
                store.set_contact(name, long_text);
            }
        },
        SQLite::Exception);
    Database other(folder / "callhome.db");
    EXPECT_EQ(description_of(Store(other).configuration()), description_of(store.configuration()));
    connection.exec("PRAGMA max_page_count = 1000000");
    store.set_contact("siteId", long_text);
    EXPECT_EQ(store.configuration().contact.at("siteId"), long_text);
}

}  // namespace
}  // namespace callhome::service
