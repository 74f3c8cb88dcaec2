// SPDX-License-Identifier: Apache-2.0
// package/src/rec/recrows_internal.h - rows of a statement, read by column name.
#pragma once

#include <algorithm>
#include <cstdint>
#include <limits>
#include <list>
#include <string>

#include "package/db.h"

/// The rows of one statement. One thread at a time.
class RecRows {
public:
    RecRows() = default;
    ~RecRows() { VxDBFreeResult(m_pRows); }
    RecRows(const RecRows&) = delete;
    RecRows& operator=(const RecRows&) = delete;

    /// @return 0; -1 (logged).
    [[nodiscard]] int Load(const std::string& dbPath, std::string sql);
    [[nodiscard]] int Load(VxDB::DB_INSTANCE instance, std::string sql);
    /// Steps to the next row. @return false behind the last one.
    bool Next() noexcept { return VxDBFetchRow(m_pRows, &m_row) == 0; }

    /// NULL, a missing column and text that is no number are 0.
    std::int64_t Number(const char* column) const noexcept;
    /// The nearest that fits: a limit beyond 32 bits is a large one, not what its low bits say.
    int Int(const char* column) const noexcept
    {
        return static_cast<int>(std::clamp<std::int64_t>(Number(column), std::numeric_limits<int>::min(),
                                                         std::numeric_limits<int>::max()));
    }
    std::string Text(const char* column) const;
    DBResult_tag* Result() const noexcept { return m_pRows; }
    unsigned int Row() const noexcept { return m_row; }

private:
    DBResult_tag* m_pRows = nullptr;
    unsigned int m_row = 0;
};

/// "1,2,3".
std::string IdsText(const std::list<std::int64_t>& ids);

/// The first number of the first row. @return 0; -1 (logged) or no row, `number` unchanged.
[[nodiscard]] int LoadNumber(const std::string& dbPath, const std::string& sql, std::int64_t& number);
