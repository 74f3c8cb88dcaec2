// SPDX-License-Identifier: Apache-2.0
// package/src/rec/recovery.cpp - mends what recorders that were killed have left.
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <exception>

#include "package/event.h"
#include "package/recsweep.h"
#include "pkglog.h"
#include "recfiles_internal.h"
#include "recorderlock_internal.h"
#include "recrows_internal.h"

namespace {

/// The file that was being made: without a row and without a byte it is nobody's.
int RemoveUnbornFile(const std::string& dbPath, const std::string& path, RecFiles& files)
{
    struct stat info {};
    if (path.empty() || files.Stat(path, info) != REC_FILE::OK || info.st_size != 0) {
        return 0;
    }
    RecRows rows;
    if (rows.Load(dbPath, std::string("SELECT id FROM ") + gszTableEvent +
                              " WHERE path <> '' AND path = " + VxDB::QuoteEscape(path)) != 0) {
        return -1;
    }
    if (!rows.Next() && files.Unlink(path) == REC_FILE::OK) {
        PKG_LOG(LOG_CATEG_ROTATE, LOG_LEVEL_NOTICE,
                "Removed empty file [%s] of a recorder that was killed.\n", path.c_str());
    }
    return 0;
}

std::string CloseSql(std::int64_t id, std::int64_t size, std::int64_t endTime)
{
    return std::string("UPDATE ") + gszTableEvent + " SET size = " + std::to_string(size) +
           ", end_time = " + std::to_string(endTime) + " WHERE id = " + std::to_string(id) +
           " AND end_time = 0;";
}

/// The events that nobody writes any more.
int CloseEvents(const std::string& dbPath, int camId, int recGroup, RecFiles& files)
{
    RecRows rows;
    if (rows.Load(dbPath, std::string("SELECT id, start_time, path FROM ") + gszTableEvent +
                              " WHERE end_time = 0 AND camera_id = " + std::to_string(camId) +
                              " AND rec_group = " + std::to_string(recGroup) + " AND mark_as_del = 0") != 0) {
        return -1;
    }
    std::string sql;
    EventFilterParam lost;
    while (rows.Next()) {
        struct stat info {};
        const REC_FILE found = files.Stat(rows.Text("path"), info);
        if (found == REC_FILE::OK) {
            sql += CloseSql(rows.Number("id"), info.st_size,
                            std::max<std::int64_t>({1, rows.Number("start_time"), info.st_mtim.tv_sec}));
        } else if (found == REC_FILE::GONE) {
            // Without its path the row takes no file along that comes back with its folder.
            lost.ids.push_back(rows.Number("id"));
            sql += std::string("UPDATE ") + gszTableEvent +
                   " SET path = '' WHERE id = " + std::to_string(lost.ids.back()) + ";";
        }
    }
    if (!sql.empty() && VxDB::Executep(dbPath, std::move(sql)) != 0) {
        return -1;
    }
    return lost.ids.empty() ? 0 : MarkEvtAsDel(lost, nullptr);
}

/// Camera and group of all events without an end, by one search of the index each.
int ListOpenGroups(const std::string& dbPath, std::set<std::pair<int, int>>& groups)
{
    for (std::pair<int, int> last{0, -1};;) {
        RecRows rows;
        if (rows.Load(dbPath, std::string("SELECT camera_id, rec_group FROM ") + gszTableEvent +
                                  " WHERE end_time = 0 AND (camera_id, rec_group) > (" +
                                  std::to_string(last.first) + "," + std::to_string(last.second) +
                                  ") ORDER BY camera_id, rec_group LIMIT 1") != 0) {
            return -1;
        }
        if (!rows.Next()) {
            return 0;
        }
        last = {rows.Int("camera_id"), rows.Int("rec_group")};
        groups.insert(last);
    }
}

} // namespace

int RecoverGroup(int camId, int recGroup, RecorderLock& lock, RecFiles& files)
{
    const std::string dbPath = RecDBPath(REC_KIND_EVENT);
    if (RemoveUnbornFile(dbPath, lock.Noted(), files) != 0 ||
        CloseEvents(dbPath, camId, recGroup, files) != 0) {
        return -1;
    }
    files.Settle();
    return 0;
}

int RecoverRecorders() noexcept
try {
    const std::string dbPath = RecDBPath(REC_KIND_EVENT);
    if (CheckRecVolume(dbPath, nullptr) != REC_VOLUME::SAME) {
        return 0; // nothing was recorded, or nothing may be touched; whoever deletes says which
    }
    std::set<std::pair<int, int>> groups = RecorderLock::ListAll();
    RecFiles files;
    if (ListOpenGroups(dbPath, groups) != 0 || files.Open() != 0) {
        return -1;
    }
    int result = 0;
    for (const auto& [camId, recGroup] : groups) {
        RecorderLock lock;
        if (lock.Take(camId, recGroup) != 0) {
            continue; // it records
        }
        result = RecoverGroup(camId, recGroup, lock, files) != 0 ? -1 : result;
    }
    return result;
} catch (const std::exception& error) {
    PKG_LOG(LOG_CATEG_ROTATE, LOG_LEVEL_ERR, "Failed to mend what killed recorders left [%s].\n",
            error.what());
    return -1;
}
