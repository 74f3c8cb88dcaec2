// SPDX-License-Identifier: Apache-2.0
// package/src/camera.cpp - cameras and the limits of their recording groups on their tables.
#include "package/camera.h"

#include <exception>
#include <string>

#include "package/recsweep.h"
#include "pkglog.h"
#include "rec/recowner_internal.h"
#include "rec/recrows_internal.h"

int GetAllCameraIds(std::set<int>& ids) noexcept
try {
    RecRows rows;
    if (rows.Load(VxDB::DB_SYSTEM, std::string("SELECT id FROM ") + gszTableCamera + ";") != 0) {
        return -1; // logged there
    }
    std::set<int> found;
    while (rows.Next()) {
        found.insert(rows.Int("id"));
    }
    ids = std::move(found);
    return 0;
} catch (const std::exception& error) {
    PKG_LOG(LOG_CATEG_CAMERA, LOG_LEVEL_ERR, "Failed to list the cameras [%s].\n", error.what());
    return -1;
}

int Camera::Load(int id) noexcept
try {
    RecRows rows;
    if (rows.Load(VxDB::DB_SYSTEM, std::string("SELECT name, enabled FROM ") + gszTableCamera +
                                       " WHERE id = " + std::to_string(id)) != 0 ||
        !rows.Next()) {
        return -1;
    }
    Camera loaded;
    loaded.m_id = id;
    loaded.m_name = rows.Text("name");
    loaded.m_enabled = rows.Int("enabled") != 0;
    if (rows.Load(VxDB::DB_SYSTEM, std::string("SELECT * FROM ") + gszTableCamRecGroup +
                                       " WHERE camera_id = " + std::to_string(id)) != 0) {
        return -1;
    }
    while (rows.Next()) {
        const int group = rows.Int("rec_group");
        if (group >= 0 && group < CAM_REC_GROUP_COUNT) {
            loaded.m_limits[group] = {rows.Int("rotate_by_date") != 0, rows.Int("rotate_days"),
                                      rows.Int("rotate_by_size") != 0, rows.Int("rotate_size_mb"), 0};
        }
    }
    *this = std::move(loaded);
    return 0;
} catch (const std::exception& error) {
    PKG_LOG(LOG_CATEG_CAMERA, LOG_LEVEL_ERR, "Failed to load camera [%d]: %s.\n", id, error.what());
    return -1;
}

namespace {

/// The columns of a camera that it shares with none of its groups.
std::string ValuesOf(const Camera& camera)
{
    return VxDB::QuoteEscape(camera.GetName()) + "," + (camera.IsEnabled() ? "1" : "0");
}

std::string GroupsSql(const Camera& camera, int id)
{
    std::string sql;
    for (int group = 0; group < CAM_REC_GROUP_COUNT; ++group) {
        const RotLimits& limits = camera.GetLimits(static_cast<CAM_REC_GROUP>(group));
        sql += std::string("INSERT OR REPLACE INTO ") + gszTableCamRecGroup +
               " (camera_id,rec_group,rotate_by_date,rotate_days,rotate_by_size,rotate_size_mb) VALUES (" +
               std::to_string(id) + "," + std::to_string(group) + "," + (limits.byDate ? "1" : "0") + "," +
               std::to_string(limits.days) + "," + (limits.bySize ? "1" : "0") + "," +
               std::to_string(limits.sizeMB) + ");";
    }
    return sql;
}

/// Runs the statement that returns the id of the camera's row, then stores its groups.
int Store(const std::string& sql, bool isNumbered, const Camera& camera, int& id)
{
    VxDB::Transaction transaction(VxDB::DB_SYSTEM);
    RecRows rows;
    if (transaction.Begin() != 0 ||
        rows.Load(VxDB::DB_SYSTEM, sql + " " + VxDB::GetReturnColumnsStatement({"id"})) != 0 ||
        !rows.Next()) {
        return -1;
    }
    int stored = rows.Int("id");
    if ((!isNumbered && MoveBehindOwners(gszTableCamera, REC_KIND_EVENT, "", stored) != 0) ||
        VxDB::Execute(VxDB::DB_SYSTEM, GroupsSql(camera, stored)) != 0 || transaction.Commit() != 0) {
        return -1;
    }
    id = stored;
    return 0;
}

} // namespace

int Camera::Save() noexcept
try {
    const std::string table = gszTableCamera;
    const std::string sql = m_id > 0
                                ? "UPDATE " + table + " SET (name,enabled) = (" + ValuesOf(*this) +
                                      ") WHERE id = " + std::to_string(m_id)
                                : "INSERT INTO " + table + " (name,enabled) VALUES (" + ValuesOf(*this) + ")";
    return Store(sql, m_id > 0, *this, m_id);
} catch (const std::exception& error) {
    PKG_LOG(LOG_CATEG_CAMERA, LOG_LEVEL_ERR, "Failed to save camera [%d]: %s.\n", m_id, error.what());
    return -1;
}

int Camera::Restore() noexcept
try {
    return Store(std::string("INSERT INTO ") + gszTableCamera + " (id,name,enabled) VALUES (" +
                     std::to_string(m_id) + "," + ValuesOf(*this) + ")",
                 true, *this, m_id);
} catch (const std::exception& error) {
    PKG_LOG(LOG_CATEG_CAMERA, LOG_LEVEL_ERR, "Failed to restore camera [%d]: %s.\n", m_id, error.what());
    return -1;
}

int Camera::Remove(int id) noexcept
try {
    const std::string key = std::to_string(id);
    return VxDB::Execute(VxDB::DB_SYSTEM, std::string("DELETE FROM ") + gszTableCamRecGroup +
                                              " WHERE camera_id = " + key + ";DELETE FROM " + gszTableCamera +
                                              " WHERE id = " + key + ";");
} catch (const std::exception& error) {
    PKG_LOG(LOG_CATEG_CAMERA, LOG_LEVEL_ERR, "Failed to remove camera [%d]: %s.\n", id, error.what());
    return -1;
}

const RotLimits& Camera::GetLimits(CAM_REC_GROUP group) const noexcept
{
    static constexpr RotLimits NONE;
    return group >= 0 && group < CAM_REC_GROUP_COUNT ? m_limits[group] : NONE;
}

void Camera::SetLimits(CAM_REC_GROUP group, const RotLimits& limits) noexcept
{
    if (group >= 0 && group < CAM_REC_GROUP_COUNT) {
        m_limits[group] = limits;
    }
}

long long Camera::GetOccupiedSizeMB(CAM_REC_GROUP group) const noexcept
{
    long long sizeMB = 0;
    return GetCamGroupSize(m_id, group, sizeMB) == 0 ? sizeMB : 0;
}
