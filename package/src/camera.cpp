// SPDX-License-Identifier: Apache-2.0
// package/src/camera.cpp - cameras on the camera table.
#include "package/camera.h"

#include <cstdlib>
#include <exception>
#include <string>

#include "package/db.h"
#include "pkglog.h"

int GetAllCameraIds(std::set<int>& ids) noexcept
try {
    DBResult_tag* pRows = nullptr;
    if (VxDB::Execute(VxDB::DB_SYSTEM, std::string("SELECT id FROM ") + gszTableCamera + ";", &pRows) != 0) {
        return -1; // logged there
    }
    std::set<int> found;
    for (unsigned int row = 0; VxDBFetchRow(pRows, &row) == 0;) {
        const char* const id = VxDBFetchField(pRows, row, "id");
        found.insert(id != nullptr ? std::atoi(id) : 0);
    }
    VxDBFreeResult(pRows);
    ids = std::move(found);
    return 0;
} catch (const std::exception& error) {
    PKG_LOG(LOG_CATEG_CAMERA, LOG_LEVEL_ERR, "Failed to list the cameras [%s].\n", error.what());
    return -1;
}
