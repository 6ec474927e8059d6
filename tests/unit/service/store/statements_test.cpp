// Statements that are kept come back as if they had just been prepared.
#include "store/statements.h"

#include <SQLiteCpp/VariadicBind.h>
#include <gtest/gtest.h>
#include <sqlite3.h>

namespace callhome::service {
namespace {

class StatementsTest : public testing::Test {
 protected:
    StatementsTest() {
        connection_.exec("CREATE TABLE t (a INTEGER UNIQUE); INSERT INTO t VALUES (1), (2)");
    }
    int prepared() const {
        int count = 0;
        for (sqlite3_stmt* each = sqlite3_next_stmt(connection_.getHandle(), nullptr); each != nullptr;
             each = sqlite3_next_stmt(connection_.getHandle(), each)) {
            ++count;
        }
        return count;
    }
    bool is_any_busy() const {
        for (sqlite3_stmt* each = sqlite3_next_stmt(connection_.getHandle(), nullptr); each != nullptr;
             each = sqlite3_next_stmt(connection_.getHandle(), each)) {
            if (sqlite3_stmt_busy(each) != 0) {
                return true;
            }
        }
        return false;
    }

    SQLite::Database connection_{":memory:", SQLite::OPEN_READWRITE};
    Statements statements_{connection_};
};

constexpr const char* all_rows = "SELECT a FROM t ORDER BY a";
constexpr const char* insert = "INSERT INTO t VALUES (?)";

TEST_F(StatementsTest, ArePreparedOnceAndBeginAnew) {
    for (int turn = 0; turn < 3; ++turn) {
        const auto row = statements_.use(all_rows);
        ASSERT_TRUE(row->executeStep());
        EXPECT_EQ(row->getColumn(0).getInt(), 1);
        EXPECT_TRUE(is_any_busy());
    }
    EXPECT_EQ(prepared(), 1);
    EXPECT_FALSE(is_any_busy()) << "what is not used holds nothing up";
}

TEST_F(StatementsTest, MayBeUsedWithinTheirOwnUse) {
    std::vector<int> seen;
    const auto outer = statements_.use(all_rows);
    while (outer->executeStep()) {
        const auto inner = statements_.use(all_rows);
        while (inner->executeStep()) {
            seen.push_back((10 * outer->getColumn(0).getInt()) + inner->getColumn(0).getInt());
        }
    }
    EXPECT_EQ(seen, (std::vector{11, 12, 21, 22}));
    EXPECT_EQ(prepared(), 2);
}

TEST_F(StatementsTest, KeepNothingOfTheirLastUse) {
    {
        const auto row = statements_.use("SELECT ?");
        row->bind(1, "a secret");
        row->executeStep();
    }
    const auto row = statements_.use("SELECT ?");
    row->executeStep();
    EXPECT_TRUE(row->isColumnNull(0));
}

TEST_F(StatementsTest, AreAsGoodAsNewAfterAnError) {
    const auto add = [&](int number) {
        const auto row = statements_.use(insert);
        row->bind(1, number);
        row->exec();
    };
    EXPECT_THROW(add(1), SQLite::Exception);
    EXPECT_FALSE(is_any_busy());
    add(3);
    EXPECT_THROW(statements_.use("SELECT b FROM t"), SQLite::Exception);
    EXPECT_EQ(prepared(), 1);
}

TEST_F(StatementsTest, FollowAChangeOfTheTables) {
    EXPECT_TRUE(statements_.use(all_rows)->executeStep());
    connection_.exec("ALTER TABLE t ADD COLUMN b; CREATE INDEX by_b ON t (b); DELETE FROM t WHERE a = 1");
    const auto row = statements_.use(all_rows);
    ASSERT_TRUE(row->executeStep());
    EXPECT_EQ(row->getColumn(0).getInt(), 2);
    connection_.exec("CREATE TABLE other (a)");
}

}  // namespace
}  // namespace callhome::service
