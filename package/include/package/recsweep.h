// SPDX-License-Identifier: Apache-2.0
// package/recsweep.h - deletion of marked records of every kind, and the volume that their files are on.
#pragma once

#include <string>
#include <utility>
#include <vector>

#include "package/export.h"
#include "package/rectable.h"

/// The database that the records of a kind are in. @param archTaskId 1 and more: that archive task's events
VX_API std::string RecDBPath(REC_KIND kind, int archTaskId = 0);

/// How many records are marked. @return 0; -1 (logged), `count` unchanged.
[[nodiscard]] VX_API int CountMarkedRecords(REC_KIND kind, int archTaskId, long long& count) noexcept;

/// Deletes at most `limit` marked records of a kind with their files, as DeleteMultiEvents() does. A record whose file
/// cannot be deleted stays marked, is tried by every sweep, and has the size 0 from then on: it makes no room.
///
/// @param afterId  in: only ids above it; out: the last id looked at, unchanged when there was none
/// @param deleted  the rows that went are added
/// @return 1 when there may be more; 0 at the end; -1 (logged).
[[nodiscard]] VX_API int DeleteMarkedRecords(REC_KIND kind, int archTaskId, int limit, long long& afterId,
                                             int& deleted) noexcept;

/// Whether this process may delete files from the folder that a record's file is in. True as well when that cannot be
/// known: for a path that is empty or bad, and for a folder that is not there.
///
/// @return true; false with EACCES, EPERM or EROFS in errno
VX_API bool MayDeleteRecFile(const std::string& path) noexcept;

/// Whether a database and rec/ carry each other's mark. Anything else but SAME removes nothing.
enum class REC_VOLUME {
    SAME,       ///< they belong together
    UNBOUND,    ///< neither has a mark: nothing was ever recorded
    NEW_DB,     ///< rec/ has a mark, the database has none: the database is new or was lost
    NO_VOLUME,  ///< the database has a mark, rec/ has none: its volume is not mounted
    OTHER,      ///< they have different marks
    UNREADABLE, ///< one of them cannot be read
};

/// @param why  set unless SAME: what, where, what to do; may be null
VX_API REC_VOLUME CheckRecVolume(const std::string& dbPath, std::string* why) noexcept;

/// Gives both the same mark where neither has one, and a database without one that of rec/. Whoever adds rows
/// does this first, once.
/// @return 0; -1 (logged): they do not belong together.
[[nodiscard]] VX_API int BindRecVolume(const std::string& dbPath) noexcept;

/// What would follow from giving rec/ the mark of the databases.
enum class REC_ADOPT {
    OK,      ///< rec/ has no mark, or one of no database here: it can take theirs
    SAME,    ///< it has theirs already
    UNBOUND, ///< no database has a mark: the first recording binds them
    MIXED,   ///< the databases have different marks
    FAILED,  ///< logged
};
struct RecAdoption {
    bool hasMark = false;  ///< rec/ bears another mark, which is lost
    long long rows = 0;    ///< live rows with a file
    long long missing = 0; ///< those whose file is not there: vx event repair gives them up
};

/// Gives rec/ the mark of the databases when their own volume is lost for good. No row and no file changes.
/// @param go  false: only finds out
VX_API REC_ADOPT AdoptRecVolume(bool go, RecAdoption& adoption) noexcept;

/// Free and total megabytes of the volume of a folder. @return 0; -1 (logged).
[[nodiscard]] VX_API int GetVolumeSpaceMB(const std::string& path, long long& freeMB,
                                          long long& totalMB) noexcept;

/// Megabytes that recording leaves free on its volume; see SetRecReserveMB(). 1024 unless set.
VX_API long long GetRecReserveMB() noexcept;
[[nodiscard]] VX_API int SetRecReserveMB(long long megabytes) noexcept;

namespace RecDirSpcChecker {
/// Whether the volume of a share ("" for rec/ itself) has less free than is to be left free.
/// A share that cannot be looked at has not reached its limit.
VX_API bool IsRecordingShareReachLimit(const std::string& sharePath) noexcept;
} // namespace RecDirSpcChecker

/// Owner and group (0 for kinds without) of all live records of a database, in order; each by one search of the
/// index. @return 0; -1 (logged), `owners` unchanged.
[[nodiscard]] VX_API int ListRecOwners(REC_KIND kind, const std::string& dbPath,
                                       std::vector<std::pair<int, int>>& owners) noexcept;

/// Size of the live records of an owner, megabytes, a begun one counted as whole. @return 0; -1 (logged).
[[nodiscard]] VX_API int GetTotalRecordSize(REC_KIND kind, int ownerId, long long& sizeMB) noexcept;

/// The same for one recording group of a camera, and for the events of an archive task.
[[nodiscard]] VX_API int GetCamGroupSize(int camId, int recGroup, long long& sizeMB) noexcept;
[[nodiscard]] VX_API int GetTaskDBSize(int archTaskId, long long& sizeMB) noexcept;

/// Whether an owner has live records that ended before `boundTime`. @return 0; -1 (logged).
[[nodiscard]] VX_API int GetRecViolateDateLimit(REC_KIND kind, int ownerId, long long boundTime,
                                                bool& violates) noexcept;

/// Mends what recorders that were killed have left: an empty file that no row names is removed, an event that
/// nobody writes any more is closed with the size and time of its file. Every pass starts with it.
/// @return 0; -1 (logged).
[[nodiscard]] VX_API int RecoverRecorders() noexcept;
