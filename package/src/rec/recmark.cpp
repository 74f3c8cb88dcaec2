// SPDX-License-Identifier: Apache-2.0
// package/src/rec/recmark.cpp - marking records of any kind as deleted, oldest first.
#include "recmark_internal.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <exception>

#include "package/camera.h"
#include "package/event.h"
#include "package/ivaevent.h"
#include "package/lapserec.h"
#include "package/msgd.h"
#include "package/recsweep.h"
#include "pkglog.h"
#include "recrows_internal.h"

namespace {

/// What one batch marked.
struct MarkedBatch {
    std::list<Event> events; ///< with the fields that whoever is told needs
    std::list<RecCountItem> counted;
    RotInfo info;
    long long bytes = 0;
};

/// Ids that a clause names, which need no order when they are all meant; more than a batch when it names none.
long CountIds(const std::string& where)
{
    const std::size_t list = where.find("id IN (");
    return list == std::string::npos
               ? REC_BATCH + 1L
               : 1L + std::count(where.begin() + static_cast<long>(list), where.end(), ',');
}

std::string MarkSql(const RecMarkTask& task, int limit)
{
    const RecTable& table = RecTableOf(task.kind);
    const bool isEvent = task.kind == REC_KIND_EVENT;
    const std::string oldest = std::string("WHERE id IN (SELECT id FROM ") + table.table + " " + task.where +
                               " ORDER BY stop_time LIMIT " + std::to_string(limit) + ")";
    return std::string("UPDATE ") + table.table + " SET mark_as_del = 1 " +
           (CountIds(task.where) <= limit ? task.where : oldest) +
           VxDB::GetReturnColumnsStatement({"id", table.owner, "start_time", "size", "path",
                                            isEvent ? "cam_end_ms" : "id", isEvent ? "rotate_only" : "id"});
}

/// The rows that were marked, in the order in which they were recorded.
void TakeRows(const RecMarkTask& task, const std::string& dbPath, RecRows& rows, MarkedBatch& batch)
{
    const char* const owner = RecTableOf(task.kind).owner;
    while (rows.Next()) {
        Event event;
        static_cast<void>(event.PutRowIntoObj(rows.Result(), rows.Row())); // the result is there
        event.SetOwner(rows.Int(owner));
        event.SetDBInfo(dbPath);
        event.SetMarkAsDel(true);
        batch.bytes += std::max<std::int64_t>(event.GetSize(), 0);
        ++batch.info.count;
        if (task.kind == REC_KIND_EVENT && event.GetCamSideEndTmMsec() == 0) {
            batch.counted.push_back({event.GetCamId(), event.GetStartTime()});
        }
        if (!event.IsForRotationOnly()) {
            batch.events.push_back(std::move(event));
        }
    }
    batch.events.sort([](const Event& a, const Event& b) { return a.GetStartTime() < b.GetStartTime(); });
    for (const Event& event : batch.events) {
        batch.info.camDelList[event.GetCamId()].push_back(event.MakeRecordId());
    }
}

/// Marks and counts, both or neither.
int MarkBatch(const RecMarkTask& task, const std::string& dbPath, int limit, MarkedBatch& batch)
{
    VxDB::Transaction transaction(dbPath);
    RecRows rows;
    if (transaction.Begin() != 0 || rows.Load(dbPath, MarkSql(task, limit)) != 0) {
        return -1;
    }
    TakeRows(task, dbPath, rows, batch);
    if (!batch.counted.empty() && RecordingCount::SubRecCounts(dbPath, batch.counted) != 0) {
        return -1;
    }
    return transaction.Commit();
}

void NotifyListUpdate(REC_KIND kind, const std::list<Event>& events)
{
    if (kind == REC_KIND_EVENT) {
        NotifyEventListUpdate(events);
        return;
    }
    std::list<int> owners;
    std::list<int> ids;
    for (const Event& event : events) {
        owners.push_back(event.GetCamId());
        ids.push_back(static_cast<int>(event.GetId()));
    }
    owners.sort();
    owners.unique();
    static_cast<void>(SendUpdateMsgToMsgD(kind == REC_KIND_LAPSE ? MSGD_KIND_LAPSE_LIST : MSGD_KIND_IVA_LIST,
                                          ids, UPDATE_TYPE_DELETE, 0, "", owners)); // logged there
}

/// Tells whoever shows the items. Nothing of it brings a marked row back, so only bookmarks can fail it.
int TellOthers(const RecMarkTask& task, const std::list<Event>& events)
{
    if (task.notify && !events.empty()) {
        NotifyListUpdate(task.kind, events);
    }
    if (task.kind != REC_KIND_EVENT) {
        return 0;
    }
    if (task.notify && task.archTaskId == 0) {
        static_cast<void>(AutoUpdate::DispatchDeletedItems(events)); // logged there; clients list anew
    }
    return DeleteBookmarkMeta(task.archTaskId, events);
}

/// Whether there is nothing to mark: no database (asking it would make it), or one without a row.
bool IsEmpty(REC_KIND kind, const std::string& dbPath)
{
    RecRows rows;
    return (::access(dbPath.c_str(), F_OK) != 0 && errno == ENOENT) ||
           (rows.Load(dbPath, std::string("SELECT id FROM ") + RecTableOf(kind).table + " LIMIT 1") == 0 &&
            !rows.Next());
}

} // namespace

