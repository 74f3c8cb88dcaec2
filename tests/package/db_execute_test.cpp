// SPDX-License-Identifier: Apache-2.0
// tests/package/db_execute_test.cpp - statements, batches, results and transactions on the real database.
#include <sys/stat.h>

#include <map>

#include "support/log_capture.h"
#include "support/sql.h"
#include "support/temp_root.h"

using VxDB::DB_SYSTEM;

namespace {

class DbExecuteTest : public ::testing::Test {
protected:
    void SetUp() override { ASSERT_EQ(Run("CREATE TABLE t (id INTEGER PRIMARY KEY, v TEXT UNIQUE)"), 0); }
    ~DbExecuteTest() override { VxDBFreeResult(m_pResult); }

    static int Run(const std::string& sql) { return VxDB::Execute(DB_SYSTEM, sql); }
    int Ask(const std::string& sql)
    {
        VxDBFreeResult(m_pResult);
        return VxDB::Execute(DB_SYSTEM, sql, &m_pResult);
    }
    static std::string Values() { return Sql("SELECT v FROM t ORDER BY id"); }
    std::string Field(unsigned int row, const char* column)
    {
        const char* const text = VxDBFetchField(m_pResult, row, column);
        return text != nullptr ? text : "NULL";
    }

    TempRoot m_root;
    LogCapture m_log;
    DBResult_tag* m_pResult = nullptr;
};

} // namespace

// Catches: half of a batch that stays, a connection that is stuck in a transaction after a failure, text
// behind a NUL byte that is dropped without a word.
TEST_F(DbExecuteTest, FailedTextLeavesNothingAndOneLogLine)
{
    for (const std::string& sql :
         {std::string("INSERT INTO t (v) VALUES ('a'); INSERT INTO t (v) VALUES ('a')"),
          std::string("INSERT INTO t (v) VALUES ('a'); INSERT INTO nowhere VALUES (1)"),
          std::string("INSERT INTO t (v) VALUES ('a'),('a')"),
          std::string("BEGIN EXCLUSIVE;INSERT INTO t (v) VALUES ('a');nonsense;COMMIT;"),
          std::string("BEGIN;INSERT INTO t (v) VALUES ('a');"), // never committed
          std::string("INSERT INTO t (v) VALUES ('a');\0--", 34),
          std::string("INSERT INTO t (v) VALUES (")}) {
        m_log.Take();
        EXPECT_EQ(Ask(sql), -1) << sql;
        EXPECT_EQ(m_pResult, nullptr);
        EXPECT_EQ(m_log.Take().size(), 1U) << sql;
        EXPECT_EQ(Values(), "") << sql;
        EXPECT_EQ(Run("INSERT INTO t (v) VALUES ('b')"), 0) << sql;
        EXPECT_EQ(Run("DELETE FROM t"), 0);
    }
}

// Catches: scripts of the forms that callers use which are refused or run in part.
TEST_F(DbExecuteTest, ScriptsOfEachForm)
{
    EXPECT_EQ(Run("INSERT INTO t (v) VALUES ('a');INSERT INTO t (v) VALUES ('b;''c'); -- done"), 0);
    EXPECT_EQ(Run("BEGIN EXCLUSIVE;UPDATE t SET v='x' WHERE v='a';;COMMIT;"), 0);
    EXPECT_EQ(Values(), "x b;'c");
    EXPECT_EQ(Run(""), 0);
    EXPECT_EQ(Run(" ;\n;"), 0);
    EXPECT_EQ(Run("/* nothing */"), 0);
}

