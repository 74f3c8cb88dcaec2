// SPDX-License-Identifier: Apache-2.0
// package/src/rec/rectask.cpp - tasks whose recordings are rotated, each kind on its table.
#include "package/rectask.h"

#include <unistd.h>

#include <exception>
#include <utility>

#include "package/alertevent.h"
#include "package/camera.h"
#include "package/recsweep.h"
#include "pkglog.h"
#include "recowner_internal.h"
#include "recrows_internal.h"

namespace {

const char* TableOf(RecTask::KIND kind) noexcept
{
    switch (kind) {
    case RecTask::ARCHIVE:
        return gszTableArchPullTask;
    case RecTask::LAPSE:
        return gszTableTimeLapseTask;
    case RecTask::IVA:
        return gszTableDvaSetting;
    default:
        return gszTableFaceSetting;
    }
}

/// Below rec/, or below the share: one folder a task.
const char* FolderOf(RecTask::KIND kind) noexcept
{
    constexpr const char* FOLDERS[RecTask::KIND_COUNT] = {"arch", "lapse", "iva", "face"};
    return FOLDERS[kind];
}

RotLimits LimitsOf(const RecRows& rows) noexcept
{
    return {rows.Int("rotate_by_date") != 0, rows.Int("rotate_days"), rows.Int("rotate_by_size") != 0,
            rows.Int("rotate_size_mb"), rows.Int("rotate_num")};
}

void Take(const RecRows& rows, RecTask& task)
{
    task.SetId(rows.Int("id"));
    task.SetName(rows.Text("name"));
    task.SetCamId(rows.Int("camera_id"));
    task.SetSharePath(rows.Text("share_path"));
    task.SetOnCamera(rows.Int("on_camera") != 0);
    task.SetLimits(LimitsOf(rows));
}

} // namespace

REC_KIND RecTask::GetRecKind() const noexcept
{
    constexpr REC_KIND KINDS[KIND_COUNT] = {REC_KIND_EVENT, REC_KIND_LAPSE, REC_KIND_IVA, REC_KIND_FACE};
    return KINDS[m_kind];
}

std::string RecTask::GetDBPath() const
{
    return RecDBPath(GetRecKind(), m_kind == ARCHIVE ? m_id : 0);
}

int RecTask::Load(int id) noexcept
try {
    RecRows rows;
    if (rows.Load(VxDB::DB_SYSTEM, std::string("SELECT * FROM ") + TableOf(m_kind) +
                                       " WHERE id = " + std::to_string(id)) != 0 ||
        !rows.Next()) {
        return -1;
    }
    Take(rows, *this);
    return 0;
} catch (const std::exception& error) {
    PKG_LOG(LOG_CATEG_ROTATE, LOG_LEVEL_ERR, "Failed to load task [%d]: %s.\n", id, error.what());
    return -1;
}

int RecTask::List(KIND kind, std::list<RecTask>& tasks) noexcept
try {
    RecRows rows;
    if (rows.Load(VxDB::DB_SYSTEM, std::string("SELECT * FROM ") + TableOf(kind) + " ORDER BY id") != 0) {
        return -1;
    }
    std::list<RecTask> found;
    while (rows.Next()) {
        Take(rows, found.emplace_back(kind));
    }
    tasks = std::move(found);
    return 0;
} catch (const std::exception& error) {
    PKG_LOG(LOG_CATEG_ROTATE, LOG_LEVEL_ERR, "Failed to list tasks [%s].\n", error.what());
    return -1;
}

namespace {

/// Columns of a task but its id, and what they hold.
struct Fields {
    std::string names = "name,camera_id,share_path,rotate_by_date,rotate_days,rotate_by_size,rotate_size_mb,"
                        "rotate_num";
    std::string values;
};

Fields FieldsOf(const RecTask& task)
{
    const RotLimits& limits = task.GetLimits();
    Fields fields;
    fields.values = VxDB::QuoteEscape(task.GetName()) + "," + std::to_string(task.GetCamId()) + "," +
                    VxDB::QuoteEscape(task.GetSharePath()) + "," + (limits.byDate ? "1" : "0") + "," +
                    std::to_string(limits.days) + "," + (limits.bySize ? "1" : "0") + "," +
                    std::to_string(limits.sizeMB) + "," + std::to_string(limits.num);
    if (task.GetKind() == RecTask::IVA) {
        fields.names += ",on_camera";
        fields.values += task.IsOnCamera() ? ",1" : ",0";
    }
    return fields;
}

/// A new row, with an id that no recording has.
int Insert(const RecTask& task, int& id)
{
    const char* const table = TableOf(task.GetKind());
    const Fields fields = FieldsOf(task);
    RecRows rows;
    VxDB::Transaction transaction(VxDB::DB_SYSTEM);
    if (transaction.Begin() != 0 ||
        rows.Load(VxDB::DB_SYSTEM, std::string("INSERT INTO ") + table + " (" + fields.names + ") VALUES (" +
                                       fields.values + ");" + VxDB::GetReturnIdStatement()) != 0 ||
        !rows.Next()) {
        return -1;
    }
    int stored = rows.Int("id");
    if (MoveBehindOwners(table, task.GetRecKind(), FolderOf(task.GetKind()), stored) != 0 ||
        transaction.Commit() != 0) {
        return -1;
    }
    id = stored;
    return 0;
}

} // namespace

