// SPDX-License-Identifier: Apache-2.0
// package/camera.h - the cameras that this box knows, and how long each one's recordings are kept.
#pragma once

#include <list>
#include <set>
#include <string>

#include "package/export.h"
#include "package/recgroup.h"
#include "package/rotinfo.h"
#include "package/rotlimits.h"

/// The ids of all cameras.
///
/// @param ids  replaced on 0, unchanged on -1
/// @return 0; -1 (logged).
/// Thread-safety: any thread.
[[nodiscard]] VX_API int GetAllCameraIds(std::set<int>& ids) noexcept;

/// One camera. Thread-safety: one thread at a time.
class VX_API Camera {
public:
    /// @return 0; -1 when there is none (not logged) or it cannot be read (logged).
    [[nodiscard]] int Load(int id) noexcept;
    /// Stores name, switch and limits; an id of 0 makes a new camera, with an id that no recording has.
    /// @return 0; -1 (logged).
    [[nodiscard]] int Save() noexcept;
    /// Makes a camera anew under its id, for its recordings, when the database that knew it was lost.
    /// @return 0; -1 (logged): another camera has the id.
    [[nodiscard]] int Restore() noexcept;
    /// Removes the record of the camera; its recordings stay. @return 0; -1 (logged).
    [[nodiscard]] static int Remove(int id) noexcept;

    int GetId() const noexcept { return m_id; }
    void SetId(int id) noexcept { m_id = id; }
    const std::string& GetName() const noexcept { return m_name; }
    void SetName(const std::string& name) { m_name = name; }
    bool IsEnabled() const noexcept { return m_enabled; }
    void SetEnabled(bool on) noexcept { m_enabled = on; }

    /// A group that a row names but no camera has is without limits.
    const RotLimits& GetLimits(CAM_REC_GROUP group) const noexcept;
    void SetLimits(CAM_REC_GROUP group, const RotLimits& limits) noexcept;
    bool IsRotateByDate(CAM_REC_GROUP group) const noexcept { return GetLimits(group).byDate; }
    int GetRotateDays(CAM_REC_GROUP group) const noexcept { return GetLimits(group).days; }
    bool IsRotateBySize(CAM_REC_GROUP group) const noexcept { return GetLimits(group).bySize; }
    int GetRotateSizeMB(CAM_REC_GROUP group) const noexcept { return GetLimits(group).sizeMB; }
    /// Megabytes of the group's live events now, a begun one counted as whole; 0 (logged) if it cannot be
    /// read.
    long long GetOccupiedSizeMB(CAM_REC_GROUP group) const noexcept;

private:
    int m_id = 0;
    std::string m_name;
    bool m_enabled = true;
    RotLimits m_limits[CAM_REC_GROUP_COUNT];
};

/// The analytics tasks that run on the camera itself, for a camera that is a recorder too.
/// @param ids  replaced on 0, unchanged on -1
/// @return 0; -1 (logged).
[[nodiscard]] VX_API int GetOrvoCamTaskIds(int camId, std::list<int>& ids) noexcept;

/// Marks a camera's own task's recordings older than a time. @return 0; -1 (logged).
/// @param pRunFlag  when given and not 1, marking ends after its batch, with 0
[[nodiscard]] VX_API int MarkOrvoCamEvtToDel(int taskId, long boundTime, RotInfo* info,
                                             const volatile int* pRunFlag = nullptr) noexcept;
