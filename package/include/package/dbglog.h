// SPDX-License-Identifier: Apache-2.0
// package/dbglog.h - the debug-log configuration that all processes share, and the writer of log lines.
#pragma once

#include <unistd.h>

#include <cstdarg>
#include <cstddef>
#include <cstdint>

#include "package/export.h"

/// The debug-log configuration record, mapped shared by every process. All words are 32-bit signed
/// little-endian; a process changes a word with one relaxed store, a call site reads it with one load.
///
///   offset       field       meaning
///   0x000        lead        leading word, not read by a call site
///   0x004 + 4n   threshold   highest level that category n lets through, n = 0..511
///   0x804        pidCount    valid entries in the pid list; 0 or less: no list
///   0x808        pid         processes that the thresholds apply to; all others log everything
struct DbgLogCfg {
    static constexpr int CATEG_COUNT = 512;
    static constexpr int MAX_PID_COUNT = 510; ///< fills the record to one page of 4096 bytes

    std::int32_t lead;
    std::int32_t threshold[CATEG_COUNT];
    std::int32_t pidCount;
    std::int32_t pid[MAX_PID_COUNT];
};
static_assert(offsetof(DbgLogCfg, threshold) == 4);
static_assert(offsetof(DbgLogCfg, pidCount) == 0x804);
static_assert(offsetof(DbgLogCfg, pid) == 0x808);
static_assert(sizeof(DbgLogCfg) == 4096);

/// Null until loaded. Set by ReinitDbgLogCfg() alone.
VX_API extern DbgLogCfg* g_pDbgLogCfg;

/// This process's id as the logging step last saw it; 0 = not yet known. Never reset.
VX_API extern std::int32_t g_DbgLogPid;

/// Loads (or loads again) the shared configuration and sets g_pDbgLogCfg; leaves it null on failure,
/// and then every message is written.
VX_API void ReinitDbgLogCfg() noexcept;

/// Kind of output; every call of this library passes 0 but one of the mark-as-deleted sweep.
using LOG_TYPE = int;

/// Writes one log line. No filtering: that is the caller's logging step.
VX_API void VxVPrintf(LOG_TYPE type, const char* categText, const char* levelText, const char* file, int line,
                      const char* func, const char* fmt, va_list args) noexcept
    __attribute__((format(printf, 7, 0)));