int RecTask::Save() noexcept
try {
    if (m_id <= 0) {
        return Insert(*this, m_id);
    }
    const Fields fields = FieldsOf(*this);
    return VxDB::Execute(VxDB::DB_SYSTEM, std::string("UPDATE ") + TableOf(m_kind) + " SET (" + fields.names +
                                              ") = (" + fields.values +
                                              ") WHERE id = " + std::to_string(m_id) + ";");
} catch (const std::exception& error) {
    PKG_LOG(LOG_CATEG_ROTATE, LOG_LEVEL_ERR, "Failed to save task [%d]: %s.\n", m_id, error.what());
    return -1;
}

int RecTask::Restore() noexcept
try {
    const Fields fields = FieldsOf(*this);
    return VxDB::Execute(VxDB::DB_SYSTEM, std::string("INSERT INTO ") + TableOf(m_kind) + " (id," +
                                              fields.names + ") VALUES (" + std::to_string(m_id) + "," +
                                              fields.values + ");");
} catch (const std::exception& error) {
    PKG_LOG(LOG_CATEG_ROTATE, LOG_LEVEL_ERR, "Failed to restore task [%d]: %s.\n", m_id, error.what());
    return -1;
}

int RecTask::Remove() noexcept
try {
    return VxDB::Execute(VxDB::DB_SYSTEM, std::string("DELETE FROM ") + TableOf(m_kind) +
                                              " WHERE id = " + std::to_string(m_id) + ";");
} catch (const std::exception& error) {
    PKG_LOG(LOG_CATEG_ROTATE, LOG_LEVEL_ERR, "Failed to remove task [%d]: %s.\n", m_id, error.what());
    return -1;
}

long long RecTask::GetOccupiedSizeMB() const noexcept
{
    long long sizeMB = 0;
    if (m_kind != ARCHIVE) {
        return GetTotalRecordSize(GetRecKind(), m_id, sizeMB) == 0 ? sizeMB : 0;
    }
    return GetTaskDBSize(m_id, sizeMB) == 0 ? sizeMB : 0;
}

int GetOrvoCamTaskIds(int camId, std::list<int>& ids) noexcept
try {
    RecRows rows;
    if (rows.Load(VxDB::DB_SYSTEM, std::string("SELECT id FROM ") + gszTableDvaSetting +
                                       " WHERE camera_id = " + std::to_string(camId) +
                                       " AND on_camera = 1 ORDER BY id") != 0) {
        return -1;
    }
    ids.clear();
    while (rows.Next()) {
        ids.push_back(rows.Int("id"));
    }
    return 0;
} catch (const std::exception& error) {
    PKG_LOG(LOG_CATEG_CAMERA, LOG_LEVEL_ERR, "Failed to list the tasks of camera [%d]: %s.\n", camId,
            error.what());
    return -1;
}

int ListAlertDevices(std::map<int, std::list<int>>& devices) noexcept
try {
    const std::string dbPath = RecDBPath(REC_KIND_ALERT);
    std::map<int, std::list<int>> found;
    bool isMore = ::access(dbPath.c_str(), F_OK) == 0; // asking it would make it
    for (std::pair<int, int> last{-1, -1}; isMore;) {
        RecRows rows;
        if (rows.Load(dbPath, std::string("SELECT device_id, type FROM ") + gszTableAlertEvent +
                                  " WHERE mark_as_del = 0 AND (device_id, type) > (" +
                                  std::to_string(last.first) + "," + std::to_string(last.second) +
                                  ") ORDER BY device_id, type LIMIT 1") != 0) {
            return -1;
        }
        isMore = rows.Next();
        if (isMore) {
            last = {rows.Int("device_id"), rows.Int("type")};
            found[last.second].push_back(last.first);
        }
    }
    devices = std::move(found);
    return 0;
} catch (const std::exception& error) {
    PKG_LOG(LOG_CATEG_ROTATE, LOG_LEVEL_ERR, "Failed to list the devices of alerts [%s].\n", error.what());
    return -1;
}

int EnumIvaSettings(std::map<int, std::list<int>>& devices) noexcept
try {
    std::list<RecTask> tasks;
    std::map<int, std::list<int>> alerts;
    if (RecTask::List(RecTask::IVA, tasks) != 0 || ListAlertDevices(alerts) != 0) {
        return -1;
    }
    std::list<int>& gone = alerts[ALERT_TYPE_IVA];
    std::map<int, std::list<int>> found;
    for (const RecTask& task : tasks) {
        found[task.GetCamId()].push_back(task.GetId());
        gone.remove(task.GetId());
    }
    if (!gone.empty()) {
        found[0].splice(found[0].end(), gone);
    }
    devices = std::move(found);
    return 0;
} catch (const std::exception& error) {
    PKG_LOG(LOG_CATEG_ROTATE, LOG_LEVEL_ERR, "Failed to list analytics tasks [%s].\n", error.what());
    return -1;
}

int AlertAdvSetting::Load() noexcept
try {
    RecRows rows;
    if (rows.Load(VxDB::DB_SYSTEM, std::string("SELECT rotate_days FROM ") + gszTableAlertSetting) != 0) {
        return -1;
    }
    m_days = rows.Next() ? rows.Int("rotate_days") : 0;
    return 0;
} catch (const std::exception& error) {
    PKG_LOG(LOG_CATEG_ROTATE, LOG_LEVEL_ERR, "Failed to load the alert setting [%s].\n", error.what());
    return -1;
}

int AlertAdvSetting::Save() noexcept
try {
    return VxDB::Execute(VxDB::DB_SYSTEM, std::string("INSERT OR REPLACE INTO ") + gszTableAlertSetting +
                                              " (id,rotate_days) VALUES (1," + std::to_string(m_days) + ");");
} catch (const std::exception& error) {
    PKG_LOG(LOG_CATEG_ROTATE, LOG_LEVEL_ERR, "Failed to save the alert setting [%s].\n", error.what());
    return -1;
}
