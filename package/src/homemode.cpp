// SPDX-License-Identifier: Apache-2.0
// package/src/homemode.cpp - the settings of the home mode on their table.
#include "package/homemode.h"

#include <cstdlib>
#include <exception>
#include <string>

#include "package/dbrows.h"
#include "pkglog.h"

int HomeModeSetting::UpdateWhenDeleteItems(HomeModeItem kind, const std::set<int>& ids) noexcept
try {
    std::string list;
    for (const int id : ids) {
        list += (list.empty() ? "" : ",") + std::to_string(id);
    }
    return list.empty() ? 0
                        : VxDB::Execute(VxDB::DB_SYSTEM,
                                        std::string("DELETE FROM ") + gszTableHomeMode +
                                            " WHERE kind = " + std::to_string(static_cast<int>(kind)) +
                                            " AND item_id IN (" + list + ");");
} catch (const std::exception& error) {
    PKG_LOG(LOG_CATEG_GENERAL, LOG_LEVEL_ERR, "Failed to update the home mode [%s].\n", error.what());
    return -1;
}

int HomeModeSetting::AddItems(HomeModeItem kind, const std::set<int>& ids) noexcept
try {
    std::string sql;
    for (const int id : ids) {
        sql += std::string("INSERT OR IGNORE INTO ") + gszTableHomeMode + " (kind,item_id) VALUES (" +
               std::to_string(static_cast<int>(kind)) + "," + std::to_string(id) + ");";
    }
    return sql.empty() ? 0 : VxDB::Execute(VxDB::DB_SYSTEM, sql);
} catch (const std::exception& error) {
    PKG_LOG(LOG_CATEG_GENERAL, LOG_LEVEL_ERR, "Failed to update the home mode [%s].\n", error.what());
    return -1;
}

int HomeModeSetting::GetItems(HomeModeItem kind, std::set<int>& ids) noexcept
try {
    VxDB::Rows rows;
    if (VxDB::Execute(VxDB::DB_SYSTEM,
                      std::string("SELECT item_id FROM ") + gszTableHomeMode +
                          " WHERE kind = " + std::to_string(static_cast<int>(kind)),
                      rows.Out()) != 0) {
        return -1;
    }
    ids.clear();
    for (unsigned int row = 0; rows.Next(row);) {
        ids.insert(std::atoi(VxDBFetchField(rows.Get(), row, "item_id")));
    }
    return 0;
} catch (const std::exception& error) {
    PKG_LOG(LOG_CATEG_GENERAL, LOG_LEVEL_ERR, "Failed to read the home mode [%s].\n", error.what());
    return -1;
}
