// SPDX-License-Identifier: Apache-2.0
// vxrotateevt.h - rotation of camera events and archive events, and the sweep that deletes what was marked.
#pragma once

#include <list>
#include <string>

#include "package/camera.h"
#include "package/rectask.h"
#include "vxrotate.h"

/// The events of one recording group of a camera. They have no limit by number.
/// See VxRotEvtBase for errors and threads.
class VX_API VxRotEvt : public VxRotEvtBase {
public:
    VxRotEvt(const Camera& cam, long volBound, const volatile int& runFlag, VxRotLogger& logger,
             CAM_REC_GROUP group);
    ~VxRotEvt() override;

    int GetTargetId() const noexcept override { return m_camId; }
    int GetTaskId() const noexcept override { return m_camId; }
    std::string GetSqlWhere() const override;
    long GetRotBySizeBoundTime() const noexcept override { return GetOldestLeft(); }
    std::string GetTableName() const override;
    EventFilterParam GetRotByTimeParam(long boundTime) const override;
    /// Marks the recordings of tasks that run on the camera itself as well; what comes of that fails nothing.
    int DoRotateByDate() noexcept override;

private:
    int m_camId;
    CAM_REC_GROUP m_group;
};

/// The events of one archive task, in its own database.
class VX_API VxRotArchEvt : public VxRotEvtBase {
public:
    VxRotArchEvt(const ArchPullTask& task, long volBound, const volatile int& runFlag, VxRotLogger& logger);
    ~VxRotArchEvt() override;

    int GetTargetId() const noexcept override { return m_taskId; }
    int GetTaskId() const noexcept override { return m_taskId; }
    std::string GetSqlWhere() const override;
    long GetRotBySizeBoundTime() const noexcept override { return GetOldestLeft(); }
    std::string GetTableName() const override;
    EventFilterParam GetRotByTimeParam(long boundTime) const override;

private:
    int m_taskId;
};

/// Deletes marked events with their files: file first, row last, in lists of 1000.
///
/// @param runFlag     while it is 1 another list is begun; any other value is no failure
/// @param archTaskId  1 and more: of that archive task; else the box's own events
/// @param maxLists    lists of one call at most; 0 or less: all. For a daemon that does other work between
/// @param deleted     events that went are added
/// @return 0; -1 (logged): what could not be deleted stays marked for the next sweep
// Decision: the third number bounds the lists of one call.
[[nodiscard]] VX_API int DeleteMarkAsDelEvt(const volatile int& runFlag, int archTaskId, int maxLists,
                                            int& deleted) noexcept;
