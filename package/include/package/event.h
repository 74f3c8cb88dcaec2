// SPDX-License-Identifier: Apache-2.0
// package/event.h - one recorded event: a row of table "event", and the base of every other recorded item.
#pragma once

#include <cstdint>
#include <list>
#include <set>
#include <string>

#include "package/export.h"
#include "package/rectable.h"
#include "package/rotinfo.h"

struct DBResult_tag;

/// One recorded item.
///
/// In an archive task's own database (event_N.db) the column camera_id holds the task's id, the owner of the
/// event there, and rec_group is 0. A selection that the index serves names camera_id, rec_group and
/// mark_as_del.
/// Thread-safety: one thread at a time.
class VX_API Event {
public:
    Event() = default;
    Event(const Event&) = default;
    Event(Event&&) = default;
    Event& operator=(const Event&) = default;
    Event& operator=(Event&&) = default;
    virtual ~Event();

    /// Reads the columns of a row by their names; a column that is missing or NULL gives 0 or "".
    ///
    /// @return 0; -1 for a null result.
    virtual int PutRowIntoObj(DBResult_tag* result, unsigned int row);
    /// Which database the row came from, by the path of its file.
    void SetDBInfo(const std::string& dbPath);

    REC_KIND GetKind() const noexcept { return m_kind; }
    std::int64_t GetId() const noexcept { return m_id; }
    /// The owner: the camera; the archive task, time-lapse task or analytics task where there is one.
    int GetCamId() const noexcept { return m_ownerId; }
    int GetRecGroup() const noexcept { return m_recGroup; }
    /// The archive task of the database that the row came from; 0 for the box's own events.
    int GetArchTaskId() const noexcept { return m_archTaskId; }
    const std::string& GetDBPath() const noexcept { return m_dbPath; }
    std::int64_t GetStartTime() const noexcept { return m_startTime; }
    /// End; the start time of an event that was never closed.
    std::int64_t GetStopTime() const noexcept { return m_endTime > 0 ? m_endTime : m_startTime; }
    /// Whether the end is known.
    bool IsClosed() const noexcept { return m_endTime > 0; }
    /// The end as the camera itself counts it, for what was fetched from a camera's own storage; 0 for what
    /// this box recorded, which is what the recording counters count.
    std::int64_t GetCamSideEndTmMsec() const noexcept { return m_camEndMs; }
    std::int64_t GetSize() const noexcept { return m_size; }       ///< bytes
    const std::string& GetPath() const noexcept { return m_path; } ///< relative to rec/
    /// Whether the row takes part in rotation but is never shown, so that nobody is told of its end.
    bool IsForRotationOnly() const noexcept { return m_rotationOnly; }
    bool IsMarkAsDel() const noexcept { return m_markAsDel; }
    void SetMarkAsDel(bool mark) noexcept { m_markAsDel = mark; }
    /// When the recording counters were last changed for this event, seconds.
    std::int64_t GetRecCntTimestamp() const noexcept { return m_recCntTime; }
    void SetRecCntTimestamp(std::int64_t sec) noexcept { m_recCntTime = sec; }

    /// How logs and messages name the item: its path, or "event ID" without one.
    std::string MakeRecordId() const;

    // For whoever makes rows.
    void SetOwner(int ownerId, int recGroup = 0) noexcept
    {
        m_ownerId = ownerId;
        m_recGroup = recGroup;
    }
    void SetTimes(std::int64_t startTime, std::int64_t endTime) noexcept
    {
        m_startTime = startTime;
        m_endTime = endTime;
    }
    void SetCamSideEndTmMsec(std::int64_t ms) noexcept { m_camEndMs = ms; }
    void SetSize(std::int64_t bytes) noexcept { m_size = bytes; }
    void SetPath(const std::string& path) { m_path = path; }
    void SetForRotationOnly(bool only) noexcept { m_rotationOnly = only; }
    /// The statement that stores this new item and returns its "id".
    virtual std::string InsertSql() const;

protected:
    explicit Event(REC_KIND kind) noexcept : m_kind(kind) {}

private:
    REC_KIND m_kind = REC_KIND_EVENT;
    int m_ownerId = 0;
    int m_recGroup = 0;
    int m_archTaskId = 0;
    std::int64_t m_id = 0;
    std::int64_t m_startTime = 0;
    std::int64_t m_endTime = 0;
    std::int64_t m_camEndMs = 0;
    std::int64_t m_size = 0;
    std::int64_t m_recCntTime = 0;
    std::string m_path;
    std::string m_dbPath;
    bool m_rotationOnly = false;
    bool m_markAsDel = false;
};

/// Which events: all conditions that are set hold.
struct VX_API EventFilterParam {
    enum MARK { MARK_LIVE, MARK_DELETED, MARK_ANY };
    enum ORDER { ORDER_ID, ORDER_STOP_TIME };

