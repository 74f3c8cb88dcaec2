// SPDX-License-Identifier: Apache-2.0
// package/src/rec/recsweep.cpp - deletion of marked records: the mark durable, then the file, then the row.
#include "package/recsweep.h"

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <cerrno>
#include <exception>
#include <map>
#include <utility>

#include "db/driver.h"
#include "package/event.h"
#include "package/root.h"
#include "pkglog.h"
#include "recfiles_internal.h"
#include "recmark_internal.h"
#include "recrows_internal.h"
#include "unique_fd.h"

namespace {

struct MarkedRow {
    std::int64_t id;
    std::string path;
};

int ListMarked(REC_KIND kind, const std::string& dbPath, const std::string& more, std::list<MarkedRow>& found)
{
    RecRows rows;
    if (rows.Load(dbPath, std::string("SELECT id, path FROM ") + RecTableOf(kind).table +
                              " WHERE mark_as_del = 1 AND " + more) != 0) {
        return -1;
    }
    while (rows.Next()) {
        found.push_back({rows.Number("id"), rows.Text("path")});
    }
    return 0;
}

/// What whoever reads that a file cannot be deleted is to do.
const char* RemedyFor(int error) noexcept
{
    switch (error) {
    case EACCES:
    case EPERM:
        return "let this user write in its folder";
    case EROFS:
        return "mount its volume for writing";
    default:
        return "see to its volume";
    }
}

/// Removes the files of rows and sorts their ids by what became of them.
struct FileSweep {
    std::list<std::int64_t> gone; ///< their files are out of the way
    std::list<std::int64_t> left; ///< their files stay

    void Remove(RecFiles& files, const MarkedRow& row)
    {
        const REC_FILE outcome = row.path.empty() ? REC_FILE::GONE : files.Unlink(row.path);
        const int error = errno;
        (outcome == REC_FILE::OK || outcome == REC_FILE::GONE ? gone : left).push_back(row.id);
        if (outcome == REC_FILE::REFUSED) {
            PKG_LOG(LOG_CATEG_ROTATE, LOG_LEVEL_ERR,
                    "Refused to delete [%s]: it is no plain file below rec. See vx event check.\n",
                    row.path.c_str());
        } else if (outcome == REC_FILE::FAILED) {
            TellFailed(row.path, error);
        }
    }

private:
    /// Once for the files of a folder, which follow each other: a folder that may not be written has thousands.
    void TellFailed(const std::string& path, int error)
    {
        std::string folder = path.substr(0, path.rfind('/') + 1);
        if (error != m_toldError || folder != m_toldFolder) {
            m_toldError = error;
            m_toldFolder = std::move(folder);
            errno = error;
            PKG_LOG(
                LOG_CATEG_ROTATE, LOG_LEVEL_ERR,
                "Failed to delete file [%s]: %m. It stays marked and makes no room, and so may others beside "
                "it; %s, and the next sweep deletes them.\n",
                path.c_str(), RemedyFor(error));
        }
    }

