// SPDX-License-Identifier: Apache-2.0
// rotate/vxrotate.cpp - the pass: its four steps, their loops, and one batch of rows that share a table.
#include "vxrotate.h"

#include <exception>
#include <memory>
#include <new>
#include <utility>

#include "package/ivaevent.h"
#include "package/lapserec.h"
#include "package/monoclock.h"
#include "package/recsweep.h"
#include "rotdb_internal.h"
#include "vxdb.h"
#include "vxlog.h"
#include "vxrotatelogger.h"

using rotdb::ClampToInt;
using rotdb::Format;
using rotdb::Rows;

namespace {

/// Merges the second part into the first: counts and sizes added, lists moved.
void Merge(RotInfo& info, RotInfo& more)
{
    info.count += more.count;
    info.sizeMB += more.sizeMB;
    IdNameListMapMoveMerge(info.camDelList, more.camDelList);
    IdNameListMapCap(info.camDelList);
}

/// The file of the database that holds a table when none is named.
std::string DefaultDbPath(const std::string& table)
{
    const std::pair<const char*, VxDB::DB_INSTANCE> HOMES[] = {
        {gszTableLapseRecording, VxDB::DB_LAPSE},
        {gszTableIVARecording, VxDB::DB_DVA},
        {gszTableFaceRecording, VxDB::DB_FACE},
        {gszTableAlertEvent, VxDB::DB_ALERT},
    };
    for (const auto& [name, instance] : HOMES) {
        if (table == name) {
            return VxDB::GetDBPath(instance);
        }
    }
    return VxDB::GetDBPath(VxDB::DB_EVENT);
}

/// Runs a query for one number. @return 0; 1 without a row; -1 (logged)
int QueryNumber(const std::string& dbPath, const std::string& sql, const char* column, long long& number)
{
    Rows rows;
    if (VxDB::Executep(dbPath, sql, rows.Out()) != 0) {
        return -1; // has logged
    }
    unsigned int row = 0;
    if (!rows.Next(row)) {
        return 1;
    }
    const char* const text = VxDBFetchField(rows.Get(), row, column);
    number = text != nullptr ? std::strtoll(text, nullptr, 10) : 0;
    return 0;
}

long QueryTime(const std::string& dbPath, const std::string& sql)
{
    long long time = 0;
    const int status = QueryNumber(dbPath, sql, "start_time", time);
    return status < 0 ? -1 : status > 0 ? 0 : static_cast<long>(ClampToInt(time));
}

} // namespace

// ---- queries over a table and a clause

long long GetRotatableCount(const std::string& table, const std::string& where,
                            const std::string& dbPath) noexcept
try {
    const std::string sql = Format("SELECT COUNT(*) AS count FROM %s %s", table.c_str(), where.c_str());
    long long count = 0;
    return QueryNumber(dbPath.empty() ? DefaultDbPath(table) : dbPath, sql, "count", count) == 0 ? count : -1;
} catch (const std::exception& e) {
    VX_LOG(LOG_CATEG_ROTATE, LOG_LEVEL_ERR, "Failed to count rows of [%s]: %s.\n", table.c_str(), e.what());
    return -1;
}

long GetRotBoundTimeFromRetainNum(const std::string& table, const std::string& where, int num,
                                  const std::string& dbPath) noexcept
try {
    return QueryTime(dbPath.empty() ? DefaultDbPath(table) : dbPath,
                     Format("SELECT start_time FROM %s %s ORDER BY start_time DESC LIMIT 1 OFFSET %d",
                            table.c_str(), where.c_str(), num));
} catch (const std::exception& e) {
    VX_LOG(LOG_CATEG_ROTATE, LOG_LEVEL_ERR, "Failed to get bound time of [%s]: %s.\n", table.c_str(),
           e.what());
    return -1;
}

long GetOldestStartTime(const std::string& table, const std::string& index, const std::string& where,
                        const std::string& dbPath) noexcept
try {
    const std::string clause = index.empty() ? "" : " INDEXED BY " + index;
    return QueryTime(dbPath.empty() ? DefaultDbPath(table) : dbPath,
                     Format("SELECT start_time FROM %s %s %s ORDER BY start_time LIMIT 1", table.c_str(),
                            clause.c_str(), where.c_str()));
} catch (const std::exception& e) {
    VX_LOG(LOG_CATEG_ROTATE, LOG_LEVEL_ERR, "Failed to get oldest time of [%s]: %s.\n", table.c_str(),
           e.what());
    return -1;
}

