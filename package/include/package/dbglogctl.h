// SPDX-License-Identifier: Apache-2.0
// package/dbglogctl.h - making and changing the shared debug-log configuration. What is changed here is
// obeyed by every running process that has it loaded, at its next log call.
//
// Each of these waits for the others in other processes (a lock file beside the record). A failure is logged.
// The record is never to be truncated or written by other means: a process that has it mapped dies of that.
#pragma once

#include <cstdint>

#include "package/export.h"

/// Every category at once, for SetDbgLogThreshold().
inline constexpr int DBGLOG_ALL_CATEGS = -1;

/// Makes the configuration where there is none, or where it is too short to be used: all thresholds at one
/// level, no pid list. One that is there is left as it is.
///
/// The file is there whole or not at all, whenever the process dies; of several processes at once one makes it.
///
/// @param defaultLevel  0..7; 0 silences every category
/// @return 0 (it is there now); -1 with errno.
/// Thread-safety: any thread, any process.
[[nodiscard]] VX_API int CreateDbgLogCfg(int defaultLevel) noexcept;

/// Changes the threshold of one category, or of all.
///
/// @param categ  0..511, or DBGLOG_ALL_CATEGS
/// @param level  0..7, the highest level that is still written
/// @return 0; -1 with errno: EINVAL (arguments; nothing changed), ENOENT (no configuration), EACCES or EROFS.
/// Thread-safety: any thread, any process.
[[nodiscard]] VX_API int SetDbgLogThreshold(int categ, int level) noexcept;

/// Replaces the pid list. No state in between silences a process that is in neither list.
///
/// @param pids   processes that the thresholds apply to, each above 0; may be null when count is 0
/// @param count  0..510; 0 = no list: the thresholds apply to every process
/// @return 0; -1 with errno: EINVAL (arguments; nothing changed), ENOENT (no configuration), EACCES or EROFS.
/// Thread-safety: any thread, any process.
[[nodiscard]] VX_API int SetDbgLogPids(const std::int32_t* pids, int count) noexcept;
