// SPDX-License-Identifier: Apache-2.0
// package/src/server.cpp - recording servers on their table.
#include "package/server.h"

#include <cstdlib>
#include <exception>

#include "package/dbrows.h"
#include "pkglog.h"

int GetNdNameMap(std::map<int, std::string>& names) noexcept
try {
    VxDB::Rows rows;
    if (VxDB::Execute(VxDB::DB_SYSTEM, std::string("SELECT id,name FROM ") + gszTableRecServer + ";",
                      rows.Out()) != 0) {
        return -1; // logged there
    }
    std::map<int, std::string> found;
    for (unsigned int row = 0; rows.Next(row);) {
        const char* const id = VxDBFetchField(rows.Get(), row, "id");
        found[id != nullptr ? std::atoi(id) : 0] = VxDB::FetchFieldText(rows.Get(), row, "name");
    }
    names = std::move(found);
    return 0;
} catch (const std::exception& error) {
    PKG_LOG(LOG_CATEG_RELAY, LOG_LEVEL_ERR, "Failed to list the recording servers [%s].\n", error.what());
    return -1;
}
