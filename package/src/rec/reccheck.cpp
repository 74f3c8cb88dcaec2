// SPDX-License-Identifier: Apache-2.0
// package/src/rec/reccheck.cpp - what rows say, compared with the files that they name.
#include "package/reccheck.h"

#include <unistd.h>

#include <algorithm>
#include <exception>
#include <map>

#include "package/dbadmin.h"
#include "package/ivaevent.h"
#include "package/recsweep.h"
#include "pkglog.h"
#include "reccheck_internal.h"
#include "recorderlock_internal.h"
#include "recrows_internal.h"

namespace {

constexpr int PAGE = 5000;

/// A row of any kind.
class AnyRecord : public Event {
public:
    explicit AnyRecord(REC_KIND kind) noexcept : Event(kind) {}
};

/// Gives a row up. Without its path the sweep never touches a file that is there again, or whose folder is.
bool ClearPath(const RecDatabase& db, std::int64_t id)
{
    return VxDB::Executep(db.path, std::string("UPDATE ") + RecTableOf(db.kind).table +
                                       " SET path = '', mark_as_del = 1 WHERE id = " + std::to_string(id) +
                                       ";") == 0;
}

bool SetSize(const RecDatabase& db, std::int64_t id, long long size)
{
    return VxDB::Executep(db.path, std::string("UPDATE ") + RecTableOf(db.kind).table + " SET size = " +
                                       std::to_string(size) + " WHERE id = " + std::to_string(id) + ";") == 0;
}

/// Calls fn(row) for every row of a database, a page at a time.
template <typename Fn>
int ForEachRow(const RecDatabase& db, Fn&& fn)
{
    for (std::int64_t last = 0;;) {
        RecRows rows;
        if (rows.Load(db.path, std::string("SELECT * FROM ") + RecTableOf(db.kind).table + " WHERE id > " +
                                   std::to_string(last) + " ORDER BY id LIMIT " + std::to_string(PAGE)) !=
            0) {
            return -1;
        }
        int count = 0;
        for (; rows.Next(); ++count) {
            AnyRecord row(db.kind);
            static_cast<void>(row.PutRowIntoObj(rows.Result(), rows.Row())); // the result is there
            last = row.GetId();
            fn(row);
        }
        if (count < PAGE) {
            return 0;
        }
    }
}

} // namespace

std::vector<RecDatabase> ListRecDatabases()
{
    std::vector<RecDatabase> found;
    for (const std::string& path : VxDB::ListDatabases()) {
        if (::access(path.c_str(), F_OK) != 0) {
            continue;
        }
        const std::string file = GetBaseName(path);
        const int archTaskId = ArchPullUtils::GetTaskId(path);
        for (int kind = 0; kind < REC_KIND_COUNT; ++kind) {
            if (path == RecDBPath(static_cast<REC_KIND>(kind), archTaskId)) {
                const std::string name = RecTableOf(static_cast<REC_KIND>(kind)).name;
                const std::string suffix = archTaskId > 0 ? "_" + std::to_string(archTaskId) : "";
                found.push_back({static_cast<REC_KIND>(kind), archTaskId, path, name + suffix});
                break;
            }
        }
    }
    return found;
}

void NamedPaths::Sort(std::set<std::size_t>& twice)
{
    std::ranges::sort(m_hashes);
    for (auto next = m_hashes.begin(); (next = std::adjacent_find(next, m_hashes.end())) != m_hashes.end();
         ++next) {
        twice.insert(*next);
    }
}

bool NamedPaths::Has(const std::string& path) const
{
    return std::ranges::binary_search(m_hashes, std::hash<std::string>()(path));
}

void RecChecker::Report(int rule, const std::string& object, const std::string& problem,
                        const std::string& remedy, const Mend& mend)
{
    RecViolation violation{rule, object, problem, remedy, false};
    violation.mended = m_repair && mend && mend();
    ++m_counts.violations;
    m_counts.mended += violation.mended ? 1 : 0;
    m_tell(violation);
}

/// Whether rows of a database may be compared with rec/ at all.
bool RecChecker::IsUsable(const RecDatabase& db)
{
    std::string why;
    const REC_VOLUME state = CheckRecVolume(db.path, &why);
    if (state == REC_VOLUME::SAME) {
        return true;
    }
    if (state == REC_VOLUME::UNBOUND || state == REC_VOLUME::NEW_DB) {
        std::int64_t any = 0;
        if (LoadNumber(db.path, std::string("SELECT id AS n FROM ") + RecTableOf(db.kind).table + " LIMIT 1",
                       any) != 0) {
            return false; // no row: nothing to compare
        }
        Report(5, db.name, why, "", nullptr);
    } else {
        Report(5, db.name, why, "", nullptr);
        m_volumeIsOurs = false;
    }
    return false;
}

int RecChecker::CheckRows(const RecDatabase& db)
{
    return ForEachRow(db, [&](const Event& row) {
        ++m_counts.rows;
        if (!row.GetPath().empty()) {
            CheckRow(db, row);
            m_named.Add(row.GetPath());
        }
    });
}