int MarkRecords(const RecMarkTask& task, RotInfo* info)
{
    const std::string dbPath = RecDBPath(task.kind, task.archTaskId);
    std::string why;
    const REC_VOLUME volume = CheckRecVolume(dbPath, &why);
    if (volume != REC_VOLUME::SAME) {
        if (IsEmpty(task.kind, dbPath)) {
            return 0;
        }
        PKG_LOG(LOG_CATEG_ROTATE, LOG_LEVEL_ERR, "Nothing is marked as deleted: %s.\n", why.c_str());
        return -1;
    }
    long long bytes = 0;
    int left = task.limit > 0 ? task.limit : -1;
    while (left != 0) {
        const int limit = left > 0 ? std::min(left, REC_BATCH) : REC_BATCH;
        MarkedBatch batch;
        if (MarkBatch(task, dbPath, limit, batch) != 0) {
            return -1;
        }
        left -= left > 0 ? batch.info.count : 0;
        if (task.pBytes != nullptr) {
            *task.pBytes += batch.bytes;
        }
        if (info != nullptr) {
            const long long before = TransformFromByteToMB(bytes);
            bytes += batch.bytes;
            info->count += batch.info.count;
            info->sizeMB += TransformFromByteToMB(bytes) - before;
            IdNameListMapMoveMerge(info->camDelList, batch.info.camDelList);
            IdNameListMapCap(info->camDelList);
        }
        if (TellOthers(task, batch.events) != 0) {
            return -1;
        }
        if (batch.info.count < limit ||
            (task.pRunFlag != nullptr && (*task.pRunFlag != 1 || IsNonRecMode()))) {
            break;
        }
    }
    return 0;
}

int ListRecOwners(REC_KIND kind, const std::string& dbPath, std::vector<std::pair<int, int>>& owners) noexcept
try {
    const RecTable& table = RecTableOf(kind);
    const bool isEvent = kind == REC_KIND_EVENT;
    const std::string columns = std::string(table.owner) + (isEvent ? ", rec_group" : "");
    std::vector<std::pair<int, int>> found;
    for (std::pair<int, int> last{0, -1};; found.push_back(last)) {
        const std::string after = isEvent ? std::to_string(last.first) + "," + std::to_string(last.second)
                                          : std::to_string(last.first);
        RecRows rows;
        if (rows.Load(dbPath, "SELECT " + columns + " FROM " + table.table + " WHERE mark_as_del = 0 AND (" +
                                  columns + ") > (" + after + ") ORDER BY " + columns + " LIMIT 1") != 0) {
            return -1;
        }
        if (!rows.Next()) {
            owners = std::move(found);
            return 0;
        }
        last = {rows.Int(table.owner), isEvent ? rows.Int("rec_group") : 0};
    }
} catch (const std::exception& error) {
    PKG_LOG(LOG_CATEG_ROTATE, LOG_LEVEL_ERR, "Failed to list owners [%s].\n", error.what());
    return -1;
}

