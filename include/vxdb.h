// SPDX-License-Identifier: Apache-2.0
// vxdb.h - SQL text: expressions, value wrappers, IN and LIKE, UPDATE and INSERT.
//
//     VxDB::SqlBuilder::Update update("camera", "id");
//     update.Field("name", VxDB::Value(name));
//     update.Field("enabled", true);
//     update.SetupId(7);
//     VxDB::Execute(VxDB::DB_SYSTEM, update.Expr().str());     // UPDATE camera SET name='...',enabled=1
//     WHERE id=7;
//
// Nothing here executes, and nothing fails but for lack of memory (std::bad_alloc). Every object belongs to
// one thread at a time.
#pragma once

#include <charconv>
#include <concepts>
#include <list>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>

#include "package/db.h"
#include "sqlconversion.h"
#include "sqlsegments.h"

namespace VxDB {

class SqlExpr;

namespace SqlExprAdapt {

/// A text that is a value: written as a quoted literal.
namespace Reviewed {
template <typename T>
struct Ref {
    explicit Ref(const T& text) noexcept : m_text(text) {}
    explicit Ref(const T&& text) = delete; // would dangle; RVal keeps it
    const T& m_text;
};
template <typename T>
struct RVal {
    explicit RVal(T text) noexcept : m_text(std::move(text)) {}
    T m_text;
};
} // namespace Reviewed

/// A text that is trusted SQL: written as it stands.
namespace Raw {
template <typename T>
struct Ref {
    explicit Ref(const T& text) noexcept : m_text(text) {}
    explicit Ref(const T&& text) = delete;
    const T& m_text;
};
} // namespace Raw

template <typename Expr>
class InImpl;
template <typename Expr>
class LikeImpl;

} // namespace SqlExprAdapt

/// The text as a value: VxDB::Value(name).
inline SqlExprAdapt::Reviewed::Ref<std::string> Value(const std::string& text) noexcept
{
    return SqlExprAdapt::Reviewed::Ref<std::string>(text);
}
inline SqlExprAdapt::Reviewed::RVal<std::string> Value(std::string&& text) noexcept
{
    return SqlExprAdapt::Reviewed::RVal<std::string>(std::move(text));
}
/// The text as trusted SQL: VxDB::RawSql(whereClause). `text` outlives the statement it is written in.
inline SqlExprAdapt::Raw::Ref<std::string> RawSql(const std::string& text) noexcept
{
    return SqlExprAdapt::Raw::Ref<std::string>(text);
}
void RawSql(std::string&&) = delete;

/// What may be streamed into an expression besides expressions and adaptors.
template <typename T>
concept SqlOperand =
    SqlInteger<T> || std::same_as<T, bool> || std::is_enum_v<T> || std::same_as<T, const char*> ||
    std::same_as<T, char*> || std::same_as<T, SqlExprAdapt::Reviewed::Ref<std::string>> ||
    std::same_as<T, SqlExprAdapt::Reviewed::RVal<std::string>> ||
    std::same_as<T, SqlExprAdapt::Raw::Ref<std::string>>;

/// A piece of SQL text. Movable, not copied; moved-from is empty.
class SqlExpr {
public:
    /// Appends the operand's text to the last segment. A null const char* writes nothing and marks that
    /// segment failed: later text for it is dropped, so that the statement is refused when it is executed.
    template <typename T>
    SqlExpr& operator<<(const T& operand) &
    {
        Append<std::decay_t<const T&>>(operand);
        return *this;
    }
    template <typename T>
    SqlExpr&& operator<<(const T& operand) &&
    {
        Append<std::decay_t<const T&>>(operand);
        return std::move(*this);
    }

    /// Moves the segments of `other` behind the last one, in constant time; `other` is empty then.
    SqlExpr& operator<<(SqlExpr&& other) & noexcept
    {
        m_segments.Splice(std::move(other.m_segments));
        return *this;
    }
    SqlExpr&& operator<<(SqlExpr&& other) && noexcept { return std::move(*this << std::move(other)); }

    /// Moves the adaptor's text in.
    template <template <typename> class Adaptor>
    requires requires(Adaptor<SqlExpr>& adaptor, SqlExpr& out) { adaptor.ToStr(out); }
    SqlExpr& operator<<(Adaptor<SqlExpr>&& adaptor) &
    {
        adaptor.ToStr(*this);
        return *this;
    }
    template <template <typename> class Adaptor>
    requires requires(Adaptor<SqlExpr>& adaptor, SqlExpr& out) { adaptor.ToStr(out); }
    SqlExpr&& operator<<(Adaptor<SqlExpr>&& adaptor) &&
    {
        adaptor.ToStr(*this);
        return std::move(*this);
    }

