// SPDX-License-Identifier: Apache-2.0
// package/src/rec/recspace.cpp - how much is recorded, and how much room its volume has.
#include <sys/statvfs.h>

#include <algorithm>
#include <cerrno>
#include <exception>

#include "package/recsweep.h"
#include "package/root.h"
#include "pkglog.h"
#include "recfiles_internal.h"
#include "recrows_internal.h"

namespace {

constexpr long long DEFAULT_RESERVE_MB = 1024;
constexpr long long BYTES_PER_MB = 1024 * 1024;

/// The size of live records, megabytes, a begun one counted as whole, one below 0 as none.
int LoadSizeMB(REC_KIND kind, const std::string& dbPath, const std::string& condition,
               long long& sizeMB) noexcept
try {
    std::int64_t bytes = 0;
    if (LoadNumber(dbPath,
                   std::string("SELECT COALESCE(SUM(MAX(size, 0)), 0) AS n FROM ") + RecTableOf(kind).table +
                       " WHERE mark_as_del = 0 AND " + condition,
                   bytes) != 0) {
        return -1;
    }
    sizeMB = bytes / BYTES_PER_MB + (bytes % BYTES_PER_MB > 0 ? 1 : 0);
    return 0;
} catch (const std::exception& error) {
    PKG_LOG(LOG_CATEG_ROTATE, LOG_LEVEL_ERR, "Failed to sum up sizes in [%s]: %s.\n", dbPath.c_str(),
            error.what());
    return -1;
}

} // namespace

int GetCamGroupSize(int camId, int recGroup, long long& sizeMB) noexcept
try {
    return LoadSizeMB(REC_KIND_EVENT, RecDBPath(REC_KIND_EVENT),
                      "camera_id = " + std::to_string(camId) + " AND rec_group = " + std::to_string(recGroup),
                      sizeMB);
} catch (const std::exception&) {
    return -1;
}

int GetTaskDBSize(int archTaskId, long long& sizeMB) noexcept
try {
    return LoadSizeMB(REC_KIND_EVENT, RecDBPath(REC_KIND_EVENT, archTaskId),
                      "camera_id = " + std::to_string(archTaskId), sizeMB);
} catch (const std::exception&) {
    return -1;
}

int GetTotalRecordSize(REC_KIND kind, int ownerId, long long& sizeMB) noexcept
try {
    return LoadSizeMB(kind, RecDBPath(kind),
                      std::string(RecTableOf(kind).owner) + " = " + std::to_string(ownerId), sizeMB);
} catch (const std::exception&) {
    return -1;
}

int GetRecViolateDateLimit(REC_KIND kind, int ownerId, long long boundTime, bool& violates) noexcept
try {
    const RecTable& table = RecTableOf(kind);
    RecRows rows;
    if (rows.Load(RecDBPath(kind), std::string("SELECT id FROM ") + table.table +
                                       " WHERE mark_as_del = 0 AND " + table.owner + " = " +
                                       std::to_string(ownerId) + " AND stop_time < " +
                                       std::to_string(boundTime) + " LIMIT 1") != 0) {
        return -1;
    }
    violates = rows.Next();
    return 0;
} catch (const std::exception& error) {
    PKG_LOG(LOG_CATEG_ROTATE, LOG_LEVEL_ERR, "Failed to look for old records [%s].\n", error.what());
    return -1;
}

bool MayDeleteRecFile(const std::string& path) noexcept
try {
    RecFiles files;
    return files.Open() != 0 || files.MayUnlinkBeside(path) ||
           (errno != EACCES && errno != EPERM && errno != EROFS);
} catch (const std::exception&) {
    return true;
}

int GetVolumeSpaceMB(const std::string& path, long long& freeMB, long long& totalMB) noexcept
{
    struct statvfs info {};
    if (::statvfs(path.c_str(), &info) != 0) {
        PKG_LOG(LOG_CATEG_ROTATE, LOG_LEVEL_ERR, "Failed to read the free space of [%s]: %m.\n",
                path.c_str());
        return -1;
    }
    const auto block = static_cast<double>(info.f_frsize) / static_cast<double>(BYTES_PER_MB);
    freeMB = static_cast<long long>(static_cast<double>(info.f_bavail) * block);
    totalMB = static_cast<long long>(static_cast<double>(info.f_blocks) * block);
    return 0;
}

long long GetRecReserveMB() noexcept
try {
    RecRows rows;
    if (rows.Load(VxDB::DB_SYSTEM, std::string("SELECT value FROM ") + gszTableRecSetting +
                                       " WHERE name = 'reserve_mb'") != 0 ||
        !rows.Next()) {
        return DEFAULT_RESERVE_MB;
    }
    return std::max<long long>(0, rows.Number("value"));
} catch (const std::exception&) {
    return DEFAULT_RESERVE_MB;
}

int SetRecReserveMB(long long megabytes) noexcept
try {
    return VxDB::Execute(VxDB::DB_SYSTEM, std::string("INSERT OR REPLACE INTO ") + gszTableRecSetting +
                                              " (name,value) VALUES ('reserve_mb'," +
                                              std::to_string(megabytes) + ");");
} catch (const std::exception& error) {
    PKG_LOG(LOG_CATEG_ROTATE, LOG_LEVEL_ERR, "Failed to set the reserve [%s].\n", error.what());
    return -1;
}

bool RecDirSpcChecker::IsRecordingShareReachLimit(const std::string& sharePath) noexcept
try {
    const std::string rec = GetPackageDir(PackageDir::REC);
    const std::string path = sharePath.empty()          ? rec
                             : sharePath.front() == '/' ? sharePath
                                                        : rec + "/" + sharePath;
    long long freeMB = 0;
    long long totalMB = 0;
    return GetVolumeSpaceMB(path, freeMB, totalMB) == 0 && freeMB < GetRecReserveMB();
} catch (const std::exception&) {
    return false;
}
