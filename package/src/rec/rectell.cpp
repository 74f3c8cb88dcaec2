// SPDX-License-Identifier: Apache-2.0
// package/src/rec/rectell.cpp - who is told of removed events: counters, listeners, clients, bookmarks.
#include <algorithm>
#include <exception>
#include <map>
#include <utility>

#include "package/event.h"
#include "package/msgd.h"
#include "pkglog.h"
#include "recmark_internal.h"
#include "recrows_internal.h"

namespace {

constexpr std::int64_t SEC_PER_DAY = 86400;

} // namespace

void NotifyEventListUpdate(const std::list<Event>& events) noexcept
try {
    std::list<int> ids;
    std::list<int> owners;
    for (const Event& event : events) {
        ids.push_back(static_cast<int>(event.GetId()));
        owners.push_back(event.GetCamId());
    }
    owners.sort();
    owners.unique();
    if (!ids.empty()) {
        static_cast<void>(
            SendUpdateMsgToMsgD(MSGD_KIND_EVENT_LIST, ids, UPDATE_TYPE_DELETE, 0, "", owners)); // logged
    }
} catch (const std::exception& error) {
    PKG_LOG(LOG_CATEG_ROTATE, LOG_LEVEL_ERR, "Failed to tell of changed events [%s].\n", error.what());
}

int RecordingCount::SubRecCounts(const std::string& dbPath, const std::list<RecCountItem>& items) noexcept
try {
    std::map<std::pair<int, std::int64_t>, int> counts;
    for (const RecCountItem& item : items) {
        ++counts[{item.camId, item.startTime / SEC_PER_DAY}];
    }
    std::string sql;
    for (const auto& [key, count] : counts) {
        sql += std::string("UPDATE ") + gszTableRecordingCount + " SET count = MAX(count - " +
               std::to_string(count) + ", 0) WHERE camera_id = " + std::to_string(key.first) +
               " AND day = " + std::to_string(key.second) + ";";
    }
    return sql.empty() ? 0 : VxDB::Executep(dbPath, std::move(sql));
} catch (const std::exception& error) {
    PKG_LOG(LOG_CATEG_ROTATE, LOG_LEVEL_ERR, "Failed to subtract recording counts [%s].\n", error.what());
    return -1;
}

long long RecordingCount::GetRecCount(const std::string& dbPath, int camId, std::int64_t day) noexcept
try {
    std::int64_t count = 0;
    return LoadNumber(dbPath,
                      std::string("SELECT COALESCE(SUM(count), 0) AS n FROM ") + gszTableRecordingCount +
                          " WHERE camera_id = " + std::to_string(camId) + " AND day = " + std::to_string(day),
                      count) == 0
               ? count
               : -1;
} catch (const std::exception& error) {
    PKG_LOG(LOG_CATEG_ROTATE, LOG_LEVEL_ERR, "Failed to read a recording count [%s].\n", error.what());
    return -1;
}

int RecordingCount::Recount(const std::string& dbPath) noexcept
try {
    const std::string table = gszTableRecordingCount;
    return VxDB::Executep(dbPath, "DELETE FROM " + table + ";INSERT INTO " + table +
                                      " (camera_id,day,count) SELECT camera_id, start_time / 86400, COUNT(*) "
                                      "FROM " +
                                      gszTableEvent +
                                      " WHERE mark_as_del = 0 AND cam_end_ms = 0 GROUP BY 1, 2;");
} catch (const std::exception& error) {
    PKG_LOG(LOG_CATEG_ROTATE, LOG_LEVEL_ERR, "Failed to count recordings anew [%s].\n", error.what());
    return -1;
}

int AutoUpdate::DispatchDeletedItems(const std::list<Event>& events) noexcept
try {
    std::map<int, int> deleted;
    for (const Event& event : events) {
        ++deleted[event.GetCamId()];
    }
    std::string sql;
    for (const auto& [owner, count] : deleted) {
        sql += std::string("INSERT INTO ") + gszTableAutoUpdate + " (kind,owner_id,serial,deleted) VALUES (" +
               std::to_string(REC_KIND_EVENT) + "," + std::to_string(owner) + ",1," + std::to_string(count) +
               ") ON CONFLICT (kind,owner_id) DO UPDATE SET serial = serial + 1, deleted = deleted + "
               "excluded.deleted;";
    }
    return sql.empty() ? 0 : VxDB::Execute(VxDB::DB_SYSTEM, std::move(sql));
} catch (const std::exception& error) {
    PKG_LOG(LOG_CATEG_ROTATE, LOG_LEVEL_ERR, "Failed to note removed items [%s].\n", error.what());
    return -1;
}

int DeleteBookmarks(int archTaskId, const std::list<std::int64_t>& ids)
{
    if (ids.empty()) {
        return 0;
    }
    const auto [least, most] = std::minmax_element(ids.begin(), ids.end());
    const std::string of = std::string(" FROM ") + gszTableBookmark +
                           " WHERE arch_task_id = " + std::to_string(archTaskId) + " AND event_id ";
    RecRows rows;
    if (rows.Load(VxDB::DB_LOG, "SELECT id" + of + "BETWEEN " + std::to_string(*least) + " AND " +
                                    std::to_string(*most) + " LIMIT 1") != 0) {
        return -1;
    }
    return rows.Next() ? VxDB::Execute(VxDB::DB_LOG, "DELETE" + of + "IN (" + IdsText(ids) + ");")
                       : 0; // most events have none
}

int DeleteBookmarkMeta(int archTaskId, const std::list<Event>& events) noexcept
try {
    std::list<std::int64_t> ids;
    for (const Event& event : events) {
        ids.push_back(event.GetId());
    }
    return DeleteBookmarks(archTaskId, ids);
} catch (const std::exception& error) {
    PKG_LOG(LOG_CATEG_ROTATE, LOG_LEVEL_ERR, "Failed to delete bookmarks [%s].\n", error.what());
    return -1;
}

int AddBookmark(int archTaskId, std::int64_t eventId, std::int64_t timeSec, const std::string& name) noexcept
try {
    return VxDB::Execute(VxDB::DB_LOG, std::string("INSERT INTO ") + gszTableBookmark +
                                           " (arch_task_id,event_id,timestamp,name) VALUES (" +
                                           std::to_string(archTaskId) + "," + std::to_string(eventId) + "," +
                                           std::to_string(timeSec) + "," + VxDB::QuoteEscape(name) + ");");
} catch (const std::exception& error) {
    PKG_LOG(LOG_CATEG_ROTATE, LOG_LEVEL_ERR, "Failed to add a bookmark [%s].\n", error.what());
    return -1;
}
