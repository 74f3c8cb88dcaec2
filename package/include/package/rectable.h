// SPDX-License-Identifier: Apache-2.0
// package/rectable.h - what the tables of recorded things have in common.
//
// Columns that all of them have: id, start_time and end_time (seconds since 1970 UTC; end_time is 0 until the
// item is closed), stop_time (made by the database: end_time, or start_time while that is 0, so that an item
// that was never closed sorts where it belongs; it is read, never written), size (bytes), path (relative to
// rec/, "" for none), mark_as_del. Whoever selects "mark_as_del = 0" and one owner uses a partial index.
#pragma once

#include <string>

#include "package/db.h"
#include "package/export.h"

/// Kinds of recorded things.
enum REC_KIND : int {
    REC_KIND_EVENT = 0, ///< events of cameras and archive tasks; owner: camera_id and rec_group
    REC_KIND_LAPSE = 1, ///< time-lapse recordings; owner: task_id
    REC_KIND_IVA = 2,   ///< analytics recordings; owner: task_id
    REC_KIND_FACE = 3,  ///< captured faces; owner: task_id
    REC_KIND_ALERT = 4, ///< alerts; owner: device_id
    REC_KIND_COUNT = 5,
};

/// Where a kind of record is kept.
struct RecTable {
    VxDB::DB_INSTANCE instance;
    const char* table;
    const char* owner; ///< column of the camera, task or device that the record belongs to
    const char* name;  ///< for people: "event", "lapse", "iva", "face", "alert"
};

VX_API const RecTable& RecTableOf(REC_KIND kind) noexcept;

/// The text behind the last "/".
VX_API std::string GetBaseName(const std::string& path);

/// Whole megabytes (of 1048576 bytes) in so many bytes; a rest is left out.
constexpr long long TransformFromByteToMB(long long bytes) noexcept
{
    return bytes / (1024 * 1024);
}

/// Whether the system records nothing and rotates nothing for now: the file etc/nonrec is there.
/// Cheap enough to be asked before each batch.   Thread-safety: any thread.
VX_API bool IsNonRecMode() noexcept;
/// @return 0; -1 (logged).
[[nodiscard]] VX_API int SetNonRecMode(bool on) noexcept;