void RecChecker::CheckRow(const RecDatabase& db, const Event& row)
{
    const std::string object = db.name + " " + std::to_string(row.GetId());
    const std::int64_t id = row.GetId();
    struct stat info {};
    switch (m_files.Stat(row.GetPath(), info)) {
    case REC_FILE::REFUSED:
        Report(1, object, "[" + row.GetPath() + "] leads out of rec, through a link or to no plain file",
               "the row is given up, what it names stays", [&] { return ClearPath(db, id); });
        return;
    case REC_FILE::GONE:
        if (!row.IsMarkAsDel()) {
            Report(1, object, "its file [" + row.GetPath() + "] is gone",
                   "the row is given up; a file that comes back gets a new one",
                   [&] { return ClearPath(db, id); });
        }
        return;
    case REC_FILE::FAILED:
        Report(1, object, "its file [" + row.GetPath() + "] cannot be looked at", "", nullptr);
        return;
    case REC_FILE::OK:
        break;
    }
    if (row.IsMarkAsDel()) {
        return;
    }
    if (db.kind == REC_KIND_EVENT && db.archTaskId == 0 && !row.IsClosed()) {
        CheckOpenRow(object, row);
    } else if (row.GetSize() != info.st_size) {
        Report(4, object,
               "it says " + std::to_string(row.GetSize()) + " bytes, its file has " +
                   std::to_string(static_cast<long long>(info.st_size)),
               "the size is corrected", [&] { return SetSize(db, id, info.st_size); });
    }
}

void RecChecker::CheckOpenRow(const std::string& object, const Event& row)
{
    RecorderLock lock;
    if (lock.Take(row.GetCamId(), row.GetRecGroup()) == 0) {
        Report(6, object, "it was never closed, and nobody writes it any more",
               "it is closed with the size and time of its file",
               [&] { return RecoverGroup(row.GetCamId(), row.GetRecGroup(), lock, m_files) == 0; });
    }
}

int RecChecker::CheckCounters(const RecDatabase& db)
{
    const std::string counted =
        std::string("SELECT camera_id, day, count FROM ") + gszTableRecordingCount + " WHERE count > 0";
    const std::string real = std::string("SELECT camera_id, start_time / 86400, COUNT(*) FROM ") +
                             gszTableEvent + " WHERE mark_as_del = 0 AND cam_end_ms = 0 GROUP BY 1, 2";
    RecRows rows;
    if (rows.Load(db.path, "SELECT DISTINCT camera_id, day FROM (SELECT * FROM (" + counted + " EXCEPT " +
                               real + ") UNION ALL SELECT * FROM (" + real + " EXCEPT " + counted +
                               ")) ORDER BY 1, 2") != 0) {
        return -1;
    }
    while (rows.Next()) {
        Report(2, db.name + " counter",
               "owner " + rows.Text("camera_id") + ", day " + rows.Text("day") +
                   ": its count is not that of the rows which are not marked",
               "the rows are counted anew", [&] { return RecordingCount::Recount(db.path) == 0; });
    }
    return 0;
}

int RecChecker::CheckBookmarks()
{
    RecRows marks;
    if (marks.Load(VxDB::DB_LOG, std::string("SELECT DISTINCT arch_task_id, event_id FROM ") +
                                     gszTableBookmark + " ORDER BY arch_task_id, event_id") != 0) {
        return -1;
    }
    while (marks.Next()) {
        const int archTaskId = marks.Int("arch_task_id");
        const std::int64_t eventId = marks.Number("event_id");
        RecRows live;
        if (live.Load(RecDBPath(REC_KIND_EVENT, archTaskId),
                      std::string("SELECT id FROM ") + gszTableEvent +
                          " WHERE mark_as_del = 0 AND id = " + std::to_string(eventId)) != 0) {
            return -1;
        }
        if (!live.Next()) {
            Report(2, "bookmark of event " + std::to_string(eventId), "its event is marked or gone",
                   "the bookmark is removed", [&] {
                       return VxDB::Execute(VxDB::DB_LOG,
                                            std::string("DELETE FROM ") + gszTableBookmark +
                                                " WHERE arch_task_id = " + std::to_string(archTaskId) +
                                                " AND event_id = " + std::to_string(eventId) + ";") == 0;
                   });
        }
    }
    return 0;
}

/// Rows of different databases that name one file; within a database an index forbids it.
int RecChecker::NameTwice(const std::set<std::size_t>& twice)
{
    std::map<std::string, std::string> owners;
    for (const RecDatabase& db : m_databases) {
        const int result = twice.empty() ? 0 : ForEachRow(db, [&](const Event& row) {
            if (row.GetPath().empty() || twice.count(std::hash<std::string>()(row.GetPath())) == 0) {
                return;
            }
            const std::string object = db.name + " " + std::to_string(row.GetId());
            const auto [found, isFirst] = owners.emplace(row.GetPath(), object);
            if (!isFirst) {
                Report(1, object, "its file [" + row.GetPath() + "] is that of " + found->second, "",
                       nullptr);
            }
        });
        if (result != 0) {
            return -1;
        }
    }
    return 0;
}

int RecChecker::Run()
{
    if (m_files.Open() != 0) {
        PKG_LOG(LOG_CATEG_ROTATE, LOG_LEVEL_ERR, "Failed to open the folder of recordings: %m.\n");
        return -1;
    }
    for (const RecDatabase& db : ListRecDatabases()) {
        if (!IsUsable(db)) {
            continue;
        }
        m_databases.push_back(db);
        if (CheckRows(db) != 0 || (db.kind == REC_KIND_EVENT && CheckCounters(db) != 0)) {
            return -1;
        }
    }
    std::set<std::size_t> twice;
    m_named.Sort(twice);
    if (CheckBookmarks() != 0 || NameTwice(twice) != 0) {
        return -1;
    }
    return m_volumeIsOurs ? CheckFiles() : 0;
}

int CheckRecords(bool repair, RecCheckCounts& counts,
                 const std::function<void(const RecViolation&)>& tell) noexcept
try {
    return RecChecker(repair, counts, tell).Run();
} catch (const std::exception& error) {
    PKG_LOG(LOG_CATEG_ROTATE, LOG_LEVEL_ERR, "Failed to check recordings [%s].\n", error.what());
    return -1;
}
