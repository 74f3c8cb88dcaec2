// SPDX-License-Identifier: Apache-2.0
// package/rectask.h - tasks whose recordings are rotated: archive pulls, time-lapses, analytics and faces.
#pragma once

#include <list>
#include <string>

#include "package/export.h"
#include "package/rectable.h"
#include "package/rotlimits.h"

/// One task of any kind: a name, perhaps a camera, and limits. Thread-safety: one thread at a time.
class VX_API RecTask {
public:
    /// Kinds, each a table of the system database.
    enum KIND : int { ARCHIVE = 0, LAPSE = 1, IVA = 2, FACE = 3, KIND_COUNT = 4 };

    explicit RecTask(KIND kind) noexcept : m_kind(kind) {}

    /// @return 0; -1 when there is none (not logged) or it cannot be read (logged).
    [[nodiscard]] int Load(int id) noexcept;
    /// An id of 0 makes a new task, with an id that no recording has. @return 0; -1 (logged).
    [[nodiscard]] int Save() noexcept;
    /// Makes a task anew under its id, for its recordings, when the database that knew it was lost.
    /// @return 0; -1 (logged): another task of the kind has the id.
    [[nodiscard]] int Restore() noexcept;
    /// Removes the task; its recordings stay. @return 0; -1 (logged).
    [[nodiscard]] int Remove() noexcept;
    /// All tasks of a kind, by id. @return 0; -1 (logged), `tasks` unchanged.
    [[nodiscard]] static int List(KIND kind, std::list<RecTask>& tasks) noexcept;

    KIND GetKind() const noexcept { return m_kind; }
    /// The kind of its recordings.
    REC_KIND GetRecKind() const noexcept;
    int GetId() const noexcept { return m_id; }
    void SetId(int id) noexcept { m_id = id; }
    const std::string& GetName() const noexcept { return m_name; }
    void SetName(const std::string& name) { m_name = name; }
    int GetCamId() const noexcept { return m_camId; }
    void SetCamId(int camId) noexcept { m_camId = camId; }
    /// The folder that the recordings lie in, relative to rec/; "": rec/ itself.
    const std::string& GetSharePath() const noexcept { return m_sharePath; }
    void SetSharePath(const std::string& path) { m_sharePath = path; }
    /// Analytics only: it runs on the camera itself.
    bool IsOnCamera() const noexcept { return m_onCamera; }
    void SetOnCamera(bool on) noexcept { m_onCamera = on; }

    const RotLimits& GetLimits() const noexcept { return m_limits; }
    void SetLimits(const RotLimits& limits) noexcept { m_limits = limits; }
    bool IsRotateByDate() const noexcept { return m_limits.byDate; }
    int GetRotateDays() const noexcept { return m_limits.days; }
    bool IsRotateBySize() const noexcept { return m_limits.bySize; }
    int GetRotateSizeMB() const noexcept { return m_limits.sizeMB; }
    int GetRotateNum() const noexcept { return m_limits.num; }
    /// Megabytes of its live recordings now, a begun one counted as whole; 0 (logged) if it cannot be read.
    long long GetOccupiedSizeMB() const noexcept;
    /// The database of its recordings; an archive task has one of its own.
    std::string GetDBPath() const;

private:
    KIND m_kind;
    int m_id = 0;
    int m_camId = 0;
    std::string m_name;
    std::string m_sharePath;
    bool m_onCamera = false;
    RotLimits m_limits;
};

/// Fetches recordings of another recorder into a database of its own, event_N.db.
class ArchPullTask : public RecTask {
public:
    ArchPullTask() noexcept : RecTask(ARCHIVE) {}
};

/// Makes time-lapse recordings of a camera.
class TimeLapseTask : public RecTask {
public:
    TimeLapseTask() noexcept : RecTask(LAPSE) {}
};

/// Rotation settings of an analytics or face task.
class DvaCoreRotateSettings : public RecTask {
public:
    explicit DvaCoreRotateSettings(KIND kind = IVA) noexcept : RecTask(kind) {}
};
