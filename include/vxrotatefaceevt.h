// SPDX-License-Identifier: Apache-2.0
// vxrotatefaceevt.h - rotation of the captured faces of one task, through the face-result service.
#pragma once

#include <set>
#include <string>

#include "package/rectask.h"
#include "vxrotate.h"

/// See VxRotEvtBase for errors and threads.
class VX_API VxRotFaceEvt : public VxRotEvtBase {
public:
    /// @param pSettings  read at once, not kept; null: there is nothing to rotate
    /// @param name       how messages name the task
    VxRotFaceEvt(DvaCoreRotateSettings* pSettings, long volBound, const volatile int& runFlag,
                 VxRotLogger& logger, const std::string& name);
    ~VxRotFaceEvt() override;

    int GetTargetId() const noexcept override { return m_taskId; }
    int GetTaskId() const noexcept override { return m_taskId; }
    std::string GetSqlWhere() const override;
    long GetRotBySizeBoundTime() const noexcept override { return GetOldestLeft(); }
    std::string GetTableName() const override;
    /// 0: faces are not rotated by number through the generic count.
    long long GetRotatableEvtCount() const noexcept override { return 0; }
    int MarkEvtToDel(long boundTime, RotInfo& info) noexcept override;
    int RemoveEventsBySizeWithUpperbound(double sizeMB, int upperbound, RotInfo& info) noexcept override;
    int RemoveEventsFromDBByNumWithUpperbound(long long num, int upperbound, RotInfo& info) noexcept override;

    /// Deletes faces by id. @param failed  those that are not there or could not be deleted are added
    /// @return 0; -1 (logged)
    int DeleteCapturedFace(const std::set<int>& ids, std::set<int>& failed, RotInfo* info) noexcept;
    /// Walks the task's oldest faces, `upperbound` at most, until their sizes reach `sizeMB`; the face that
    /// reaches it is included.
    ///
    /// @param info   count and megabytes of the faces walked are added
    /// @param bound  time before which all of them were captured; unchanged without one
    /// @param ids    the faces walked are added
    /// @return 0; -1 (logged)
    int EstimateTimeboundBySizeToDel(long long sizeMB, int upperbound, RotInfo& info, long& bound,
                                     std::set<int>& ids) noexcept;

private:
    int m_taskId;
};
