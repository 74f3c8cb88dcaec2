// SPDX-License-Identifier: Apache-2.0
// rotate/vxrotatelapseevt.cpp - time-lapse recordings.
#include "vxrotatelapseevt.h"

#include <exception>

#include "package/db.h"
#include "package/lapserec.h"
#include "rotdb_internal.h"
#include "vxlog.h"

VxRotLapseEvt::VxRotLapseEvt(const TimeLapseTask& task, long volBound, const volatile int& runFlag,
                             VxRotLogger& logger)
    : VxRotEvtBase(volBound, runFlag, logger), m_taskId(task.GetId())
{
    SetLimits(task.GetLimits());
    SetOccupiedSizeMB(task.GetOccupiedSizeMB());
    m_dbPath = VxDB::GetDBPath(VxDB::DB_LAPSE);
}

VxRotLapseEvt::~VxRotLapseEvt() = default;

std::string VxRotLapseEvt::GetSqlWhere() const
{
    LapseFilterParam filter;
    filter.taskId = m_taskId;
    return filter.GetWhereStr();
}

long VxRotLapseEvt::GetRotBySizeBoundTime() const noexcept
try {
    const std::string where = "WHERE mark_as_del = 0 AND " + rotdb::Format("task_id = %d", m_taskId);
    return GetOldestStartTime(gszTableLapseRecording, "", where, m_dbPath);
} catch (const std::exception& e) {
    VX_LOG(LOG_CATEG_ROTATE, LOG_LEVEL_ERR, "Failed to get bound time of size [%s].\n", e.what());
    return 0;
}

std::string VxRotLapseEvt::GetTableName() const
{
    return gszTableLapseRecording;
}

int VxRotLapseEvt::MarkEvtToDel(long boundTime, RotInfo& info) noexcept
try {
    LapseFilterParam filter;
    filter.taskId = m_taskId;
    filter.stopBefore = boundTime;
    filter.pRunFlag = &m_runFlag;
    const int result = MarkLapseRecAsDel(filter, &info, true);
    if (result != 0) {
        VX_LOG(LOG_CATEG_ROTATE, LOG_LEVEL_ERR, "Set lapse recording mark_as_del failed!\n");
    }
    return result;
} catch (const std::exception& e) {
    VX_LOG(LOG_CATEG_ROTATE, LOG_LEVEL_ERR, "Failed to remove by time [%s].\n", e.what());
    return -1;
}

int VxRotLapseEvt::RemoveEventsBySizeWithUpperbound(double sizeMB, int upperbound, RotInfo& info) noexcept
try {
    LapseFilterParam filter;
    long long bytes = 0;
    if (ChooseOldest(sizeMB, upperbound, filter.ids, bytes) != 0) {
        return -1;
    }
    if (!filter.ids.empty() && MarkLapseRecAsDel(filter, &info, true) != 0) {
        VX_LOG(LOG_CATEG_ROTATE, LOG_LEVEL_ERR, "Set lapse recording mark_as_del failed!\n");
        return -1;
    }
    info.sizeMB = TakeMegabytes(bytes);
    return 0;
} catch (const std::exception& e) {
    VX_LOG(LOG_CATEG_ROTATE, LOG_LEVEL_ERR, "Failed to remove by size [%s].\n", e.what());
    return -1;
}