// ---- a pass

VxRotEvtBase::VxRotEvtBase(long volSpaceBoundTime, const volatile int& runFlag, VxRotLogger& logger) noexcept
    : m_volSpaceBoundTime(ClampToInt(volSpaceBoundTime)), m_runFlag(runFlag), m_logger(logger)
{}

VxRotEvtBase::~VxRotEvtBase() = default;

Event* VxRotEvtBase::GetEventPointer() const noexcept
{
    return new (std::nothrow) Event;
}

EventFilterParam VxRotEvtBase::GetRotByTimeParam(long boundTime) const
{
    EventFilterParam filter;
    filter.stopBefore = boundTime;
    return filter;
}

long long VxRotEvtBase::GetRotatableEvtCount() const noexcept
try {
    return GetRotatableCount(GetTableName(), GetSqlWhere(), m_dbPath);
} catch (const std::exception& e) {
    VX_LOG(LOG_CATEG_ROTATE, LOG_LEVEL_ERR, "Failed to count events [%s].\n", e.what());
    return -1;
}

int VxRotEvtBase::MarkEvtToDel(long boundTime, RotInfo& info) noexcept
try {
    return MarkEvtAsDel(GetRotByTimeParam(boundTime), &info, true, &m_runFlag);
} catch (const std::exception& e) {
    VX_LOG(LOG_CATEG_ROTATE, LOG_LEVEL_ERR, "Failed to mark events [%s].\n", e.what());
    return -1;
}

int VxRotEvtBase::Start() noexcept
try {
    if (GetTargetId() < 1) {
        return 2;
    }
    VX_LOG(LOG_CATEG_ROTATE, LOG_LEVEL_DEBUG, "Start event rotation [%s]\n", GetBaseName(m_dbPath).c_str());
    if (DoRotate() != 0) {
        return 1;
    }
    m_logger.UpdDelCnt(GetTargetId(), m_bySize.count, m_byVolSpace.count, m_byDate.count, m_byNum.count);
    // What the number step removed is counted but not listed.
    m_logger.UpdCamDelList(GetTaskId(), &m_bySize.camDelList, &m_byVolSpace.camDelList, &m_byDate.camDelList,
                           nullptr);
    return 0;
} catch (const std::exception& e) {
    VX_LOG(LOG_CATEG_ROTATE, LOG_LEVEL_ERR, "Failed to rotate events [%s].\n", e.what());
    return 1;
}

void VxRotEvtBase::Stop() noexcept
try {
    VX_LOG(LOG_CATEG_ROTATE, LOG_LEVEL_DEBUG, "Stop event rotation [%s].\n", GetBaseName(m_dbPath).c_str());
} catch (const std::exception&) {
    // A line less; there is nothing else to stop.
}

bool VxRotEvtBase::IsDoRotate() const noexcept
{
    return m_runFlag == 1 && !IsNonRecMode();
}

void VxRotEvtBase::SubtractRemoved(const RotInfo& info) noexcept
{
    // Sizes are kept by others and may lag behind; below 0 the next step would take the target for huge.
    const auto removedMB = static_cast<std::uint64_t>(std::max<std::int64_t>(info.sizeMB, 0));
    m_totalSizeMB -= std::min(m_totalSizeMB, removedMB);
}

