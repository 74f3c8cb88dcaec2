// SPDX-License-Identifier: Apache-2.0
// package/src/iokeys.cpp - the table of ports in use.
#include "package/iokeys.h"

#include <cstdlib>
#include <exception>

#include "package/dbrows.h"
#include "pkglog.h"

std::string MakeIOKey(IOKeyKind kind, int source, int serverId, int deviceId, int port)
{
    return std::string(kind == IOKeyKind::DI ? "di" : "do") + ":" + std::to_string(source) + ":" +
           std::to_string(serverId) + ":" + std::to_string(deviceId) + ":" + std::to_string(port);
}

std::string IOKeys::AddEntrySql(const std::set<std::string>& keys, int entryId)
{
    std::string sql;
    for (const std::string& key : keys) {
        sql += std::string("INSERT OR IGNORE INTO ") + gszTableIOKeys + " (key,entry_id) VALUES (" +
               VxDB::QuoteEscape(key) + "," + std::to_string(entryId) + ");";
    }
    return sql;
}

int IOKeys::RemoveEntryId(const std::set<std::string>& keys, int entryId) noexcept
try {
    std::string list;
    for (const std::string& key : keys) {
        list += (list.empty() ? "" : ",") + VxDB::QuoteEscape(key);
    }
    return list.empty() ? 0
                        : VxDB::Execute(VxDB::DB_SYSTEM,
                                        std::string("DELETE FROM ") + gszTableIOKeys + " WHERE key IN (" +
                                            list + ") AND entry_id = " + std::to_string(entryId) + ";");
} catch (const std::exception& error) {
    PKG_LOG(LOG_CATEG_IO_MODULE, LOG_LEVEL_ERR, "Failed to remove I/O keys [%s].\n", error.what());
    return -1;
}

int IOKeys::GetEntryIds(const std::string& key, std::set<int>& entryIds) noexcept
try {
    VxDB::Rows rows;
    if (VxDB::Execute(VxDB::DB_SYSTEM,
                      std::string("SELECT entry_id FROM ") + gszTableIOKeys +
                          " WHERE key = " + VxDB::QuoteEscape(key),
                      rows.Out()) != 0) {
        return -1;
    }
    entryIds.clear();
    for (unsigned int row = 0; rows.Next(row);) {
        entryIds.insert(std::atoi(VxDBFetchField(rows.Get(), row, "entry_id")));
    }
    return 0;
} catch (const std::exception& error) {
    PKG_LOG(LOG_CATEG_IO_MODULE, LOG_LEVEL_ERR, "Failed to read I/O keys [%s].\n", error.what());
    return -1;
}
