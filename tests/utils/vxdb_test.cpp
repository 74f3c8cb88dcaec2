// SPDX-License-Identifier: Apache-2.0
// tests/utils/vxdb_test.cpp - SQL expressions, adaptors and builders, and their exact text.
#include "vxdb.h"

#include <gtest/gtest.h>

#include <climits>
#include <cstdlib>
#include <functional>

#include "support/db_faults.h"

using VxDB::RawSql;
using VxDB::SqlConversion;
using VxDB::SqlExpr;
using VxDB::Value;
using In = VxDB::SqlExprAdapt::InImpl<SqlExpr>;
using Like = VxDB::SqlExprAdapt::LikeImpl<SqlExpr>;

namespace {

enum SMALL : unsigned char { SMALL_TOP = 200 };
enum class SIGNED : int { LOW = -3 };

SqlExpr Text(const char* text)
{
    SqlExpr expr;
    expr << text;
    return expr;
}

struct ExprCase {
    const char* what;
    std::function<void(SqlExpr&)> write;
    std::string text;
};
class SqlExprTest : public ::testing::TestWithParam<ExprCase> {};

} // namespace

// Catches: an operand rendered as another kind (bool for a pointer, a character for a number), a value that
// leaves its quotes, text that changes place or is lost when it is spliced or fails.
TEST_P(SqlExprTest, IsWritten)
{
    SqlExpr expr;
    GetParam().write(expr);
    EXPECT_EQ(expr.str(), GetParam().text);
    EXPECT_EQ(expr.Empty(), GetParam().text.empty());
}
INSTANTIATE_TEST_SUITE_P(
    Operands, SqlExprTest,
    ::testing::Values(
        ExprCase{"Nothing", [](SqlExpr&) {}, ""},
        ExprCase{"IntegerLimits",
                 [](SqlExpr& e) {
                     e << INT_MIN << "," << UINT_MAX << "," << LLONG_MIN << "," << LLONG_MAX << "," << 0L;
                 },
                 "-2147483648,4294967295,-9223372036854775808,9223372036854775807,0"},
        ExprCase{"BoolAndEnums", [](SqlExpr& e) { e << true << false << SMALL_TOP << SIGNED::LOW; },
                 "10200-3"},
        ExprCase{"ArrayThatIsNotConst",
                 [](SqlExpr& e) {
                     char name[16] = "col";
                     e << name;
                 },
                 "col"},
        ExprCase{"StatementStaysText", [](SqlExpr& e) { e << Value(std::string("x'; DROP TABLE t;--")); },
                 "'x''; DROP TABLE t;--'"},
        ExprCase{"QuotesAtBlockEdges", [](SqlExpr& e) { e << Value(std::string("1234567'9'")); },
                 "'1234567''9'''"},
        ExprCase{"NulByte", [](SqlExpr& e) { e << Value(std::string("a\0'", 3)); },
                 "CAST(x'610027' AS TEXT)"},
        ExprCase{"RawAsItStands",
                 [](SqlExpr& e) {
                     const std::string sql = "now('x')";
                     e << RawSql(sql);
                 },
                 "now('x')"},
        ExprCase{"NullEndsItsSegment",
                 [](SqlExpr& e) {
                     e << "a" << static_cast<const char*>(nullptr) << "b" << 1 << Value(std::string("c"));
                 },
                 "a"},
        ExprCase{
            "FailedSegmentIsFollowedBySpliced",
            [](SqlExpr& e) { e << "a" << static_cast<const char*>(nullptr) << "lost" << Text("b") << "c"; },
            "abc"},
        ExprCase{"FailedSegmentMovesAlong",
                 [](SqlExpr& e) {
                     e << "a" << std::move(SqlExpr() << static_cast<const char*>(nullptr)) << "lost";
                 },
                 "a"},
        ExprCase{"SegmentLargerThanANode",
                 [](SqlExpr& e) {
                     const std::string large(100000, 'x');
                     e << "<" << RawSql(large) << ">" << 7;
                 },
                 "<" + std::string(100000, 'x') + ">7"},
        ExprCase{"InSorted",
                 [](SqlExpr& e) {
                     e << In("id", std::set<int>{5, 3});
                 },
                 "((id)IN(3,5))"},
        ExprCase{"InEmpty", [](SqlExpr& e) { e << In("col", std::list<int>{}); }, "((col)IN())"},
        ExprCase{"InTexts",
                 [](SqlExpr& e) {
                     e << In("n", std::list<std::string>{"a'", ""});
                 },
                 "((n)IN('a''',''))"},
        ExprCase{"LikeEscapes", [](SqlExpr& e) { e << Like("name", "%", "a_b%\\'", "", false); },
                 "(name LIKE '%a\\_b\\%\\\\''' ESCAPE '\\')"},
        ExprCase{"LikeAnyCase", [](SqlExpr& e) { e << Like("name", "%", "a_b", "%", true); },
                 "(LOWER(name) LIKE LOWER('%a\\_b%') ESCAPE '\\')"},
        ExprCase{"JoinTwo",
                 [](SqlExpr& e) {
                     VxDB::SqlExprAdapt::JoinHelper<SqlExpr>::Join(e << "W ", " AND ", Text("a"), Text("b"));
                 },
                 "W (a) AND (b)"}),
    [](const auto& test) { return std::string(test.param.what); });