int VxRotEvtBase::DoRotate() noexcept
try {
    const std::string dbName = GetBaseName(m_dbPath);
    const std::string table = GetTableName();
    VX_LOG(LOG_CATEG_ROTATE, LOG_LEVEL_DEBUG,
           "Start rotate event [%s:%s]: TgtId: [%d], Total Size [%lluMB], BoundTm: [%d], Days: [%d], "
           "SizeLimit: [%dMB], NumLimit: [%d]\n",
           dbName.c_str(), table.c_str(), GetTargetId(), static_cast<unsigned long long>(m_totalSizeMB),
           m_volSpaceBoundTime, m_daysLimit, m_sizeLimitMB, m_numLimit);
    int result = 0;
    if ((m_volSpaceBoundTime > 0 && DoRotateByVolSpace() != 0) ||
        (m_daysLimit > 0 && DoRotateByDate() != 0) || (m_sizeLimitMB > 0 && DoRotateBySize() != 0)) {
        // One text for the three steps: operators' filters know it.
        VX_LOG(LOG_CATEG_ROTATE, LOG_LEVEL_ERR, "Failed to rotate by size.\n");
        result = -1;
    } else if (m_numLimit > 0 && DoRotateByNum() != 0) {
        VX_LOG(LOG_CATEG_ROTATE, LOG_LEVEL_ERR, "Failed to rotate by num.\n");
        result = -1;
    }
    const bool isIdle =
        m_byVolSpace.count == 0 && m_byDate.count == 0 && m_bySize.count == 0 && m_byNum.count == 0;
    VX_LOG(LOG_CATEG_ROTATE, isIdle ? LOG_LEVEL_DEBUG : LOG_LEVEL_INFO,
           "Finish rotate events [%s:%s]: TgtId: [%d], BoundTm: [%d], Days: [%d], SizeLimit: [%dMB], "
           "NumLimit: [%d]\n=> %d (%lldMB) by vol space, %d (%lldMB) by date, %d (%lldMB) by size, "
           "%d (%lldMB) by num.\nOccupied Size: [%lluMB -> %lluMB]\n",
           dbName.c_str(), table.c_str(), GetTargetId(), m_volSpaceBoundTime, m_daysLimit, m_sizeLimitMB,
           m_numLimit, m_byVolSpace.count, m_byVolSpace.sizeMB, m_byDate.count, m_byDate.sizeMB,
           m_bySize.count, m_bySize.sizeMB, m_byNum.count, m_byNum.sizeMB,
           static_cast<unsigned long long>(m_initialSizeMB), static_cast<unsigned long long>(m_totalSizeMB));
    return result;
} catch (const std::exception& e) {
    VX_LOG(LOG_CATEG_ROTATE, LOG_LEVEL_ERR, "Failed to rotate events [%s].\n", e.what());
    return -1;
}

int VxRotEvtBase::DoRotateByVolSpace() noexcept
{
    if (!IsDoRotate()) {
        return 0;
    }
    if (RemoveEventsFromDBByTime(m_volSpaceBoundTime, m_byVolSpace) != 0) {
        VX_LOG(LOG_CATEG_ROTATE, LOG_LEVEL_ERR, "Failed to rotate by no disk space\n");
        return -1;
    }
    SubtractRemoved(m_byVolSpace);
    return 0;
}

int VxRotEvtBase::DoRotateByDate() noexcept
{
    if (!IsDoRotate()) {
        return 0;
    }
    if (RemoveEventsFromDBByTime(GetBoundTimeOfDays(m_daysLimit), m_byDate) != 0) {
        VX_LOG(LOG_CATEG_ROTATE, LOG_LEVEL_ERR, "Failed to rotate by day limit\n");
        return -1;
    }
    SubtractRemoved(m_byDate);
    return 0;
}

int VxRotEvtBase::DoRotateBySize() noexcept
try {
    RotInfo first;
    RotInfo second;
    int result = 0;
    const double excessMB = static_cast<double>(m_totalSizeMB) - static_cast<double>(m_sizeLimitMB);
    if (excessMB >= 0) {
        if (IsDoRotate() && RemoveEventsFromDBBySize(excessMB, first) != 0) {
            VX_LOG(LOG_CATEG_ROTATE, LOG_LEVEL_ERR, "Failed to rotate by size\n");
            result = -1;
        } else if (IsDoRotate() && RemoveEventsFromDBByTime(GetRotBySizeBoundTime(), second) != 0) {
            VX_LOG(LOG_CATEG_ROTATE, LOG_LEVEL_ERR, "Failed to rotate by size (bound time)\n");
            result = -1;
        }
    }
    Merge(first, second);
    m_bySize = std::move(first);
    SubtractRemoved(m_bySize);
    return result;
} catch (const std::exception& e) {
    VX_LOG(LOG_CATEG_ROTATE, LOG_LEVEL_ERR, "Failed to rotate by size [%s].\n", e.what());
    return -1;
}

