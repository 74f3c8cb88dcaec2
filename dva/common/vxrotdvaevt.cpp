// SPDX-License-Identifier: Apache-2.0
// dva/common/vxrotdvaevt.cpp - analytics recordings.
#include "vxrotdvaevt.h"

#include <exception>
#include <new>
#include <utility>

#include "package/db.h"
#include "package/ivaevent.h"
#include "vxlog.h"

VxRotDvaEvt::VxRotDvaEvt(const DvaCoreRotateSettings* pSettings, long volBound, const volatile int& runFlag,
                         VxRotLogger& logger, const std::string& name)
    : VxRotEvtBase(volBound, runFlag, logger), m_taskId(pSettings != nullptr ? pSettings->GetId() : 0)
{
    if (pSettings != nullptr) {
        SetLimits(pSettings->GetLimits());
        SetOccupiedSizeMB(pSettings->GetOccupiedSizeMB());
    }
    m_dbPath = VxDB::GetDBPath(VxDB::DB_DVA);
    m_name = name;
}

VxRotDvaEvt::~VxRotDvaEvt() = default;

Event* VxRotDvaEvt::GetEventPointer() const noexcept
{
    return new (std::nothrow) IVAEvent;
}

std::string VxRotDvaEvt::GetSqlWhere() const
{
    IVAEventFilter filter;
    filter.taskId = m_taskId;
    return filter.GetWhereStr();
}

std::string VxRotDvaEvt::GetTableName() const
{
    return gszTableIVARecording;
}

int VxRotDvaEvt::MarkEvtToDel(long boundTime, RotInfo& info) noexcept
try {
    IVAEventFilter filter;
    filter.taskId = m_taskId;
    filter.stopBefore = boundTime;
    filter.pRunFlag = &m_runFlag;
    const int result = MarkIVAEvtAsDel(std::move(filter), &info, true);
    if (result != 0) {
        VX_LOG(LOG_CATEG_ROTATE, LOG_LEVEL_ERR, "Failed to del dva rec.\n");
    }
    return result;
} catch (const std::exception& e) {
    VX_LOG(LOG_CATEG_ROTATE, LOG_LEVEL_ERR, "Failed to remove by time [%s].\n", e.what());
    return -1;
}

int VxRotDvaEvt::RemoveEventsBySizeWithUpperbound(double sizeMB, int upperbound, RotInfo& info) noexcept
try {
    IVAEventFilter filter;
    long long bytes = 0;
    if (ChooseOldest(sizeMB, upperbound, filter.ids, bytes) != 0) {
        return -1;
    }
    if (!filter.ids.empty() && MarkIVAEvtAsDel(std::move(filter), &info, true) != 0) {
        VX_LOG(LOG_CATEG_ROTATE, LOG_LEVEL_ERR, "Set iva recording mark_as_del failed!\n");
        return -1;
    }
    info.sizeMB = TakeMegabytes(bytes);
    return 0;
} catch (const std::exception& e) {
    VX_LOG(LOG_CATEG_ROTATE, LOG_LEVEL_ERR, "Failed to remove by size [%s].\n", e.what());
    return -1;
}