int MarkEvtAsDel(const EventFilterParam& filter, RotInfo* info, bool notify,
                 const volatile int* pRunFlag) noexcept
try {
    if (filter.stopBefore <= 0 && filter.ids.empty()) {
        PKG_LOG(LOG_CATEG_ROTATE, LOG_LEVEL_ERR, "Refused to mark events without a bound or ids.\n");
        return -1;
    }
    std::vector<std::pair<int, int>> owners{{filter.camId, filter.recGroup}};
    if (filter.ids.empty() && ListSelectedOwners(filter, owners) != 0) {
        return -1;
    }
    EventFilterParam part = filter;
    part.mark = EventFilterParam::MARK_LIVE;
    for (const auto& [camId, recGroup] : owners) {
        part.camId = camId;
        part.recGroup = recGroup;
        if (MarkRecords(
                {REC_KIND_EVENT, filter.archTaskId, part.GetWhereStr(), filter.limit, notify, pRunFlag},
                info) != 0) {
            return -1;
        }
    }
    return 0;
} catch (const std::exception& error) {
    PKG_LOG(LOG_CATEG_ROTATE, LOG_LEVEL_ERR, "Failed to mark events [%s].\n", error.what());
    return -1;
}

namespace {

/// Every task in turn, so that each batch is one search of the index.
template <typename Filter>
int MarkTaskRecords(REC_KIND kind, Filter filter, RotInfo* info, bool notify)
{
    if (filter.stopBefore <= 0 && filter.ids.empty() && filter.limit <= 0) {
        PKG_LOG(LOG_CATEG_ROTATE, LOG_LEVEL_ERR,
                "Refused to mark recordings without a bound, ids or a limit.\n");
        return -1;
    }
    std::vector<std::pair<int, int>> owners{{filter.taskId, 0}};
    if (filter.taskId < 1 && filter.ids.empty()) {
        if (ListRecOwners(kind, RecDBPath(kind), owners) != 0) {
            return -1;
        }
    }
    for (const auto& owner : owners) {
        filter.taskId = owner.first;
        if (MarkRecords({kind, 0, filter.GetWhereStr(), filter.limit, notify, filter.pRunFlag}, info) != 0) {
            return -1;
        }
    }
    return 0;
}

} // namespace

int MarkLapseRecAsDel(const LapseFilterParam& filter, RotInfo* info, bool notify) noexcept
try {
    return MarkTaskRecords(REC_KIND_LAPSE, filter, info, notify);
} catch (const std::exception& error) {
    PKG_LOG(LOG_CATEG_TIMELAPSE, LOG_LEVEL_ERR, "Failed to mark time-lapse recordings [%s].\n", error.what());
    return -1;
}

int MarkIVAEvtAsDel(IVAEventFilter&& filter, RotInfo* info, bool notify) noexcept
try {
    return MarkTaskRecords(REC_KIND_IVA, std::move(filter), info, notify);
} catch (const std::exception& error) {
    PKG_LOG(LOG_CATEG_ROTATE, LOG_LEVEL_ERR, "Failed to mark analytics recordings [%s].\n", error.what());
    return -1;
}

int MarkOrvoCamEvtToDel(int taskId, long boundTime, RotInfo* info, const volatile int* pRunFlag) noexcept
{
    IVAEventFilter filter;
    filter.taskId = taskId;
    filter.stopBefore = boundTime;
    filter.pRunFlag = pRunFlag;
    return taskId > 0 && boundTime > 0 ? MarkIVAEvtAsDel(std::move(filter), info, true) : 0;
}