int VxRotEvtBase::DoRotateByNum() noexcept
{
    if (m_numLimit < 0) {
        return 0;
    }
    const long long excess = std::max<long long>(GetRotatableEvtCount() - m_numLimit, 0);
    if (!IsDoRotate()) {
        return 0;
    }
    m_byNum = RotInfo();
    if (RemoveEventsFromDBByNum(excess, m_byNum) != 0) {
        VX_LOG(LOG_CATEG_ROTATE, LOG_LEVEL_ERR, "Failed to rotate by num\n");
        return -1;
    }
    return 0;
}

// ---- the loops

int VxRotEvtBase::RemoveEventsFromDBByTime(long boundTime, RotInfo& info) noexcept
{
    if (boundTime > 0) {
        static_cast<void>(MarkEvtToDel(boundTime, info)); // has logged; a time step never fails by it
        VX_LOG(LOG_CATEG_ROTATE, LOG_LEVEL_TRACE, "Remove %d events (%lldMB) by boundTime [%d].\n",
               info.count, info.sizeMB, ClampToInt(boundTime));
    }
    return 0;
}

long VxRotEvtBase::GetOldestLeft() const noexcept
try {
    return GetOldestStartTime(GetTableName(), "", GetSqlWhere(), m_dbPath);
} catch (const std::exception& e) {
    VX_LOG(LOG_CATEG_ROTATE, LOG_LEVEL_ERR, "Failed to get bound time of size [%s].\n", e.what());
    return -1;
}

int VxRotEvtBase::ChooseOldest(double sizeMB, int upperbound, std::list<std::int64_t>& ids,
                               long long& bytes) const
{
    Rows rows;
    const std::string sql = "SELECT id,size FROM " + GetTableName() + " " + GetSqlWhere() +
                            " ORDER BY stop_time LIMIT " + std::to_string(upperbound);
    VX_LOG(LOG_CATEG_ROTATE, LOG_LEVEL_TRACE, "Rotate by size, limit: [%f] MB, sql: [%s]\n", sizeMB,
           sql.c_str());
    if (VxDB::Executep(m_dbPath, sql, rows.Out()) != 0) {
        VX_LOG(LOG_CATEG_ROTATE, LOG_LEVEL_ERR, "Execute failed\n");
        return -1;
    }
    const long long limitBytes = rotdb::BytesOfMB(sizeMB);
    bytes = 0;
    for (unsigned int row = 0; bytes < limitBytes && rows.Next(row);) {
        ids.push_back(VxDB::FetchFieldAsNumber(rows.Get(), row, "id"));
        bytes += std::max(VxDB::FetchFieldAsNumber(rows.Get(), row, "size"), 0LL);
    }
    return 0;
}

long long VxRotEvtBase::TakeMegabytes(long long bytes) noexcept
{
    m_restBytes += bytes;
    const long long sizeMB = TransformFromByteToMB(m_restBytes);
    m_restBytes -= sizeMB * (1024 * 1024);
    return sizeMB;
}

int VxRotEvtBase::MarkInBatches(RotInfo& info, const std::function<int(int, RotInfo&)>& mark)
{
    int result = 0;
    m_restBytes = 0;
    for (bool isMore = true; isMore && result == 0;) {
        RotInfo batch;
        result = mark(BATCH_ROWS, batch);
        isMore = batch.count >= BATCH_ROWS && IsDoRotate();
        Merge(info, batch);
    }
    return result;
}

int VxRotEvtBase::RemoveEventsFromDBBySize(double sizeMB, RotInfo& info) noexcept
try {
    double remainingMB = sizeMB;
    m_restBytes = 0;
    while (remainingMB > 0) {
        RotInfo batch;
        if (RemoveEventsBySizeWithUpperbound(remainingMB, BATCH_ROWS, batch) != 0) {
            return -1;
        }
        if (batch.sizeMB == 0) {
            break;
        }
        remainingMB -= static_cast<double>(batch.sizeMB);
        Merge(info, batch);
        if (!IsDoRotate()) {
            break;
        }
    }
    return 0;
} catch (const std::exception& e) {
    VX_LOG(LOG_CATEG_ROTATE, LOG_LEVEL_ERR, "Failed to remove by size [%s].\n", e.what());
    return -1;
}