// Catches: separators at the ends, brackets around nothing, parts left behind.
TEST(SqlJoinTest, PartsInBrackets)
{
    std::list<SqlExpr> parts;
    EXPECT_EQ(SqlExpr::Join(std::move(parts), " OR ").str(), "");
    parts.clear();
    parts.push_back(Text("a"));
    EXPECT_EQ(SqlExpr::Join(std::move(parts), " OR ").str(), "(a)");
    parts.clear();
    parts.push_back(Text("a"));
    parts.push_back(Text("b=1"));
    EXPECT_EQ(SqlExpr::Join(std::move(parts), " OR ").str(), "(a) OR (b=1)");
}

// Catches: splicing that copies text or allocates, or leaves text in its source.
TEST(SqlSpliceTest, MovesSegmentsAndNothingElse)
{
    SqlExpr source;
    for (int i = 0; i < 1000; ++i) {
        source << Text("segment ");
    }
    SqlExpr target = Text("start ");
    {
        const FailAllocation any(0); // which would end the process: splicing cannot fail
        target << std::move(source);
    }
    EXPECT_EQ(target.str().size(), 6U + 8000U);
    EXPECT_EQ(source.str(), ""); // NOLINT(bugprone-use-after-move): moved-from is empty, by promise
    source << "new";
    EXPECT_EQ(source.str(), "new");
    target << std::move(target);
    EXPECT_EQ(target.str().size(), 6U + 8000U);
}

// Catches: an UPDATE without a field that sets nothing everywhere, a builder that keeps parts of the last
// one.
TEST(SqlUpdateTest, TextAndReuse)
{
    VxDB::SqlBuilder::Update update("t", "id");
    update.SetupId(3);
    EXPECT_EQ(update.Expr().str(), "");
    const std::string name = "O'Hara";
    update.Field("a", 1).Field("b", false).Field("c", Value(name)).SetupId(-7);
    EXPECT_EQ(update.Expr().str(), "UPDATE t SET a=1,b=0,c='O''Hara' WHERE id=-7;");
    update.Field("a", SIGNED::LOW).Where(std::move(SqlExpr() << "x<" << 2));
    EXPECT_EQ(update.Expr().str(), "UPDATE t SET a=-3 WHERE x<2;");
}

// Catches: parts of the statement in wrong order or left over, a condition that loses against the query flag.
TEST(SqlInsertTest, TextOfEachForm)
{
    VxDB::SqlBuilder::Insert insert("t");
    EXPECT_EQ(insert.Expr().str(), "");
    insert.Field("a", Value("x")).Field("b", 80);
    insert.m_returning << "id";
    EXPECT_EQ(insert.Expr().str(), "INSERT INTO t (a,b)VALUES('x',80) RETURNING id;");
    insert.Field("a", true);
    insert.m_condition << "SELECT 1 FROM t WHERE a=1";
    insert.m_bValuesAreQuery = true;
    EXPECT_EQ(insert.Expr().str(),
              "INSERT INTO t (a) SELECT 1 WHERE NOT EXISTS (SELECT 1 FROM t WHERE a=1);");
    insert.Field("a", ") SELECT b FROM u");
    insert.m_bValuesAreQuery = true;
    EXPECT_EQ(insert.Expr().str(), "INSERT INTO t (a) SELECT b FROM u;");
    insert.Field("a", 1);
    EXPECT_EQ(insert.Expr().str(), "INSERT INTO t (a)VALUES(1);");
}

// Catches: separators at the ends and elements in another form.
TEST(Iter2StringTest, ElementsWithSeparatorBetween)
{
    const std::vector<int> numbers{3, -1, 0};
    const std::list<std::string> names{"a", "", "c"};
    EXPECT_EQ(Iter2String(numbers.begin(), numbers.end(), ","), "3,-1,0");
    EXPECT_EQ(Iter2String(names.begin(), names.end(), ", "), "a, , c");
    EXPECT_EQ(Iter2String(numbers.begin(), numbers.begin(), ","), "");
    EXPECT_EQ(Iter2String(names.begin(), names.end(), "+", [](const std::string& s) { return s.size(); }),
              "1+0+1");
}

// Catches: a weekday set written in decimal or lower case, a list with unquoted texts.
TEST(SqlConversionTest, ValueOfEachType)
{
    EXPECT_EQ(SqlConversion<std::bitset<3>>::ToSqlValue(7), "'7'");
    EXPECT_EQ(SqlConversion<std::bitset<3>>::ToSqlValue(0), "'0'");
    EXPECT_EQ(SqlConversion<bool>::ToSqlValue(true), "1");
    EXPECT_EQ(SqlConversion<SMALL>::ToSqlValue(SMALL_TOP), "200");
    EXPECT_EQ(SqlConversion<short>::ToSqlValue(-5), "-5");
    EXPECT_EQ(SqlConversion<std::vector<int>>::ToSqlValue({2, 1}), "2,1");
    EXPECT_EQ(SqlConversion<std::set<std::string>>::ToSqlValue({"b", "a"}), "'a','b'");
}

// Catches: a fast parser that differs from strtoll on any text a column may hold.
TEST(SqlConversionTest, NumbersParseAsStrtollDoes)
{
    for (const char* const text : {"",
                                   "0",
                                   "-0",
                                   "-",
                                   "+5",
                                   " 12",
                                   "12abc",
                                   "abc",
                                   "-17",
                                   "000123",
                                   "999999999999999999",
                                   "-99999999999999999",
                                   "9223372036854775807",
                                   "-9223372036854775808",
                                   "99999999999999999999",
                                   "-99999999999999999999",
                                   "1e3",
                                   "3.9",
                                   "0x10",
                                   "1 2",
                                   "--3"}) {
        EXPECT_EQ(VxDB::ParseNumber(text), std::strtoll(text, nullptr, 10)) << text;
    }
    EXPECT_EQ(VxDB::ParseNumber({}), 0);
}