    /// All segments, one behind the other.
    std::string str() const { return m_segments.Str(); }
    /// Whether str() is "".
    bool Empty() const noexcept { return m_segments.Empty(); }
    void Clear() noexcept { m_segments.Clear(); }

    /// Each part in brackets, `sep` between; an empty list gives an empty expression.
    static SqlExpr Join(std::list<SqlExpr>&& parts, const char* sep);

private:
    template <typename T>
    void Append(const auto& operand);
    void AppendText(const char* text)
    {
        if (text == nullptr) [[unlikely]] {
            m_segments.Fail();
        } else {
            m_segments.Append(text);
        }
    }
    template <typename T>
    void AppendNumber(T number)
    {
        constexpr std::size_t MAX_DIGITS = 20; // of a 64-bit number, sign included
        if (char* const pOut = m_segments.Reserve(MAX_DIGITS); pOut != nullptr) {
            m_segments.Commit(std::to_chars(pOut, pOut + MAX_DIGITS, number).ptr);
        }
    }
    void AppendLiteral(std::string_view text)
    {
        if (char* const pOut = m_segments.Reserve(MaxQuotedSize(text.size())); pOut != nullptr) {
            m_segments.Commit(WriteQuoted(pOut, text));
        }
    }

    SqlSegments m_segments;
};

template <typename T>
void SqlExpr::Append(const auto& operand)
{
    constexpr bool IS_BARE_TEXT = std::is_convertible_v<T, std::string_view> && !std::is_pointer_v<T>;
    static_assert(!IS_BARE_TEXT, "a bare string does not say whether it is a value or SQL: "
                                 "wrap it in VxDB::Value(text) or VxDB::RawSql(text)");
    static_assert(IS_BARE_TEXT || SqlOperand<T>,
                  "an SQL expression takes const char*, integers, bool, enumerations, wrapped strings, "
                  "and adaptors and other expressions that are moved into it");
    if constexpr (std::is_same_v<decltype(operand), const char(&)[2]>) {
        m_segments.Append(
            std::string_view(operand, operand[0] == '\0' ? 0 : 1)); // a separator: no call for it
    } else if constexpr (std::is_pointer_v<T>) {
        AppendText(operand);
    } else if constexpr (std::same_as<T, bool>) {
        m_segments.Append(operand ? "1" : "0");
    } else if constexpr (std::is_enum_v<T>) {
        AppendNumber(static_cast<long long>(operand));
    } else if constexpr (SqlInteger<T>) {
        AppendNumber(operand);
    } else if constexpr (std::same_as<T, SqlExprAdapt::Raw::Ref<std::string>>) {
        m_segments.Append(operand.m_text);
    } else if constexpr (SqlOperand<T>) {
        AppendLiteral(operand.m_text);
    }
}

namespace SqlExprAdapt {

/// "((column)IN(values))". ToStr hands its text over, once.
template <>
class InImpl<SqlExpr> {
public:
    template <typename Container>
    InImpl(const char* column, const Container& values)
    {
        const std::string text = SqlConversion<Container>::ToSqlValue(values);
        m_column << column;
        m_values << Raw::Ref<std::string>(text);
    }
    void ToStr(SqlExpr& out) { out << "((" << std::move(m_column) << ")IN(" << std::move(m_values) << "))"; }

private:
    SqlExpr m_column;
    SqlExpr m_values;
};

/// "(column LIKE 'prefix pattern suffix' ESCAPE '\')": the caller's wildcards around a pattern that matches
/// itself.
template <>
class LikeImpl<SqlExpr> {
public:
    /// @param prefix, suffix  wildcards such as "%"; null is ""
    LikeImpl(const char* column, const char* prefix, const std::string& pattern, const char* suffix,
             bool caseInsensitive)
        : m_pColumn(column), m_pPrefix(prefix), m_pSuffix(suffix), m_strPattern(EscapeSpecialChars(pattern)),
          m_bCaseInsensitive(caseInsensitive)
    {}
    void ToStr(SqlExpr& out) const
    {
        const char* const open = m_bCaseInsensitive ? "LOWER(" : "";
        const char* const close = m_bCaseInsensitive ? ")" : "";
        const std::string pattern =
            (m_pPrefix != nullptr ? m_pPrefix : "") + m_strPattern + (m_pSuffix != nullptr ? m_pSuffix : "");
        out << "(" << open << m_pColumn << close << " LIKE " << open << Reviewed::Ref<std::string>(pattern)
            << close << " ESCAPE '\\')";
    }

private:
    const char* m_pColumn;
    const char* m_pPrefix;
    const char* m_pSuffix;
    std::string m_strPattern;
    bool m_bCaseInsensitive;
};

template <typename Expr>
struct JoinHelper {
    /// "(a)sep(b)", appended to `out`.
    static void Join(Expr& out, const char* sep, Expr&& a, Expr&& b)
    {
        out << "(" << std::move(a) << ")" << sep << "(" << std::move(b) << ")";
    }
};

} // namespace SqlExprAdapt

inline SqlExpr SqlExpr::Join(std::list<SqlExpr>&& parts, const char* sep)
{
    SqlExpr joined;
    bool isFirst = true;
    for (SqlExpr& part : parts) {
        if (!isFirst) {
            joined << sep;
        }
        isFirst = false;
        joined << "(" << std::move(part) << ")";
    }
    parts.clear();
    return joined;
}

namespace SqlBuilder {

/// UPDATE table SET name=value,... WHERE ...;
class Update {
public:
    Update(const char* table, const char* idColumn) : m_strTable(table), m_strIdColumn(idColumn) {}

