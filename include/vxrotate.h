// SPDX-License-Identifier: Apache-2.0
// vxrotate.h - one pass of rotation over one target: what lies beyond its limits is marked, oldest first.
//
//     VxRotLogger logger(EVT_TYPE_CAMERA);
//     VxRotEvt rotator(camera, 0, g_runFlag, logger, CAM_REC_GROUP_NORMAL);
//     rotator.Start();
//
// A pass marks rows; it touches no file. The sweep (DeleteMarkAsDelEvt) removes files and rows afterwards.
//
//   step  limit              in force when   what goes
//   1     volume bound time  > 0             everything that ended before it
//   2     days               > 0             everything that ended longer ago
//   3     size in MB         > 0             the oldest, up to and with the item that crosses the excess
//   4     number             > 0             the oldest of the excess
//
// The steps that are in force run in this order; the first that fails ends the pass. Nothing is rolled back.
// All messages: category 49.
#pragma once

#include <cstdint>
#include <functional>
#include <list>
#include <string>

#include "package/event.h"
#include "package/export.h"
#include "package/rotinfo.h"
#include "package/rotlimits.h"

class VxRotLogger;

/// A pass in the abstract. An object lives for one pass over one target.
///
/// Errors:        every step returns 0 or -1 (logged where it happens); rows already marked stay marked.
/// Thread-safety: one thread an object. The run flag may be written by any thread meanwhile: with another
///                value than 1 each loop ends after its current batch, which is no failure.
class VX_API VxRotEvtBase {
public:
    /// Rows of one batch at most.
    static constexpr int BATCH_ROWS = 1000;

    /// @param volSpaceBoundTime  when positive, what ended before it goes; beyond 32 bits: the last second
    /// @param runFlag, logger    borrowed; outlive the object
    VxRotEvtBase(long volSpaceBoundTime, const volatile int& runFlag, VxRotLogger& logger) noexcept;
    VxRotEvtBase(const VxRotEvtBase&) = delete;
    VxRotEvtBase& operator=(const VxRotEvtBase&) = delete;

    // Slots in the order that every build shares.
    virtual ~VxRotEvtBase();
    /// A new, empty record of the target's kind; the caller's to delete. Null when memory runs out.
    virtual Event* GetEventPointer() const noexcept;
    /// The id of the target; below 1 there is nothing to rotate.
    virtual int GetTargetId() const noexcept = 0;
    /// The id under which the logger files the results.
    virtual int GetTaskId() const noexcept = 0;
    /// The clause, "WHERE" included, that selects the rows that may go.
    virtual std::string GetSqlWhere() const = 0;
    /// What is older than this goes as well after a size step; 0: nothing more.
    virtual long GetRotBySizeBoundTime() const noexcept = 0;
    virtual std::string GetTableName() const = 0;
    /// The filter for the target's rows that ended before `boundTime`.
    virtual EventFilterParam GetRotByTimeParam(long boundTime) const;
    /// Rows that the clause selects; -1 (logged) when they cannot be counted.
    virtual long long GetRotatableEvtCount() const noexcept;
    /// Marks every row that ended before `boundTime`. @return 0; -1 (logged)
    virtual int MarkEvtToDel(long boundTime, RotInfo& info) noexcept;
    virtual int DoRotateByDate() noexcept;
    /// One batch of the size step: the oldest rows, `upperbound` at most, until `sizeMB` are reached.
    virtual int RemoveEventsBySizeWithUpperbound(double sizeMB, int upperbound, RotInfo& info) noexcept;
    /// One batch of the number step: the oldest min(num, upperbound) rows.
    virtual int RemoveEventsFromDBByNumWithUpperbound(long long num, int upperbound, RotInfo& info) noexcept;

    /// One pass. @return 0 done and told to the logger; 1 failed, nothing told; 2 no target, nothing done
    int Start() noexcept;
    void Stop() noexcept;
    /// The four steps. @return 0; -1 at the first that fails
    int DoRotate() noexcept;
    int DoRotateByVolSpace() noexcept;
    int DoRotateBySize() noexcept;
    int DoRotateByNum() noexcept;

    // The removal loops. `info` gathers what was removed, also on -1.
    int RemoveEventsFromDBByTime(long boundTime, RotInfo& info) noexcept;
    int RemoveEventsFromDBBySize(double sizeMB, RotInfo& info) noexcept;
    int RemoveEventsFromDBByNum(long long num, RotInfo& info) noexcept;

