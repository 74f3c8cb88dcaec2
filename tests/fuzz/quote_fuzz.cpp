// SPDX-License-Identifier: Apache-2.0
// tests/fuzz/quote_fuzz.cpp - any bytes as values of a statement, on the real database.
#include <algorithm>
#include <vector>

#include "fuzz_root.h"
#include "vxdb.h"

namespace {

using VxDB::SqlExpr;

/// What the statement says behind the value, so that a value that swallows or adds some shows.
constexpr const char* TAIL = "behind the value";

// Catches: a text that leaves its quotes, or comes back as another.
void CheckValue(const std::string& text)
{
    SqlExpr sql;
    sql << "SELECT " << VxDB::Value(text) << " AS v,'" << TAIL << "' AS tail;";
    const Rows rows(sql.str());
    Require(VxDBNumRows(rows.Get()) == 1, "it stays one row", sql.str());
    Require(rows.Text("v") == text, "the value comes back as it was", sql.str());
    Require(rows.Text("tail") == TAIL, "what follows the value stays", sql.str());
    Require(VxDB::QuoteEscape(text).size() <= VxDB::MaxQuotedSize(text.size()), "it keeps its size limit");
}

// Catches: the same in a batch that stores, where a value that ends its statement would start another.
void CheckStored(const std::string& text)
{
    VxDB::SqlBuilder::Insert insert("stored");
    insert.Field("n", 1).Field("v", VxDB::Value(text)).Field("tail", VxDB::Value(std::string(TAIL)));
    VxDB::SqlBuilder::Update update("stored", "n");
    update.Field("w", VxDB::Value(text)).SetupId(1);
    const std::string sql = "DELETE FROM stored;" + insert.Expr().str() + update.Expr().str() +
                            "SELECT v,w,tail,(SELECT COUNT(*) FROM stored) AS c FROM stored;";
    const Rows rows(sql);
    Require(rows.Text("c") == "1", "one row is stored", sql);
    Require(rows.Text("v") == text && rows.Text("w") == text, "the value is stored as it was", sql);
    Require(rows.Text("tail") == TAIL, "the value beside it stays", sql);
}

// Catches: an element that is none of its own list, or two that become one.
void CheckList(const std::string& a, const std::string& b)
{
    const std::vector<std::string> values{a, b};
    SqlExpr sql;
    sql << "SELECT " << VxDB::SqlExprAdapt::InImpl<SqlExpr>(VxDB::QuoteEscape(b).c_str(), values)
        << " AS has," << VxDB::SqlExprAdapt::InImpl<SqlExpr>(VxDB::QuoteEscape(a + b + "x").c_str(), values)
        << " AS hasNot;";
    const Rows rows(sql.str());
    Require(rows.Text("has") == "1", "an element is in its list", sql.str());
    Require(rows.Text("hasNot") == "0", "no other is", sql.str());
}

bool IsAscii(const std::string& text)
{
    return std::ranges::all_of(text, [](char c) { return c > 0; }); // without NUL
}

std::string Lower(std::string text)
{
    std::ranges::transform(text, text.begin(),
                           [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c + 32) : c; });
    return text;
}

// Catches: a wildcard of the pattern that is one still, an escape that eats the character behind it.
// The database compares ASCII letters without their case; what it makes of NUL is its own.
void CheckLike(const std::string& text, const std::string& pattern, bool caseInsensitive)
{
    const auto like = [caseInsensitive](const std::string& in, const std::string& what,
                                        const char* wildcard) {
        SqlExpr sql;
        sql << "SELECT "
            << VxDB::SqlExprAdapt::LikeImpl<SqlExpr>(VxDB::QuoteEscape(in).c_str(), wildcard, what, wildcard,
                                                     caseInsensitive)
            << " AS v,'" << TAIL << "' AS tail;";
        const Rows rows(sql.str());
        Require(rows.Text("tail") == TAIL, "what follows the pattern stays", sql.str());
        return rows.Text("v") == "1";
    };
    Require(like(pattern, pattern, ""), "a pattern matches itself", pattern);
    if (const bool isContained = like(text, pattern, "%"); IsAscii(text) && IsAscii(pattern)) {
        Require(isContained == (Lower(text).find(Lower(pattern)) != std::string::npos),
                "a pattern is found where it is, and nowhere else", text + "\n" + pattern);
    }
}

} // namespace

/// The first byte: where the rest is cut in two, and whether letters' case counts.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    static const FuzzRoot root;
    static const int made = VxDB::Execute(VxDB::DB_SYSTEM, "CREATE TEMP TABLE stored (n, v, w, tail)");
    Require(made == 0, "a table can be made");
    const unsigned int first = size > 0 ? data[0] : 0;
    const std::string text(reinterpret_cast<const char*>(data) + (size > 0 ? 1 : 0), size > 0 ? size - 1 : 0);
    const std::size_t cut = std::min<std::size_t>(first / 2, text.size());
    CheckValue(text);
    CheckStored(text);
    CheckList(text.substr(0, cut), text.substr(cut));
    CheckLike(text.substr(cut), text.substr(0, cut), first % 2 != 0);
    return 0;
}