    template <typename T>
    Update& Field(const char* name, const T& value)
    {
        if (m_bFirstField) {
            m_bFirstField = false;
            m_stmt << m_pVerb << " " << RawSql(m_strTable) << " SET ";
        } else {
            m_stmt << ",";
        }
        m_stmt << name << "=" << value;
        return *this;
    }
    Update& SetupId(const int& id)
    {
        m_stmt << " WHERE " << RawSql(m_strIdColumn) << "=" << id;
        return *this;
    }
    Update& Where(SqlExpr&& cond)
    {
        m_stmt << " WHERE " << std::move(cond);
        return *this;
    }
    /// The statement, "" when no field was written; the builder starts anew.
    SqlExpr Expr()
    {
        SqlExpr stmt = m_bFirstField ? SqlExpr() : std::move(m_stmt) << ";";
        m_stmt.Clear();
        m_pVerb = "UPDATE";
        m_bFirstField = true;
        return stmt;
    }

    std::string m_strTable;
    std::string m_strIdColumn;
    SqlExpr m_stmt;
    const char* m_pVerb = "UPDATE";
    bool m_bFirstField = true;
};

/// INSERT INTO table (name,...)VALUES(value,...); its returning columns, its condition and its flag are
/// written directly: `insert.m_returning << "id";`
class Insert {
public:
    explicit Insert(const char* table, const char* idColumn = "") : m_strTable(table), m_strIdColumn(idColumn)
    {}

    template <typename T>
    Insert& Field(const char* name, const T& value)
    {
        if (m_bFirstField) {
            m_bFirstField = false;
            m_columns << m_pVerb << " INTO " << RawSql(m_strTable) << " (";
        } else {
            m_columns << ",";
            m_values << ",";
        }
        m_columns << name;
        m_values << value;
        return *this;
    }
    /// The statement, "" when no field was written; the builder starts anew.
    SqlExpr Expr()
    {
        SqlExpr stmt;
        if (!m_bFirstField) {
            stmt = std::move(m_columns);
            AddValues(stmt);
            if (!m_returning.Empty()) {
                stmt << " RETURNING " << std::move(m_returning);
            }
            stmt << ";";
        }
        *this = Insert(std::move(m_strTable), std::move(m_strIdColumn));
        return stmt;
    }

    std::string m_strTable;
    std::string m_strIdColumn;
    SqlExpr m_columns;
    SqlExpr m_values;
    SqlExpr m_returning; ///< columns to return; empty: none
    SqlExpr m_condition; ///< a query; when it has a row, nothing is inserted. Empty: no condition
    const char* m_pVerb = "INSERT";
    bool m_bFirstField = true;
    bool m_bValuesAreQuery =
        false; ///< the values follow the columns as they stand, ") SELECT ..." for instance

private:
    Insert(std::string&& table, std::string&& idColumn) noexcept
        : m_strTable(std::move(table)), m_strIdColumn(std::move(idColumn))
    {}
    void AddValues(SqlExpr& stmt)
    {
        if (!m_condition.Empty()) {
            stmt << ") SELECT " << std::move(m_values) << " WHERE NOT EXISTS (" << std::move(m_condition)
                 << ")";
        } else if (m_bValuesAreQuery) {
            stmt << std::move(m_values);
        } else {
            stmt << ")VALUES(" << std::move(m_values) << ")";
        }
    }
};

} // namespace SqlBuilder

} // namespace VxDB
