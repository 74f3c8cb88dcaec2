// SPDX-License-Identifier: Apache-2.0
// package/dbrows.h - the rows of one executed statement, freed by whatever way their reading ends.
//
//     VxDB::Rows rows;
//     if (VxDB::Execute(VxDB::DB_SYSTEM, "SELECT id FROM camera", rows.Out()) != 0) {
//         return -1;
//     }
//     for (unsigned int row = 0; rows.Next(row);) {
//         ids.insert(VxDBFetchField(rows.Get(), row, "id"));
//     }
#pragma once

#include "package/db.h"

namespace VxDB {

/// Owns a result of the database layer. One thread at a time.
class Rows {
public:
    Rows() noexcept = default;
    ~Rows() { VxDBFreeResult(m_pResult); }
    Rows(const Rows&) = delete;
    Rows& operator=(const Rows&) = delete;

    /// Where a statement puts its result; of one statement only.
    DBResult_tag** Out() noexcept { return &m_pResult; }
    DBResult_tag* Get() const noexcept { return m_pResult; }
    int Count() const noexcept { return VxDBNumRows(m_pResult); }
    /// Steps to the next row. @return false behind the last one
    bool Next(unsigned int& row) const noexcept { return VxDBFetchRow(m_pResult, &row) == 0; }

private:
    DBResult_tag* m_pResult = nullptr;
};

} // namespace VxDB
