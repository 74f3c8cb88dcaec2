// SPDX-License-Identifier: Apache-2.0
// tests/utils/vxdb_test.cpp - SQL expressions, adaptors and builders, and their exact text.
#include "vxdb.h"

#include <gtest/gtest.h>

#include <climits>
#include <cstdlib>

#include "support/allocation.h"

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

/// What an expression is that the operands were written to.
template <typename... Operands>
std::string Written(Operands&&... operands)
{
    SqlExpr expr;
    (expr << ... << std::forward<Operands>(operands));
    EXPECT_EQ(expr.Empty(), expr.str().empty());
    return expr.str();
}

} // namespace

// Catches: an operand rendered as another kind (bool for a pointer, a character for a number), a value that
// leaves its quotes.
TEST(SqlExprTest, EachOperandIsWrittenAsItsKind)
{
    char name[16] = "col";
    const std::string sql = "now('x')";
    EXPECT_EQ(SqlExpr().str(), "");
    EXPECT_TRUE(SqlExpr().Empty());
    EXPECT_EQ(Written(INT_MIN, ",", UINT_MAX, ",", LLONG_MIN, ",", LLONG_MAX, ",", 0L),
              "-2147483648,4294967295,-9223372036854775808,9223372036854775807,0");
    EXPECT_EQ(Written(true, false, SMALL_TOP, SIGNED::LOW), "10200-3");
    EXPECT_EQ(Written(name), "col");
    EXPECT_EQ(Written(RawSql(sql)), "now('x')");
    EXPECT_EQ(Written(Value(std::string("x'; DROP TABLE t;--"))), "'x''; DROP TABLE t;--'");
    EXPECT_EQ(Written(Value(std::string("1234567'9'"))), "'1234567''9'''"); // at the edges of a block
    EXPECT_EQ(Written(Value(std::string("a\0'", 3))), "CAST(x'610027' AS TEXT)");
    EXPECT_EQ(Written(In("id", std::set<int>{5, 3})), "((id)IN(3,5))");
    EXPECT_EQ(Written(In("col", std::list<int>{})), "((col)IN())");
    EXPECT_EQ(Written(In("n", std::list<std::string>{"a'", ""})), "((n)IN('a''',''))");
    EXPECT_EQ(Written(Like("name", "%", "a_b%\\'", "", false)), "(name LIKE '%a\\_b\\%\\\\''' ESCAPE '\\')");
    EXPECT_EQ(Written(Like("name", "%", "a_b", "%", true)),
              "(LOWER(name) LIKE LOWER('%a\\_b%') ESCAPE '\\')");
}

// Catches: text that changes place or is lost when it is spliced, fails or is larger than a node.
TEST(SqlExprTest, SegmentsKeepTheirPlaces)
{
    const char* const null = nullptr; // ends its segment
    const std::string large(100000, 'x');
    EXPECT_EQ(Written("a", null, "b", 1, Value(std::string("c"))), "a");
    EXPECT_EQ(Written("a", null, "lost", Text("b"), "c"), "abc");
    EXPECT_EQ(Written("a", std::move(SqlExpr() << null), "lost"), "a");
    EXPECT_EQ(Written("<", RawSql(large), ">", 7), "<" + large + ">7");
    SqlExpr joined;
    VxDB::SqlExprAdapt::JoinHelper<SqlExpr>::Join(joined << "W ", " AND ", Text("a"), Text("b"));
    EXPECT_EQ(joined.str(), "W (a) AND (b)");
}

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
    constexpr std::string_view LETTERS = "09-+ ax.";
    for (unsigned n = 0; n < 8 * 8 * 8 * 8; ++n) {
        std::string start;
        for (unsigned rest = n; rest > 0; rest /= 8) {
            start += LETTERS[rest % 8];
        }
        for (const char* const end :
             {"", "12", "999999999999999999", "9223372036854775807", "9223372036854775808"}) {
            const std::string text = start + end;
            EXPECT_EQ(VxDB::ParseNumber(text), std::strtoll(text.c_str(), nullptr, 10)) << text;
        }
    }
    EXPECT_EQ(VxDB::ParseNumber({}), 0);
}