    int m_toldError = 0;
    std::string m_toldFolder;
};

/// Opens rec/ and makes sure that it belongs to the database. What is opened is what is compared: a volume that
/// is mounted or unmounted in between would make every file look gone.
int OpenVolume(const std::string& dbPath, RecFiles& files)
{
    if (files.Open() != 0) {
        PKG_LOG(LOG_CATEG_ROTATE, LOG_LEVEL_ERR, "Failed to open the folder of recordings: %m.\n");
        return -1;
    }
    std::string why;
    if (CheckRecVolume(dbPath, &why) != REC_VOLUME::SAME) {
        PKG_LOG(LOG_CATEG_ROTATE, LOG_LEVEL_ERR, "Nothing is deleted: %s.\n", why.c_str());
        return -1;
    }
    struct stat opened {};
    struct stat named {};
    const std::string rec = GetPackageRoot() + "/rec";
    if (::fstat(files.Fd(), &opened) != 0 || ::stat(rec.c_str(), &named) != 0 ||
        opened.st_dev != named.st_dev || opened.st_ino != named.st_ino) {
        PKG_LOG(LOG_CATEG_ROTATE, LOG_LEVEL_ERR, "Nothing is deleted: [%s] is being exchanged.\n",
                rec.c_str());
        return -1;
    }
    return 0;
}

/// Whether rows of a database could be deleted now, with their marks durable.
int PrepareRows(const std::string& dbPath)
{
    if (VxDB::Executep(dbPath, "BEGIN IMMEDIATE;COMMIT;") != 0) {
        return -1; // locked for long, or not to be written
    }
    if (const DbOutcome outcome = SyncDatabase(dbPath); !outcome.Ok()) {
        PKG_LOG(LOG_CATEG_ROTATE, LOG_LEVEL_ERR, "Nothing is deleted: %s.\n", outcome.text.c_str());
        return -1;
    }
    return 0;
}

int DeleteRows(REC_KIND kind, const std::string& dbPath, std::list<MarkedRow> rows, int& deleted)
{
    RecFiles files;
    if (OpenVolume(dbPath, files) != 0 || PrepareRows(dbPath) != 0) {
        return -1;
    }
    // Cameras record side by side: in order of their paths each folder is entered once.
    rows.sort([](const MarkedRow& a, const MarkedRow& b) { return a.path < b.path; });
    FileSweep sweep;
    for (const MarkedRow& row : rows) {
        sweep.Remove(files, row);
    }
    files.Settle();
    const std::string table = RecTableOf(kind).table;
    // Nobody knows when they go; whoever asks what comes free goes by their size.
    if (!sweep.left.empty() &&
        VxDB::Executep(dbPath, "UPDATE " + table + " SET size = 0 WHERE size <> 0 AND id IN (" +
                                   IdsText(sweep.left) + ");") != 0) {
        return -1;
    }
    if (!sweep.gone.empty()) {
        // Whoever marked them may have been killed before it came to their bookmarks.
        const bool isEvent = kind == REC_KIND_EVENT;
        if ((isEvent && DeleteBookmarks(ArchPullUtils::GetTaskId(dbPath), sweep.gone) != 0) ||
            VxDB::Executep(dbPath, "DELETE FROM " + table + " WHERE mark_as_del = 1 AND id IN (" +
                                       IdsText(sweep.gone) + ");") != 0) {
            return -1;
        }
        deleted += static_cast<int>(sweep.gone.size());
    }
    return sweep.left.empty() ? 0 : -1;
}

/// One sweep at a time lists and deletes a batch: another one would count the same rows, and remove the file that a
/// recorder has made anew under a name that came free in between.
class SweepLock {
public:
    SweepLock()
    {
        const std::string path = GetPackagePath(PackageDir::RUN, "sweep.lock");
        m_fd = UniqueFd(::open(path.c_str(), O_RDWR | O_CREAT | O_NOFOLLOW | O_CLOEXEC, 0600));
        while (m_fd && ::flock(m_fd.Get(), LOCK_EX) != 0) {
            if (errno != EINTR) {
                m_fd = UniqueFd();
            }
        }
        if (!m_fd) {
            PKG_LOG(LOG_CATEG_ROTATE, LOG_LEVEL_ERR, "Failed to lock [%s]: %m.\n", path.c_str());
        }
    }
    explicit operator bool() const noexcept { return static_cast<bool>(m_fd); }

private:
    UniqueFd m_fd;
};

} // namespace

int CountMarkedRecords(REC_KIND kind, int archTaskId, long long& count) noexcept
try {
    const std::string dbPath = RecDBPath(kind, archTaskId);
    std::int64_t found = 0;
    if (::access(dbPath.c_str(), F_OK) == 0 &&
        LoadNumber(dbPath,
                   std::string("SELECT COUNT(*) AS n FROM ") + RecTableOf(kind).table +
                       " WHERE mark_as_del = 1",
                   found) != 0) {
        return -1;
    }
    count = found;
    return 0;
} catch (const std::exception& error) {
    PKG_LOG(LOG_CATEG_ROTATE, LOG_LEVEL_ERR, "Failed to count marked records [%s].\n", error.what());
    return -1;
}

int DeleteMarkedRecords(REC_KIND kind, int archTaskId, int limit, long long& afterId, int& deleted) noexcept
try {
    const std::string dbPath = RecDBPath(kind, archTaskId);
    if (::access(dbPath.c_str(), F_OK) != 0) {
        return 0; // never recorded, and asking would make it
    }
    const SweepLock lock;
    std::list<MarkedRow> rows;
    if (!lock || ListMarked(kind, dbPath,
                            "id > " + std::to_string(afterId) + " ORDER BY id LIMIT " + std::to_string(limit),
                            rows) != 0) {
        return -1;
    }
    if (rows.empty()) {
        return 0;
    }
    afterId = rows.back().id;
    const int size = static_cast<int>(rows.size());
    return DeleteRows(kind, dbPath, std::move(rows), deleted) != 0 ? -1 : (size == limit ? 1 : 0);
} catch (const std::exception& error) {
    PKG_LOG(LOG_CATEG_ROTATE, LOG_LEVEL_ERR, "Failed to delete marked records [%s].\n", error.what());
    return -1;
}

int DeleteMultiEvents(const std::list<Event>& events, int& deleted) noexcept
try {
    std::map<std::string, std::list<std::int64_t>> byDB;
    for (const Event& event : events) {
        byDB[event.GetDBPath().empty() ? RecDBPath(REC_KIND_EVENT) : event.GetDBPath()].push_back(
            event.GetId());
    }
    const SweepLock lock;
    int result = lock ? 0 : -1;
    for (const auto& [dbPath, ids] : result == 0 ? byDB : decltype(byDB)()) {
        std::list<MarkedRow> rows;
        if (ListMarked(REC_KIND_EVENT, dbPath, "id IN (" + IdsText(ids) + ")", rows) != 0 ||
            DeleteRows(REC_KIND_EVENT, dbPath, std::move(rows), deleted) != 0) {
            result = -1;
        }
    }
    return result;
} catch (const std::exception& error) {
    PKG_LOG(LOG_CATEG_ROTATE, LOG_LEVEL_ERR, "Failed to delete events [%s].\n", error.what());
    return -1;
}
