// SPDX-License-Identifier: Apache-2.0
// tests/utils/vxdb_test.cpp - SQL expressions and their exact text.
#include "vxdb.h"

#include <gtest/gtest.h>

using VxDB::RawSql;
using VxDB::SqlExpr;
using VxDB::Value;

TEST(SqlInsertTest, FieldsReturningAndEnd)
{
    VxDB::SqlBuilder::Insert insert("t");
    insert.Field("a", Value("x")).Field("b", 80);
    insert.m_returning << "id";
    EXPECT_EQ(insert.Expr().str(), "INSERT INTO t (a,b)VALUES('x',80) RETURNING id;");
    EXPECT_EQ(insert.Expr().str(), "");
}

TEST(SqlLikeTest, X)
{
    SqlExpr e;
    e << VxDB::SqlExprAdapt::LikeImpl<SqlExpr>("name", "%", "a_b", "%", true);
    EXPECT_EQ(e.str(), "(LOWER(name) LIKE LOWER('%a\\_b%') ESCAPE '\\')");
    e << VxDB::SqlExprAdapt::InImpl<SqlExpr>("id", std::list<int>{3, 5}) << SqlExpr() << true;
}