    int archTaskId = 0;          ///< 1 and more: of that archive task's database
    int camId = 0;               ///< 1 and more: of that camera (task, in a task's database)
    int recGroup = -1;           ///< 0 and more: of that recording group
    std::int64_t stopBefore = 0; ///< above 0: end time before this; the end-time bound
    std::int64_t afterId = 0;    ///< above 0: with a larger id, for paging
    std::list<std::int64_t> ids; ///< not empty: these
    MARK mark = MARK_LIVE;
    ORDER order = ORDER_ID;
    int limit = 0; ///< above 0: at most so many

    /// The database file that it selects from.
    std::string GetDBPath() const;
    /// "WHERE ...", always with the mark's condition unless MARK_ANY.
    std::string GetWhereStr() const;
};

/// How many events the filter selects. @return 0; -1 (logged), `count` unchanged.
[[nodiscard]] VX_API int EventCntGetAll(const EventFilterParam& filter, long long& count) noexcept;

/// The events that the filter selects, in its order. @return 0; -1 (logged), `events` unchanged.
[[nodiscard]] VX_API int EventListGetAll(const EventFilterParam& filter, std::list<Event>& events) noexcept;

/// Marks the live events that the filter selects, oldest first in batches of 1000; counters, dispatcher,
/// listeners and bookmarks are told batch by batch.
///
/// Nothing is marked while the database and the volume of rec/ do not belong together, nor by a filter that
/// has neither an end-time bound nor ids.
/// @param info    what was marked is added; null: not wanted
/// @param notify  false: nobody is told (for rows that nobody was ever shown)
/// @param pRunFlag  when given, and not 1 or the system does not record, it ends after the batch, with 0
/// @return 0; -1 (logged), batches before stay marked and stand in `info`.
[[nodiscard]] VX_API int MarkEvtAsDel(const EventFilterParam& filter, RotInfo* info, bool notify = true,
                                      const volatile int* pRunFlag = nullptr) noexcept;

/// Deletes marked events: the file first, its row last, all rows of the call in one short
/// statement. A file that is gone is no error; a path that leads out of rec/, or through a link, is refused
/// and logged: its row stays marked, as does that of a file that cannot be unlinked.
/// Events that are not marked in the database are left alone.
///
/// @param deleted  the rows that went are added
/// @return 0; -1 (logged): a row stays (a further call would find it again: page by afterId), or the volume of
///         rec/ is not there.
[[nodiscard]] VX_API int DeleteMultiEvents(const std::list<Event>& events, int& deleted) noexcept;

/// Tells the message daemon that these events have changed.
VX_API void NotifyEventListUpdate(const std::list<Event>& events) noexcept;

/// Message kind of NotifyEventListUpdate(); "list" holds the owners, "ids" the events.
constexpr int MSGD_KIND_EVENT_LIST = 31;

/// An event that the recording counters count: owner and start time.
struct RecCountItem {
    int camId = 0;
    std::int64_t startTime = 0;
};

namespace RecordingCount {

/// Subtracts these events from the counters of that database: one count for each camera and UTC day.
/// Never below 0. @return 0; -1 (logged).
[[nodiscard]] VX_API int SubRecCounts(const std::string& dbPath,
                                      const std::list<RecCountItem>& items) noexcept;
/// The count of a camera's UTC day (seconds / 86400). @return -1 (logged) if it cannot be read.
VX_API long long GetRecCount(const std::string& dbPath, int camId, std::int64_t day) noexcept;
/// Counts the events of the database anew. @return 0; -1 (logged).
[[nodiscard]] VX_API int Recount(const std::string& dbPath) noexcept;

} // namespace RecordingCount

namespace AutoUpdate {

/// Notes for clients that fetch changes by serial number that these items have gone.
/// @return 0; -1 (logged).
VX_API int DispatchDeletedItems(const std::list<Event>& events) noexcept;

} // namespace AutoUpdate

namespace ArchTaskCommon {
/// Whether a database file is an archive task's own (event_N.db).
VX_API bool IsTaskDB(const std::string& dbPath) noexcept;
} // namespace ArchTaskCommon

namespace ArchPullUtils {
/// The task of an archive task's database file; 0 for any other.
VX_API int GetTaskId(const std::string& dbPath) noexcept;
} // namespace ArchPullUtils

/// Deletes the bookmarks of events of the box (archTaskId 0) or of an archive task.
/// @return 0; -1 (logged).
[[nodiscard]] VX_API int DeleteBookmarkMeta(int archTaskId, const std::list<Event>& events) noexcept;

/// Adds a bookmark to an event. @return 0; -1 (logged).
[[nodiscard]] VX_API int AddBookmark(int archTaskId, std::int64_t eventId, std::int64_t timeSec,
                                     const std::string& name) noexcept;
