// SPDX-License-Identifier: Apache-2.0
// vxrotatelogger.h - what many passes removed: gathered, written to the users' log, announced.
//
// The daemon makes one logger a kind of target, lets every rotator of a run report into it, then calls Log()
// and FlushNotify(). An entry of the log tells one target and one limit. Its arguments: the target's name, how
// many were removed, and a JSON object with "camName" (the name), "count", "limit" ("size", "volume", "date",
// "number") and "fileList" (the names of what was removed, the newest MAX_LISTED of each owner).
#pragma once

#include <array>
#include <ctime>
#include <list>
#include <map>
#include <set>
#include <string>

#include "package/export.h"
#include "package/rotinfo.h"
#include "package/userlog.h"

class ArchPullTask;
class Camera;
class DvaCoreRotateSettings;
class TimeLapseTask;

/// Kinds of targets.
enum EVT_TYPE : int {
    EVT_TYPE_CAMERA = 0,    ///< camera events
    EVT_TYPE_ARCHIVE = 1,   ///< events of archive tasks
    EVT_TYPE_LAPSE = 2,     ///< time-lapse recordings
    EVT_TYPE_DVA = 3,       ///< analytics recordings
    EVT_TYPE_FACE = 4,      ///< captured faces
    EVT_TYPE_ALERT = 5,     ///< alert events
    EVT_TYPE_BOOKMARK = 6,  ///< bookmarks
    EVT_TYPE_DETECTION = 7, ///< detection events
};

/// Kinds of entries: the limit that was passed.
enum VX_LOG_TYPE : int {
    VX_LOG_TYPE_BY_SIZE = 0,
    VX_LOG_TYPE_BY_VOL_SPACE = 1,
    VX_LOG_TYPE_BY_DATE = 2,
    VX_LOG_TYPE_BY_NUM = 3,
};
constexpr int VX_LOG_TYPE_COUNT = 4;

/// Message kind that tells of rotated targets: "ids" are the targets, "flag" is their EVT_TYPE.
constexpr int MSGD_KIND_ROTATED = 40;

/// The logger of camera events, and what all kinds have in common.
///
/// Log:           category 49.
/// Thread-safety: one thread at a time.
class VX_API VxRotLogger {
public:
    using NameLists = IdNameListMap;

    static constexpr std::size_t MAX_LISTED = 500;   ///< names that are kept of one owner and limit
    static constexpr std::size_t MAX_PENDING = 1000; ///< entries that wait while the log cannot be written
    static constexpr int LOG_PERIOD_SEC = 60;        ///< Log() writes at most so often
    static constexpr int NOTIFY_PERIOD_SEC = 60;     ///< a target is announced at most so often

    explicit VxRotLogger(EVT_TYPE type) noexcept : m_type(type) {}
    virtual ~VxRotLogger();
    VxRotLogger(const VxRotLogger&) = delete;
    VxRotLogger& operator=(const VxRotLogger&) = delete;

    /// Adds what a pass removed of a target, and to the totals.
    void UpdDelCnt(int targetId, int bySize, int byVolSpace, int byDate, int byNum) noexcept;
    /// Adds to the totals alone.
    void UpdTotalDelCnt(int bySize, int byVolSpace, int byDate, int byNum) noexcept;
    /// Takes the names of what was removed; a null list is passed over. The lists are empty then.
    void UpdCamDelList(int id, NameLists* bySize, NameLists* byVolSpace, NameLists* byDate,
                       NameLists* byNum) noexcept;
    /// Drops the oldest names beyond MAX_LISTED; the counts keep them.
    void CheckDelListSize() noexcept;

    /// Writes what was gathered, unless that was done less than LOG_PERIOD_SEC ago.
    void Log() noexcept;
    /// Writes at once what was gathered of one target: `id` as it was counted, `taskId` as it was listed.
    void Log(int id, int taskId) noexcept;
    /// Writes what is pending, now. @return 0; -1 (logged): it stays pending
    int FlushLog() noexcept;
    /// Writes what is pending of the types that are set, and clears those. @return 0; -1 (logged)
    int FlushLog(std::map<VX_LOG_TYPE, bool>& types) noexcept;

    /// Enters a camera into the next notification, unless it was announced just now.
    void Notify(const Camera& camera) noexcept;
    /// A target was announced at `time`; it is no longer to be announced.
    void ResetNotiInfo(int id, long time) noexcept;
    /// Announces the entered targets to the message daemon.
    void FlushNotify() noexcept;

