// SPDX-License-Identifier: Apache-2.0
// log/logfilter_internal.h - what the two logs' listings have in common. Never installed.
#pragma once

#include <cstdint>
#include <cstdlib>
#include <functional>
#include <initializer_list>
#include <span>
#include <string>
#include <vector>

#include "package/db.h"
#include "vxdb.h"

/// Collects the terms of a WHERE clause.
class WhereClause {
public:
    /// "TERM NUMBER", unless the number is `unset`.
    void Number(const char* term, std::int64_t number, std::int64_t unset)
    {
        if (number != unset) {
            Lead() << term << static_cast<long long>(number);
        }
    }
    /// The keyword in one of the columns, unless it is empty.
    void Keyword(std::initializer_list<const char*> columns, const std::string& keyword)
    {
        if (keyword.empty()) {
            return;
        }
        Lead() << "(";
        const char* separator = "";
        for (const char* const column : columns) {
            m_where << separator
                    << VxDB::SqlExprAdapt::LikeImpl<VxDB::SqlExpr>(column, "%", keyword, "%", true);
            separator = " OR ";
        }
        m_where << ")";
    }
    void Text(const char* term, const std::string& text)
    {
        if (!text.empty()) {
            Lead() << term << VxDB::Value(text);
        }
    }
    std::string Str() const { return m_where.str(); }

private:
    VxDB::SqlExpr& Lead()
    {
        m_where << (m_isEmpty ? " WHERE " : " AND ");
        m_isEmpty = false;
        return m_where;
    }

    VxDB::SqlExpr m_where;
    bool m_isEmpty = true;
};

inline std::int64_t FieldNumber(DBResult_tag* result, unsigned int row, const char* column) noexcept
{
    const char* const text = VxDBFetchField(result, row, column);
    return text != nullptr ? std::strtoll(text, nullptr, 10) : 0;
}

/// The rows of a statement as records, a block at a time; their texts keep their memory from block to block.
template <typename Record>
int ReadRecords(const std::string& sql, const std::function<int(std::span<const Record>)>& take)
{
    std::vector<Record> records;
    return VxDB::ExecuteInBlocks(VxDB::DB_LOG, sql, [&records, &take](DBResult_tag* block) {
        const auto count = static_cast<std::size_t>(VxDBNumRows(block));
        if (records.size() < count) {
            records.resize(count);
        }
        for (std::size_t i = 0; i < count; ++i) {
            records[i].PutRowIntoObj(block, static_cast<unsigned int>(i));
        }
        const bool wantsMore = take(std::span<const Record>(records.data(), count)) == 0;
        records[count - 1] =
            Record(); // the row that filled the block may be huge; the others are in its size
        return wantsMore;
    });
}

/// " ORDER BY timestamp, id" with the limit behind it.
inline std::string OrderAndLimit(int limit, int offset)
{
    std::string text = " ORDER BY timestamp, id";
    if (limit > 0) {
        text += " LIMIT " + std::to_string(limit) + (offset > 0 ? " OFFSET " + std::to_string(offset) : "");
    }
    return text + ";";
}
