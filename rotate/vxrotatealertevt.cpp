// SPDX-License-Identifier: Apache-2.0
// rotate/vxrotatealertevt.cpp - alerts: collected device by device, marked in one exclusive transaction.
#include "vxrotatealertevt.h"

#include <algorithm>
#include <exception>
#include <utility>

#include "package/db.h"
#include "package/msgd.h"
#include "package/recsweep.h"
#include "rotdb_internal.h"
#include "vxdb.h"
#include "vxlog.h"
#include "vxrotate.h"

VxRotAlertEvt::VxRotAlertEvt(int type, const volatile int& runFlag, const AlertAdvSetting& setting,
                             VxRotLogger& logger)
    : m_type(type), m_runFlag(runFlag), m_daysLimit(setting.GetDaysLimit()), m_logger(logger)
{}

VxRotAlertEvt::~VxRotAlertEvt() = default;

bool VxRotAlertEvt::IsDoRotate() const noexcept
{
    return m_runFlag == 1 && !IsNonRecMode();
}

int VxRotAlertEvt::InitCamDevIdMap() noexcept
{
    std::map<int, std::list<int>> devices;
    if (EnumIvaSettings(devices) != 0) {
        VX_LOG(LOG_CATEG_ROTATE, LOG_LEVEL_ERR, "Failed to enum iva settings.\n");
        VX_LOG(LOG_CATEG_ROTATE, LOG_LEVEL_ERR, "Failed to init cam device id map.\n");
        return -1;
    }
    m_camDevIds = std::move(devices);
    m_isMapped = true;
    return 0;
}

std::list<int> VxRotAlertEvt::DevicesOf(int id)
{
    if (m_type != ALERT_TYPE_IVA) {
        return {id};
    }
    const auto found = m_camDevIds.find(id);
    return found != m_camDevIds.end() ? found->second : std::list<int>();
}

/// Whom reports name: the camera of an analytics device, 0 when that is not known.
int VxRotAlertEvt::CameraOf(int device) const
{
    if (m_type != ALERT_TYPE_IVA) {
        return device;
    }
    const auto found = std::ranges::find_if(m_camDevIds, [device](const auto& camera) {
        return std::ranges::find(camera.second, device) != camera.second.end();
    });
    return found != m_camDevIds.end() ? found->first : 0;
}

int VxRotAlertEvt::DoRotate(const std::list<int>& ids, const long& boundTime) noexcept
{
    m_marked = 0;
    if (DoRotateLogs(ids, boundTime) != 0) {
        return -1;
    }
    Notify();
    UpdateLogger();
    return 0;
}

int VxRotAlertEvt::DoRotateLogs(const std::list<int>& ids, const long& boundTime) noexcept
try {
    m_gone.clear();
    m_found.clear();
    m_isUnread = false;
    if (m_type == ALERT_TYPE_IVA && !m_isMapped && InitCamDevIdMap() != 0) {
        return -1;
    }
    std::string script;
    for (const int id : ids) {
        for (const int device : DevicesOf(id)) {
            if (!IsDoRotate()) {
                break;
            }
            const std::string sql = GetSqlRotateLogs(device, boundTime);
            script += (script.empty() || sql.empty() ? "" : ";") + sql;
        }
    }
    if (m_isUnread || DoRotateBySql(script) != 0) {
        m_gone.clear();
        m_found.clear();
        return -1;
    }
    return 0;
} catch (const std::exception& e) {
    VX_LOG(LOG_CATEG_ROTATE, LOG_LEVEL_ERR, "Failed to rotate alerts [%s].\n", e.what());
    return -1;
}

std::string VxRotAlertEvt::GetWhereExpr(int id, long boundTime) const
{
    VxDB::SqlExpr where;
    where << "mark_as_del = 0 AND device_id = " << id << " AND type = " << m_type << " AND stop_time < "
          << boundTime;
    return where.str();
}

std::string VxRotAlertEvt::GetSqlMarkAsDelByList(const std::list<std::int64_t>& ids)
{
    if (ids.empty()) {
        return {};
    }
    VxDB::SqlExpr sql;
    sql << "UPDATE " << gszTableAlertEvent << " SET mark_as_del = 1 WHERE "
        << VxDB::SqlExprAdapt::InImpl<VxDB::SqlExpr>("id", ids);
    return sql.str();
}