// Catches: rows of an earlier statement, a null result where there are no rows, a stale key after an INSERT
// that inserted nothing.
TEST_F(DbExecuteTest, ResultIsOfTheLastStatementThatReturnsRows)
{
    ASSERT_EQ(Ask("SELECT 1 AS a, 2 AS b; INSERT INTO t (v) VALUES ('x') " +
                  VxDB::GetReturnColumnsStatement("id", "v") + "; DELETE FROM t WHERE v='none'"),
              0);
    EXPECT_EQ(VxDBNumRows(m_pResult), 1);
    EXPECT_EQ(Field(0, "id") + Field(0, "v") + Field(0, "a"), "1xNULL");
    ASSERT_EQ(Ask("INSERT INTO t (v) VALUES ('y');" + VxDB::GetReturnIdStatement()), 0);
    EXPECT_EQ(Field(0, "id"), "2");
    ASSERT_EQ(Ask("INSERT INTO t (v) SELECT 'z' WHERE 0;" + VxDB::GetReturnIdStatement()), 0);
    EXPECT_EQ(VxDBNumRows(m_pResult), 0);
    ASSERT_EQ(Ask("DELETE FROM t"), 0);
    ASSERT_NE(m_pResult, nullptr);
    unsigned int row = 77;
    EXPECT_EQ(VxDBFetchRow(m_pResult, &row), -1);
    EXPECT_EQ(row, 77U);
    EXPECT_EQ(VxDBFetchField(m_pResult, 0, "id"), nullptr);
    std::string text = "kept";
    EXPECT_EQ(VxDB::LoadFirstFieldFromDB(DB_SYSTEM, "SELECT v FROM t", text), -1);
    EXPECT_EQ(text, "kept");
}

// Catches: NULL and "" taken for each other, a field of the neighbour, columns found in declared order only.
TEST_F(DbExecuteTest, FieldsByNameInAnyOrder)
{
    ASSERT_EQ(
        Ask("SELECT NULL AS a, '' AS b, -9223372036854775808 AS c, 1.5 AS d, x'41' AS e, NULL AS f UNION ALL "
            "SELECT 'long' , NULL, 0, NULL, 'z', 'true'"),
        0);
    const std::map<char, std::string> rows[] = {
        {{'a', "NULL"},
         {'b', ""},
         {'c', "-9223372036854775808"},
         {'d', "1.5"},
         {'e', "A"},
         {'f', "NULL"},
         {'x', "NULL"}},
        {{'a', "long"}, {'b', "NULL"}, {'c', "0"}, {'d', "NULL"}, {'e', "z"}, {'f', "true"}, {'x', "NULL"}}};
    for (unsigned int row = 0; row < 2; ++row) { // the second row goes the way that the first one taught
        for (const char column : std::string("abcdeffedcbacafeBDaaxcb")) {
            EXPECT_EQ(Field(row, std::string(1, column).c_str()),
                      rows[row].at(static_cast<char>(std::tolower(column))))
                << row << column;
        }
    }
    EXPECT_TRUE(VxDB::FetchFieldAsBool(m_pResult, 1, "f"));
    EXPECT_FALSE(VxDB::FetchFieldAsBool(m_pResult, 0, "f"));
    EXPECT_FALSE(VxDB::FetchFieldAsBool(m_pResult, 1, "c"));
    EXPECT_TRUE(VxDB::FetchFieldAsBool(m_pResult, 0, "c"));
    EXPECT_EQ(VxDBFetchField(m_pResult, 2, "a"), nullptr);
    EXPECT_EQ(VxDBFetchField(nullptr, 0, "a"), nullptr);
    EXPECT_EQ(VxDBFetchField(m_pResult, 0, nullptr), nullptr);
}

// Catches: databases that other users can read, foreign keys that are not kept.
TEST_F(DbExecuteTest, FilesAreTheOwnersAloneAndReferencesHold)
{
    for (const char* const name : {"/db", "/db/system.db", "/db/system.db-wal"}) {
        struct stat info {};
        ASSERT_EQ(::stat((m_root.Path().string() + name).c_str(), &info), 0) << name;
        EXPECT_EQ(info.st_mode & 0077, 0U) << name;
    }
    EXPECT_EQ(Run("CREATE TABLE child (parent INTEGER REFERENCES t (id)); INSERT INTO child VALUES (99)"),
              -1);
}

