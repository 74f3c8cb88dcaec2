// SPDX-License-Identifier: Apache-2.0
// utils/taskrotateutils.cpp - looking at the limits of analytics and face tasks.
#include "taskrotateutils.h"

#include <exception>
#include <list>

#include "dvasetting.h"
#include "facesetting.h"
#include "package/dbrows.h"
#include "package/ivaevent.h"
#include "package/recsweep.h"
#include "vxdb.h"
#include "vxlog.h"
#include "vxrotate.h"

namespace {

/// What a look needs of a task.
struct TaskLimits {
    int id = 0;
    int days = 0;   ///< 0 or less: no limit
    int sizeMB = 0; ///< 0 or less: no limit
};

TaskLimits LimitsOf(const DvaSetting& task)
{
    return {task.Get<DVA_SETTING_ID>(),
            task.Get<DVA_SETTING_ROT_BY_DATE>() != 0 ? task.Get<DVA_SETTING_ROT_DAYS>() : 0,
            task.Get<DVA_SETTING_ROT_BY_SIZE>() != 0 ? task.Get<DVA_SETTING_ROT_SIZE_MB>() : 0};
}

TaskLimits LimitsOf(const FaceSetting& task)
{
    return {task.Get<FACE_SETTING_ID>(),
            task.Get<FACE_SETTING_ROT_BY_DATE>() != 0 ? task.Get<FACE_SETTING_ROT_DAYS>() : 0,
            task.Get<FACE_SETTING_ROT_BY_SIZE>() != 0 ? task.Get<FACE_SETTING_ROT_SIZE_MB>() : 0};
}

template <typename Event>
constexpr REC_KIND KIND_OF = REC_KIND_IVA;
template <>
constexpr REC_KIND KIND_OF<FaceEvent> = REC_KIND_FACE;

/// @return 0; -1 when the statement failed or no task records into the share
template <typename Settings>
int LoadTasks(const std::string& sharePath, std::list<TaskLimits>& tasks)
{
    VxDB::SqlExpr sql;
    sql << "SELECT * FROM " << Settings::Traits::TABLE << " WHERE share_path = " << VxDB::Value(sharePath);
    VxDB::Rows rows;
    if (VxDB::Execute(Settings::Traits::DBI, sql.str(), rows.Out()) != 0) {
        return -1;
    }
    for (unsigned int row = 0; rows.Next(row);) {
        Settings task;
        task.FromSqlResult(rows.Get(), row);
        tasks.push_back(LimitsOf(task));
    }
    return tasks.empty() ? -1 : 0;
}

LIMIT_CHECK_STATUS CheckTask(REC_KIND kind, const TaskLimits& task)
{
    const long bound = task.days > 0 ? GetBoundTimeOfDays(task.days) : 0;
    bool isTooOld = false;
    if (bound > 0 && GetRecViolateDateLimit(kind, task.id, bound, isTooOld) != 0) {
        return LIMIT_CHECK_FAILED;
    }
    if (isTooOld) {
        return LIMIT_CHECK_DATE;
    }
    long long sizeMB = 0;
    if (task.sizeMB > 0 && GetTotalRecordSize(kind, task.id, sizeMB) != 0) {
        return LIMIT_CHECK_FAILED;
    }
    return task.sizeMB > 0 && sizeMB > task.sizeMB ? LIMIT_CHECK_SIZE : LIMIT_CHECK_OK;
}

} // namespace

template <typename Settings, typename Event>
LIMIT_CHECK_STATUS CheckTaskSpaceOrDateExceedsLimit(const std::string& sharePath) noexcept
try {
    std::list<TaskLimits> tasks;
    if (LoadTasks<Settings>(sharePath, tasks) != 0) {
        VX_LOG(LOG_CATEG_ROTATE, LOG_LEVEL_ERR, "Failed to load Face rotate setting.\n");
        return LIMIT_CHECK_FAILED;
    }
    for (const TaskLimits& task : tasks) {
        const LIMIT_CHECK_STATUS status = CheckTask(KIND_OF<Event>, task);
        if (status != LIMIT_CHECK_OK) {
            return status;
        }
    }
    return RecDirSpcChecker::IsRecordingShareReachLimit(sharePath) ? LIMIT_CHECK_SIZE : LIMIT_CHECK_OK;
} catch (const std::exception& e) {
    VX_LOG(LOG_CATEG_ROTATE, LOG_LEVEL_ERR, "Failed to check limits of [%s]: %s.\n", sharePath.c_str(),
           e.what());
    return LIMIT_CHECK_FAILED;
}

template VX_API LIMIT_CHECK_STATUS
CheckTaskSpaceOrDateExceedsLimit<DvaSetting, IVAEvent>(const std::string& sharePath) noexcept;
template VX_API LIMIT_CHECK_STATUS
CheckTaskSpaceOrDateExceedsLimit<FaceSetting, FaceEvent>(const std::string& sharePath) noexcept;