std::string VxRotAlertEvt::GetSqlRotateLogs(int id, const long& boundTime)
{
    const long dayBound = m_daysLimit > 0 ? GetBoundTimeOfDays(m_daysLimit) : 0;
    const long bound = std::max(boundTime, dayBound);
    std::list<std::int64_t> ids;
    if (bound <= 0) {
        return {};
    }
    if (DispatchAlertDeletion(id, bound, ids) != 0) {
        m_isUnread = true;
        return {};
    }
    Found& found = m_found[CameraOf(id)];
    (dayBound >= boundTime ? found.byDays : found.byBound) += static_cast<int>(ids.size());
    return GetSqlMarkAsDelByList(ids);
}

int VxRotAlertEvt::DispatchAlertDeletion(int id, long boundTime, std::list<std::int64_t>& ids)
{
    const std::size_t room = MAX_ALERTS - std::min(MAX_ALERTS, m_gone.size());
    rotdb::Rows rows;
    VxDB::SqlExpr sql;
    const std::string where = GetWhereExpr(id, boundTime);
    sql << "SELECT id,device_id,start_time,end_time,size,path FROM " << gszTableAlertEvent << " WHERE "
        << VxDB::RawSql(where) << " ORDER BY stop_time LIMIT " << room;
    const std::string dbPath = VxDB::GetDBPath(VxDB::DB_ALERT);
    if (VxDB::Executep(dbPath, sql.str(), rows.Out()) != 0) {
        VX_LOG(LOG_CATEG_ROTATE, LOG_LEVEL_ERR, "Failed to list alerts of device [%d].\n", id);
        return -1;
    }
    for (unsigned int row = 0; rows.Next(row);) {
        AlertEvent alert;
        static_cast<void>(alert.PutRowIntoObj(rows.Get(), row)); // fails for no rows alone
        alert.SetDBInfo(dbPath);
        alert.SetMarkAsDel(true);
        ids.push_back(alert.GetId());
        m_gone.push_back(std::move(alert));
    }
    return 0;
}

int VxRotAlertEvt::DoRotateBySql(const std::string& sql) noexcept
try {
    if (!IsDoRotate() || sql.empty()) {
        return 0;
    }
    const std::string dbPath = VxDB::GetDBPath(VxDB::DB_ALERT);
    std::string why;
    if (CheckRecVolume(dbPath, &why) != REC_VOLUME::SAME) {
        VX_LOG(LOG_CATEG_ROTATE, LOG_LEVEL_ERR, "No alerts are rotated: %s\n", why.c_str());
        return -1;
    }
    if (VxDB::Executep(dbPath, "BEGIN EXCLUSIVE;" + sql + ";COMMIT;") != 0) {
        VX_LOG(LOG_CATEG_ROTATE, LOG_LEVEL_ERR, "Failed to mark alerts.\n");
        return -1;
    }
    m_marked = static_cast<int>(m_gone.size());
    return 0;
} catch (const std::exception& e) {
    VX_LOG(LOG_CATEG_ROTATE, LOG_LEVEL_ERR, "Failed to mark alerts [%s].\n", e.what());
    return -1;
}

void VxRotAlertEvt::Notify() noexcept
try {
    std::list<int> cameras;
    for (const auto& [camera, found] : m_found) {
        if (found.byBound > 0 || found.byDays > 0) {
            cameras.push_back(camera);
        }
    }
    if (m_marked > 0) {
        static_cast<void>(SendUpdateMsgToMsgD(MSGD_KIND_ROTATED, cameras, UPDATE_TYPE_DELETE, EVT_TYPE_ALERT,
                                              "", {})); // has logged; nobody waits for it
    }
} catch (const std::exception& e) {
    VX_LOG(LOG_CATEG_ROTATE, LOG_LEVEL_ERR, "Failed to announce alerts [%s].\n", e.what());
}

void VxRotAlertEvt::UpdateLogger() noexcept
try {
    if (m_marked == 0) {
        return;
    }
    for (const auto& [camera, found] : m_found) {
        m_logger.UpdDelCnt(camera, 0, found.byBound, found.byDays, 0);
    }
    IdNameListMap names;
    for (const Event& alert : m_gone) {
        names[CameraOf(alert.GetCamId())].push_back(alert.MakeRecordId());
    }
    m_gone.clear();
    for (auto& entry : names) {
        const int camera = entry.first;
        const bool isByBound = m_found[camera].byBound > 0;
        IdNameListMap own;
        own[camera] = std::move(entry.second);
        m_logger.UpdCamDelList(camera, nullptr, isByBound ? &own : nullptr, isByBound ? nullptr : &own,
                               nullptr);
    }
} catch (const std::exception& e) {
    VX_LOG(LOG_CATEG_ROTATE, LOG_LEVEL_ERR, "Failed to report alerts [%s].\n", e.what());
}