int VxRotEvtBase::RemoveEventsFromDBByNum(long long num, RotInfo& info) noexcept
try {
    if (num < 1) {
        return 0;
    }
    long long remaining = num;
    while (remaining >= 1) {
        RotInfo batch;
        if (RemoveEventsFromDBByNumWithUpperbound(remaining, BATCH_ROWS, batch) != 0) {
            return -1;
        }
        if (batch.count == 0) {
            break;
        }
        remaining -= batch.count;
        batch.sizeMB = 0; // the step counts; sizes are the size step's
        Merge(info, batch);
        if (!IsDoRotate()) {
            break;
        }
    }
    VX_LOG(LOG_CATEG_ROTATE, LOG_LEVEL_TRACE, "Remove %d events by num.\n", info.count);
    return 0;
} catch (const std::exception& e) {
    VX_LOG(LOG_CATEG_ROTATE, LOG_LEVEL_ERR, "Failed to remove by num [%s].\n", e.what());
    return -1;
}

// ---- one batch

namespace {

/// What one batch takes.
struct Batch {
    std::list<Event> told;            ///< the events whose end others are told of
    std::list<std::int64_t> ids;      ///< all
    std::list<RecCountItem> counters; ///< those that the recording counters count
    long long bytes = 0;

    /// Takes the next row.
    void Take(DBResult_tag* pRows, unsigned int row, const std::string& dbPath)
    {
        Event& event = told.emplace_back();
        static_cast<void>(event.PutRowIntoObj(pRows, row)); // fails for no rows alone
        event.SetDBInfo(dbPath);
        ids.push_back(event.GetId());
        bytes += std::max<std::int64_t>(event.GetSize(), 0);
        if (event.GetCamSideEndTmMsec() == 0) {
            counters.push_back({event.GetCamId(), event.GetStartTime()});
        }
        if (event.IsForRotationOnly()) {
            told.pop_back();
        }
    }
};

/// Whether the files of a database's rows are where they belong; else marking their rows would lose them.
bool IsVolumeThere(const std::string& dbPath)
{
    std::string why;
    if (CheckRecVolume(dbPath, &why) == REC_VOLUME::SAME) {
        return true;
    }
    VX_LOG(LOG_CATEG_ROTATE, LOG_LEVEL_ERR, "Nothing of [%s] is rotated: %s\n", GetBaseName(dbPath).c_str(),
           why.c_str());
    return false;
}

/// Marks the rows of a batch and takes them off the counters: both or neither.
int SetMarkAsDel(const std::string& dbPath, const std::string& table, const Batch& batch)
{
    VxDB::Transaction transaction(dbPath);
    VxDB::SqlBuilder::Update update(table.c_str(), "id");
    update.Field("mark_as_del", true);
    update.Where(VxDB::SqlExpr() << VxDB::SqlExprAdapt::InImpl<VxDB::SqlExpr>("id", batch.ids));
    const bool isDone = IsVolumeThere(dbPath) && transaction.Begin() == 0 &&
                        VxDB::Executep(dbPath, update.Expr().str()) == 0 &&
                        RecordingCount::SubRecCounts(dbPath, batch.counters) == 0 &&
                        transaction.Commit() == 0;
    return isDone ? 0 : -1;
}

/// Tells everybody who lists or bookmarks events that these have gone. @return 0; -1: their bookmarks stay
int TellRemoved(Batch& batch, const std::string& dbPath, RotInfo& info)
{
    if (!ArchTaskCommon::IsTaskDB(dbPath)) {
        static_cast<void>(AutoUpdate::DispatchDeletedItems(batch.told));
    }
    const auto now = static_cast<std::int64_t>(GetWallTimeSec());
    for (Event& event : batch.told) {
        event.SetMarkAsDel(true);
        event.SetRecCntTimestamp(now);
        info.camDelList[event.GetCamId()].push_back(event.MakeRecordId());
    }
    NotifyEventListUpdate(batch.told);
    return DeleteBookmarkMeta(ArchPullUtils::GetTaskId(dbPath), batch.told);
}

/// Marks rows of a table by their ids, with all that belongs to it.
int MarkByIds(const std::string& table, const std::string& dbPath, std::list<std::int64_t>&& ids,
              RotInfo& info)
{
    if (table == gszTableLapseRecording) {
        LapseFilterParam filter;
        filter.ids = std::move(ids);
        return MarkLapseRecAsDel(filter, &info, true);
    }
    if (table == gszTableIVARecording) {
        IVAEventFilter filter;
        filter.ids = std::move(ids);
        return MarkIVAEvtAsDel(std::move(filter), &info, true);
    }
    EventFilterParam filter;
    filter.archTaskId = ArchPullUtils::GetTaskId(dbPath);
    filter.ids = std::move(ids);
    return MarkEvtAsDel(filter, &info);
}

} // namespace

