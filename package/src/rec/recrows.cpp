// SPDX-License-Identifier: Apache-2.0
// package/src/rec/recrows.cpp - rows of a statement, read by column name.
#include <cstdlib>

#include "recrows_internal.h"

int RecRows::Load(const std::string& dbPath, std::string sql)
{
    VxDBFreeResult(m_pRows);
    m_pRows = nullptr;
    return VxDB::Executep(dbPath, std::move(sql), &m_pRows);
}

int RecRows::Load(VxDB::DB_INSTANCE instance, std::string sql)
{
    return Load(VxDB::GetDBPath(instance), std::move(sql));
}

std::int64_t RecRows::Number(const char* column) const noexcept
{
    const char* const text = VxDBFetchField(m_pRows, m_row, column);
    return text != nullptr ? std::strtoll(text, nullptr, 10) : 0;
}

std::string RecRows::Text(const char* column) const
{
    return std::string(VxDB::FetchFieldText(m_pRows, m_row, column));
}

std::string IdsText(const std::list<std::int64_t>& ids)
{
    std::string text;
    for (const std::int64_t id : ids) {
        text += (text.empty() ? "" : ",") + std::to_string(id);
    }
    return text;
}

int LoadNumber(const std::string& dbPath, const std::string& sql, std::int64_t& number)
{
    RecRows rows;
    if (rows.Load(dbPath, sql) != 0 || !rows.Next()) {
        return -1;
    }
    number = rows.Number("n");
    return 0;
}