    /// Whether another batch may begin: the run flag is exactly 1 and the system records.
    bool IsDoRotate() const noexcept;

    const RotInfo& ByDate() const noexcept { return m_byDate; }
    const RotInfo& BySize() const noexcept { return m_bySize; }
    const RotInfo& ByVolSpace() const noexcept { return m_byVolSpace; }
    const RotInfo& ByNum() const noexcept { return m_byNum; }
    int DaysLimit() const noexcept { return m_daysLimit; }
    int SizeLimitMB() const noexcept { return m_sizeLimitMB; }
    int NumLimit() const noexcept { return m_numLimit; }
    std::uint64_t TotalSizeMB() const noexcept { return m_totalSizeMB; }
    const std::string& DbPath() const noexcept { return m_dbPath; }

protected:
    /// Sets the size before the pass and as it stands now.
    void SetOccupiedSizeMB(long long sizeMB) noexcept
    {
        m_initialSizeMB = m_totalSizeMB = sizeMB > 0 ? static_cast<std::uint64_t>(sizeMB) : 0;
    }
    /// Takes over the limits that are switched on.
    void SetLimits(const RotLimits& limits) noexcept
    {
        m_daysLimit = limits.byDate ? limits.days : 0;
        m_sizeLimitMB = limits.bySize ? limits.sizeMB : 0;
        m_numLimit = limits.num;
    }

    std::int32_t m_daysLimit = 0;
    std::int32_t m_sizeLimitMB = 0;
    std::int32_t m_numLimit = 0;
    std::int32_t m_volSpaceBoundTime;
    std::uint64_t m_initialSizeMB = 0;
    std::uint64_t m_totalSizeMB = 0;
    std::string m_dbPath; ///< database that holds the target's table
    std::string m_name;   ///< for the concrete rotator
    RotInfo m_byDate;
    RotInfo m_bySize;
    RotInfo m_byVolSpace;
    RotInfo m_byNum;
    const volatile int& m_runFlag;
    VxRotLogger& m_logger;

    /// Marks batch by batch until nothing is left, or the pass is to stop.
    ///
    /// @param mark  marks at most so many of the oldest rows and fills the RotInfo of its batch; 0, or -1 (logged)
    /// @return 0; -1 when a batch failed. `info` has what was marked
    int MarkInBatches(RotInfo& info, const std::function<int(int limit, RotInfo& batch)>& mark);
    /// The ids of the target's oldest rows, `upperbound` at most, until their sizes reach `sizeMB`; the row that
    /// reaches it is included. @return 0; -1 (logged)
    int ChooseOldest(double sizeMB, int upperbound, std::list<std::int64_t>& ids, long long& bytes) const;
    /// The start time of the oldest row that may still go; 0 without one, -1 (logged).
    long GetOldestLeft() const noexcept;
    /// Whole megabytes of a batch of the size step, with what the batches before it left over.
    long long TakeMegabytes(long long bytes) noexcept;

private:
    long long m_restBytes = 0;

    /// Takes what a step removed off the occupied size, never below 0.
    void SubtractRemoved(const RotInfo& info) noexcept;
};

// The generic queries over a table and a WHERE clause. `dbPath` names the file of the database; empty: the one
// that holds the table on a box without archive tasks.

/// @return how many rows `where` selects; -1 (logged)
VX_API long long GetRotatableCount(const std::string& table, const std::string& where,
                                   const std::string& dbPath = {}) noexcept;

/// The start time before which everything can go when the `num` newest rows are to be kept.
///
/// @return 0 when there are not so many rows; -1 (logged)
VX_API long GetRotBoundTimeFromRetainNum(const std::string& table, const std::string& where, int num,
                                         const std::string& dbPath = {}) noexcept;

/// The start time of the oldest row.
///
/// @param index  name of the index to use; empty: the database's choice
/// @return 0 when there is no row; -1 (logged)
VX_API long GetOldestStartTime(const std::string& table, const std::string& index, const std::string& where,
                               const std::string& dbPath = {}) noexcept;

/// Now less so many days of 86400 s, brought into order by the local calendar. Never overflows: a bound before
/// 1970 is 0.
VX_API long GetBoundTimeOfDays(int days) noexcept;