    /// Forgets counts, lists and what is pending.
    void ResetLogInfo() noexcept;
    /// The next Log() writes.
    void ResetLastLogTime() noexcept { m_lastLogTime = 0; }

    /// Removed since ResetLogInfo().
    int TotalDelCnt(VX_LOG_TYPE type) const noexcept { return m_total[static_cast<std::size_t>(type)]; }

protected:
    /// One entry that is to be written.
    struct Entry {
        int id = 0; ///< target
        VX_LOG_TYPE type = VX_LOG_TYPE_BY_SIZE;
        int count = 0;
        std::list<std::string> names;
    };

    /// The writer of the kind. @return 0; -1 (logged)
    virtual int DoFlushLog(const std::list<Entry>& entries) noexcept;
    /// The name that an entry shows. @return false (logged) when the target is gone
    virtual bool GetTargetName(int id, std::string& name) const noexcept;
    /// @return 0; -1 (logged): the targets stay entered
    virtual int DoSendNotification(const std::list<int>& ids) noexcept;

    void AddNotification(int id) noexcept;
    int WriteEntries(const std::list<Entry>& entries, Vx_LOG_LEVEL level) noexcept;
    /// One entry a limit for all targets together.
    int WriteSums(const std::list<Entry>& entries) noexcept;

private:
    using Counts = std::array<int, VX_LOG_TYPE_COUNT>;
    struct Target {
        Counts counts{};
        std::array<NameLists, VX_LOG_TYPE_COUNT> names;
    };

    void Collect(int id);
    void CollectAll();
    int WritePending(const std::map<VX_LOG_TYPE, bool>* pTypes);

    EVT_TYPE m_type;
    std::map<int, Target> m_targets;
    Counts m_total{};
    std::list<Entry> m_pending;
    std::set<int> m_toNotify;
    std::map<int, long> m_lastNotified;
    std::time_t m_lastLogTime = 0;
};

/// Events of archive tasks.
class VX_API VxArchiveRotLogger : public VxRotLogger {
public:
    VxArchiveRotLogger() noexcept : VxRotLogger(EVT_TYPE_ARCHIVE) {}
    ~VxArchiveRotLogger() override;
    using VxRotLogger::Log;
    /// Writes at once what was gathered of a task, and enters it into the next notification.
    void Log(const ArchPullTask& task) noexcept;

protected:
    bool GetTargetName(int id, std::string& name) const noexcept override;
};

/// Time-lapse recordings.
class VX_API VxLapseRotLogger : public VxRotLogger {
public:
    VxLapseRotLogger() noexcept : VxRotLogger(EVT_TYPE_LAPSE) {}
    ~VxLapseRotLogger() override;
    using VxRotLogger::Log;
    /// Writes at once what was gathered of a task, and enters it into the next notification.
    void Log(const TimeLapseTask& task) noexcept;

protected:
    bool GetTargetName(int id, std::string& name) const noexcept override;
};

/// Analytics recordings.
class VX_API VxDvaRotLogger : public VxRotLogger {
public:
    VxDvaRotLogger() noexcept : VxRotLogger(EVT_TYPE_DVA) {}
    ~VxDvaRotLogger() override;
    void Notify(const DvaCoreRotateSettings& task) noexcept;

protected:
    bool GetTargetName(int id, std::string& name) const noexcept override;
    int DoSendNotification(const std::list<int>& ids) noexcept override;
};

/// Captured faces.
class VX_API VxFaceRotLogger : public VxRotLogger {
public:
    VxFaceRotLogger() noexcept : VxRotLogger(EVT_TYPE_FACE) {}
    ~VxFaceRotLogger() override;
    void Notify(const DvaCoreRotateSettings& task) noexcept;

protected:
    bool GetTargetName(int id, std::string& name) const noexcept override;
    int DoSendNotification(const std::list<int>& ids) noexcept override;
};

/// Bookmarks: one entry a run for all cameras together.
class VX_API VxBookmarkRotLogger : public VxRotLogger {
public:
    VxBookmarkRotLogger() noexcept : VxRotLogger(EVT_TYPE_BOOKMARK) {}
    ~VxBookmarkRotLogger() override;

protected:
    int DoFlushLog(const std::list<Entry>& entries) noexcept override;
};

/// Detection events: one entry a run and limit, without names.
class VX_API VxDetectionEventRotLogger : public VxRotLogger {
public:
    VxDetectionEventRotLogger() noexcept : VxRotLogger(EVT_TYPE_DETECTION) {}
    ~VxDetectionEventRotLogger() override;

protected:
    int DoFlushLog(const std::list<Entry>& entries) noexcept override;
};