// Catches: an archive task's database without the tables of its kind, paths that are made by a typing
// mistake.
TEST_F(DbExecuteTest, PathsOfArchiveTasksAndStrangers)
{
    EXPECT_EQ(VxDB::GetDBPath(VxDB::DB_EVENT, 7), m_root.Path().string() + "/db/event_7.db");
    EXPECT_EQ(VxDB::Executep(VxDB::GetDBPath(DB_SYSTEM, 3), "SELECT * FROM webhook"), 0);
    EXPECT_EQ(VxDB::Executep(m_root.Path().string() + "/db/other.db", "SELECT 1"), -1);
    EXPECT_EQ(::access((m_root.Path().string() + "/db/other.db").c_str(), 0), -1);
    EXPECT_EQ(VxDB::Execute(static_cast<VxDB::DB_INSTANCE>(99), "SELECT 1"), -1);
}

// ---- several calls as one transaction

namespace {

class DbTransactionTest : public ::testing::Test {
protected:
    static int Add(const char* name)
    {
        return VxDB::Execute(VxDB::DB_SYSTEM,
                             "INSERT INTO camera (name) VALUES (" + VxDB::QuoteEscape(name) + ");");
    }
    static std::string Names() { return Sql("SELECT name FROM camera ORDER BY id"); }

    TempRoot m_root;
};

} // namespace

// Catches: calls that are kept though the whole was not committed, and a commit that loses one.
TEST_F(DbTransactionTest, CallsAreKeptTogetherOrNotAtAll)
{
    {
        VxDB::Transaction forgotten(VxDB::DB_SYSTEM);
        ASSERT_EQ(forgotten.Begin(), 0);
        ASSERT_EQ(Add("a"), 0);
        EXPECT_EQ(Names(), "a"); // its own thread sees it
    }
    EXPECT_EQ(Names(), "");
    VxDB::Transaction kept(VxDB::DB_SYSTEM);
    ASSERT_EQ(kept.Begin(), 0);
    ASSERT_EQ(Add("b"), 0);
    ASSERT_EQ(Add("c"), 0);
    EXPECT_EQ(kept.Commit(), 0);
    EXPECT_EQ(Names(), "b c");
    EXPECT_EQ(kept.Commit(), -1);
}

// Catches: statements behind a failed one that are run and kept on their own.
TEST_F(DbTransactionTest, FailedCallDoomsTheWhole)
{
    VxDB::Transaction transaction(VxDB::DB_SYSTEM);
    ASSERT_EQ(transaction.Begin(), 0);
    ASSERT_EQ(Add("a"), 0);
    EXPECT_EQ(VxDB::Execute(VxDB::DB_SYSTEM, "INSERT INTO nowhere VALUES (1);"), -1);
    EXPECT_EQ(Add("b"), -1);
    EXPECT_EQ(VxDB::Execute(VxDB::DB_SYSTEM, "COMMIT;"), -1);
    EXPECT_EQ(transaction.Commit(), -1);
    EXPECT_EQ(Names(), "");
    EXPECT_EQ(Add("c"), 0); // the connection is as good as before
    EXPECT_EQ(Names(), "c");
}

// Catches: an inner transaction that commits what the outer one takes back, or takes back only its own part.
TEST_F(DbTransactionTest, InnerOneJoinsTheOuter)
{
    for (const bool isInnerKept : {true, false}) {
        for (const bool isOuterKept : {true, false}) {
            {
                VxDB::Transaction outer(VxDB::DB_SYSTEM);
                ASSERT_EQ(outer.Begin(), 0);
                ASSERT_EQ(Add("outer"), 0);
                {
                    VxDB::Transaction inner(VxDB::DB_SYSTEM);
                    ASSERT_EQ(inner.Begin(), 0);
                    ASSERT_EQ(Add("inner"), 0);
                    if (isInnerKept) {
                        EXPECT_EQ(inner.Commit(), 0);
                    }
                }
                if (isOuterKept) {
                    EXPECT_EQ(outer.Commit(), isInnerKept ? 0 : -1);
                }
            }
            EXPECT_EQ(Names(), isInnerKept && isOuterKept ? "outer inner" : "");
            Sql("DELETE FROM camera;");
        }
    }
}
