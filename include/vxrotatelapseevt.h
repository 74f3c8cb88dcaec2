// SPDX-License-Identifier: Apache-2.0
// vxrotatelapseevt.h - rotation of the time-lapse recordings of one task.
#pragma once

#include <string>

#include "package/rectask.h"
#include "vxrotate.h"

/// See VxRotEvtBase for errors and threads.
class VX_API VxRotLapseEvt : public VxRotEvtBase {
public:
    VxRotLapseEvt(const TimeLapseTask& task, long volBound, const volatile int& runFlag, VxRotLogger& logger);
    ~VxRotLapseEvt() override;

    int GetTargetId() const noexcept override { return m_taskId; }
    int GetTaskId() const noexcept override { return m_taskId; }
    std::string GetSqlWhere() const override;
    long GetRotBySizeBoundTime() const noexcept override;
    std::string GetTableName() const override;
    int MarkEvtToDel(long boundTime, RotInfo& info) noexcept override;
    int RemoveEventsBySizeWithUpperbound(double sizeMB, int upperbound, RotInfo& info) noexcept override;

private:
    int m_taskId;
};