int VxRotEvtBase::RemoveEventsBySizeWithUpperbound(double sizeMB, int upperbound, RotInfo& info) noexcept
try {
    const std::string table = GetTableName();
    const std::string sql = Format("SELECT * FROM %s %s ORDER BY %s LIMIT %d", table.c_str(),
                                   GetSqlWhere().c_str(), "stop_time", upperbound);
    VX_LOG(LOG_CATEG_ROTATE, LOG_LEVEL_TRACE, "Rotate by size, limit: [%f] MB, sql: [%s]\n", sizeMB,
           sql.c_str());
    Rows rows;
    if (VxDB::Executep(m_dbPath, sql, rows.Out()) != 0) {
        VX_LOG(LOG_CATEG_ROTATE, LOG_LEVEL_ERR, "Execute failed\n");
        return -1;
    }
    const long long limitBytes = rotdb::BytesOfMB(sizeMB);
    Batch batch;
    for (unsigned int row = 0; batch.bytes < limitBytes && rows.Next(row);) {
        batch.Take(rows.Get(), row, m_dbPath);
    }
    if (batch.ids.empty()) {
        return 0;
    }
    if (SetMarkAsDel(m_dbPath, table, batch) != 0) {
        VX_LOG(LOG_CATEG_ROTATE, LOG_LEVEL_ERR, "Set event mark_as_del failed!\n");
        return -1;
    }
    info.count = static_cast<int>(batch.ids.size());
    info.sizeMB = TakeMegabytes(batch.bytes);
    if (TellRemoved(batch, m_dbPath, info) != 0) {
        VX_LOG(LOG_CATEG_ROTATE, LOG_LEVEL_ERR, "Failed to delete bookmark.\n");
        return -1;
    }
    return 0;
} catch (const std::exception& e) {
    VX_LOG(LOG_CATEG_ROTATE, LOG_LEVEL_ERR, "Failed to remove by size [%s].\n", e.what());
    return -1;
}

int VxRotEvtBase::RemoveEventsFromDBByNumWithUpperbound(long long num, int upperbound, RotInfo& info) noexcept
try {
    if (num < 1 || upperbound <= 0) {
        return 0;
    }
    const std::string table = GetTableName();
    const std::string sql = Format("SELECT * FROM %s %s ORDER BY %s LIMIT %lld", table.c_str(),
                                   GetSqlWhere().c_str(), "stop_time", std::min<long long>(num, upperbound));
    VX_LOG(LOG_CATEG_ROTATE, LOG_LEVEL_TRACE, "Rotate by num, limit: [%lld], sql: [%s]\n", num, sql.c_str());
    Rows rows;
    const std::unique_ptr<Event> pEvent(GetEventPointer());
    if (pEvent == nullptr || VxDB::Executep(m_dbPath, sql, rows.Out()) != 0) {
        VX_LOG(LOG_CATEG_ROTATE, LOG_LEVEL_ERR, "Execute sql[%s] failed\n", sql.c_str());
        return -1;
    }
    std::list<std::int64_t> ids;
    for (unsigned int row = 0; rows.Next(row);) {
        static_cast<void>(pEvent->PutRowIntoObj(rows.Get(), row)); // fails for no rows alone
        ids.push_back(pEvent->GetId());
    }
    return ids.empty() ? 0 : MarkByIds(table, m_dbPath, std::move(ids), info);
} catch (const std::exception& e) {
    VX_LOG(LOG_CATEG_ROTATE, LOG_LEVEL_ERR, "Failed to remove by num [%s].\n", e.what());
    return -1;
}
