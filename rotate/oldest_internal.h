// SPDX-License-Identifier: Apache-2.0
// rotate/oldest_internal.h - the oldest rows of a table that has no parts but rows. Never installed.
#pragma once

#include <cstdint>
#include <list>
#include <string>

#include "rotdb_internal.h"
#include "sqlconversion.h"

namespace rotdb {

/// The ids of the oldest rows, `upperbound` at most, until their sizes reach `sizeMB`; the row that reaches it
/// is included.
///
/// @param bytes  set to the size of the chosen rows
/// @return 0; -1 when the statement failed (logged by the database layer)
[[nodiscard]] inline int ChooseOldest(const std::string& dbPath, const std::string& table,
                                      const std::string& where, double sizeMB, int upperbound,
                                      std::list<std::int64_t>& ids, long long& bytes)
{
    Rows rows;
    const std::string sql = "SELECT id,size FROM " + table + " " + where + " ORDER BY stop_time LIMIT " +
                            std::to_string(upperbound);
    if (VxDB::Executep(dbPath, sql, rows.Out()) != 0) {
        return -1;
    }
    const long long limitBytes = BytesOfMB(sizeMB);
    bytes = 0;
    for (unsigned int row = 0; bytes < limitBytes && rows.Next(row);) {
        ids.push_back(VxDB::FetchFieldAsNumber(rows.Get(), row, "id"));
        bytes += std::max(VxDB::FetchFieldAsNumber(rows.Get(), row, "size"), 0LL);
    }
    return 0;
}

} // namespace rotdb
