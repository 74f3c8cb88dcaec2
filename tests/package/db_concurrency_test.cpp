// SPDX-License-Identifier: Apache-2.0
// tests/package/db_concurrency_test.cpp - many processes on one database.
#include <chrono>
#include <memory>

#include "support/child_process.h"
#include "support/sql.h"
#include "support/temp_root.h"

using VxDB::DB_SYSTEM;

namespace {

using Clock = std::chrono::steady_clock;

constexpr int WRITERS = 8;
constexpr int READERS = 32;

/// Two rows in one batch; readers must see both or none. It reads before it writes, so that another's commit
/// may come in between; every other one brings its own transaction.
int Write(int writer, int number)
{
    const std::string key = std::to_string(writer) + "," + std::to_string(number);
    const std::string sql = "SELECT COUNT(*) FROM done;INSERT INTO pair (writer,number) VALUES (" + key +
                            ");INSERT INTO twin (writer,number) VALUES (" + key + ");";
    return VxDB::Execute(DB_SYSTEM, number % 2 == 0 ? sql : "BEGIN;" + sql + "COMMIT;");
}

int RunWriter(int writer, Clock::time_point end)
{
    int number = 0;
    for (; Clock::now() < end; ++number) {
        if (Write(writer, number) != 0) {
            return 1;
        }
    }
    Sql("INSERT INTO done (writer,count) VALUES (" + std::to_string(writer) + "," + std::to_string(number) +
        ")");
    return ::testing::Test::HasFailure() ? 1 : 0;
}

int RunReader(Clock::time_point end)
{
    while (Clock::now() < end) {
        if (Sql("SELECT (SELECT COUNT(*) FROM pair) - (SELECT COUNT(*) FROM twin)") != "0") {
            return 1;
        }
        ::usleep(5000);
    }
    return 0;
}

} // namespace

// Catches: an error "locked" that reaches a caller, a lost or half-seen batch, a writer that starves. A
// minute with VX_LONG=1.
TEST(DbConcurrencyTest, EightWritersAndThirtyTwoReaders)
{
    const TempRoot root;
    Sql("CREATE TABLE pair (writer INT, number INT);CREATE TABLE twin (writer INT, number INT);"
        "CREATE TABLE done (writer INT, count INT)");
    const auto end = Clock::now() + std::chrono::seconds(std::getenv("VX_LONG") != nullptr ? 60 : 5);
    std::vector<std::unique_ptr<ChildProcess>> children;
    for (int i = 0; i < WRITERS + READERS; ++i) {
        children.push_back(std::make_unique<ChildProcess>(
            [i, end](Channel&) { return i < WRITERS ? RunWriter(i, end) : RunReader(end); }));
    }
    for (const auto& child : children) {
        EXPECT_EQ(child->Wait(), 0);
    }
    EXPECT_EQ(Sql("SELECT COUNT(*) FROM done WHERE count > 0 AND "
                  "count = (SELECT COUNT(*) FROM twin WHERE twin.writer = done.writer)"),
              std::to_string(WRITERS));
}
