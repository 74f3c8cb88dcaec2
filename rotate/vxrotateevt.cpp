// SPDX-License-Identifier: Apache-2.0
// rotate/vxrotateevt.cpp - camera events, archive events, and the sweep.
#include "vxrotateevt.h"

#include <exception>

#include "package/db.h"
#include "rotdb_internal.h"
#include "vxlog.h"
#include "vxrotatelogger.h"

namespace {

constexpr int LIST_ROWS = 1000;
constexpr LOG_TYPE LOG_TYPE_SWEEP = 2; ///< output type of the line that ends a sweep

std::string CameraWhere(int camId, CAM_REC_GROUP group)
{
    EventFilterParam filter;
    filter.camId = camId;
    return filter.GetWhereStr() + " AND " + rotdb::Format("rec_group = %d", group);
}

} // namespace

// ---- camera events

VxRotEvt::VxRotEvt(const Camera& cam, long volBound, const volatile int& runFlag, VxRotLogger& logger,
                   CAM_REC_GROUP group)
    : VxRotEvtBase(volBound, runFlag, logger), m_camId(cam.GetId()), m_group(group)
{
    SetLimits(cam.GetLimits(group));
    m_numLimit = 0; // camera events are never rotated by number
    SetOccupiedSizeMB(cam.GetOccupiedSizeMB(group));
    m_dbPath = VxDB::GetDBPath(VxDB::DB_EVENT);
}

VxRotEvt::~VxRotEvt() = default;

std::string VxRotEvt::GetSqlWhere() const
{
    return CameraWhere(m_camId, m_group);
}

std::string VxRotEvt::GetTableName() const
{
    return gszTableEvent;
}

EventFilterParam VxRotEvt::GetRotByTimeParam(long boundTime) const
{
    EventFilterParam filter = VxRotEvtBase::GetRotByTimeParam(boundTime);
    filter.camId = m_camId;
    filter.recGroup = m_group;
    return filter;
}

int VxRotEvt::DoRotateByDate() noexcept
try {
    if (VxRotEvtBase::DoRotateByDate() != 0) {
        return -1;
    }
    std::list<int> taskIds;
    if (!IsDoRotate() || GetOrvoCamTaskIds(m_camId, taskIds) != 0) {
        return 0; // has logged; what comes of the camera's own tasks fails nothing
    }
    if (taskIds.empty()) {
        VX_LOG(LOG_CATEG_ROTATE, LOG_LEVEL_TRACE, "camera id %d dones't have any task, early return.\n",
               m_camId);
        return 0;
    }
    const long bound = GetBoundTimeOfDays(m_daysLimit);
    for (auto taskId = taskIds.begin(); taskId != taskIds.end() && bound > 0 && IsDoRotate(); ++taskId) {
        if (MarkOrvoCamEvtToDel(*taskId, bound, nullptr, &m_runFlag) != 0) {
            VX_LOG(LOG_CATEG_ROTATE, LOG_LEVEL_ERR, "Failed to del iva rec for orvocam[%d].\n", m_camId);
        }
    }
    return 0;
} catch (const std::exception& e) {
    VX_LOG(LOG_CATEG_ROTATE, LOG_LEVEL_ERR, "Failed to rotate tasks of camera [%d]: %s.\n", m_camId,
           e.what());
    return 0;
}

// ---- archive events

VxRotArchEvt::VxRotArchEvt(const ArchPullTask& task, long volBound, const volatile int& runFlag,
                           VxRotLogger& logger)
    : VxRotEvtBase(volBound, runFlag, logger), m_taskId(task.GetId())
{
    SetLimits(task.GetLimits());
    SetOccupiedSizeMB(task.GetOccupiedSizeMB());
    m_dbPath = VxDB::GetDBPath(VxDB::DB_EVENT, m_taskId);
}

VxRotArchEvt::~VxRotArchEvt() = default;

std::string VxRotArchEvt::GetSqlWhere() const
{
    return GetRotByTimeParam(0).GetWhereStr();
}

std::string VxRotArchEvt::GetTableName() const
{
    return gszTableEvent;
}

EventFilterParam VxRotArchEvt::GetRotByTimeParam(long boundTime) const
{
    EventFilterParam filter = VxRotEvtBase::GetRotByTimeParam(boundTime);
    filter.archTaskId = m_taskId;
    filter.camId = m_taskId; // the owner of a row in a task's database
    filter.recGroup = 0;     // Decision: what is fetched has no groups; naming the group lets the index sort
    return filter;
}

// ---- the sweep

int DeleteMarkAsDelEvt(const volatile int& runFlag, int archTaskId, int maxLists, int& deleted) noexcept
try {
    EventFilterParam filter;
    filter.archTaskId = archTaskId >= 1 ? archTaskId : 0;
    filter.mark = EventFilterParam::MARK_DELETED;
    long long count = 0;
    int result = EventCntGetAll(filter, count);
    filter.limit = LIST_ROWS;
    int swept = 0;
    for (int lists = 0; result == 0 && count > 0 && runFlag == 1 && (maxLists <= 0 || lists < maxLists);
         ++lists) {
        std::list<Event> events;
        result = EventListGetAll(filter, events);
        if (events.empty()) {
            break;
        }
        filter.afterId = events.back().GetId(); // what cannot be deleted is not offered twice
        if (DeleteMultiEvents(events, swept) != 0) {
            result = -1;
        }
    }
    deleted += swept;
    if (result != 0) {
        const std::string where = archTaskId >= 1 ? rotdb::Format("archive task [%d]", archTaskId) : "";
        VX_LOG(LOG_CATEG_ROTATE, LOG_LEVEL_ERR, "Error when delete %s mark_as_del events.\n", where.c_str());
    }
    if (count > 0) {
        VX_LOG_AS(LOG_TYPE_SWEEP, LOG_CATEG_ROTATE, LOG_LEVEL_INFO,
                  "[%d] mark_as_del events have been deleted.\n", swept);
    }
    return result;
} catch (const std::exception& e) {
    VX_LOG(LOG_CATEG_ROTATE, LOG_LEVEL_ERR, "Failed to delete marked events [%s].\n", e.what());
    return -1;
}
