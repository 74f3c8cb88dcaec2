// SPDX-License-Identifier: Apache-2.0
// tests/package/db_transaction_test.cpp - several calls as one transaction.

#include "support/sql.h"
#include "support/temp_root.h"

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
