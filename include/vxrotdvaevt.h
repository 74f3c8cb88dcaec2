// SPDX-License-Identifier: Apache-2.0
// vxrotdvaevt.h - rotation of the analytics recordings of one task.
#pragma once

#include <string>

#include "package/rectask.h"
#include "vxrotate.h"

/// See VxRotEvtBase for errors and threads.
class VX_API VxRotDvaEvt : public VxRotEvtBase {
public:
    /// @param pSettings  read at once, not kept; null: there is nothing to rotate
    /// @param name       how messages name the task
    VxRotDvaEvt(const DvaCoreRotateSettings* pSettings, long volBound, const volatile int& runFlag,
                VxRotLogger& logger, const std::string& name);
    ~VxRotDvaEvt() override;

    Event* GetEventPointer() const noexcept override;
    int GetTargetId() const noexcept override { return m_taskId; }
    int GetTaskId() const noexcept override { return m_taskId; }
    std::string GetSqlWhere() const override;
    long GetRotBySizeBoundTime() const noexcept override { return GetOldestLeft(); }
    std::string GetTableName() const override;
    int MarkEvtToDel(long boundTime, RotInfo& info) noexcept override;
    int RemoveEventsBySizeWithUpperbound(double sizeMB, int upperbound, RotInfo& info) noexcept override;

private:
    int m_taskId;
};
