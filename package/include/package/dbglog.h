// SPDX-License-Identifier: Apache-2.0
// package/dbglog.h - the debug-log configuration that all processes share, and the writer of log lines.
#pragma once

#include <bit>
#include <cstdarg>
#include <cstddef>
#include <cstdint>

#include "package/export.h"

/// The debug-log configuration record, mapped shared by every process from the file run/dbglog.cfg below the
/// package root. All words are 32-bit signed little-endian; a process changes a word with one store, a call
/// site reads it with one load. Nothing that is read from it is believed: see VxLogWanted().
///
///   offset       field       meaning
///   0x000        lead        leading word, not read by a call site; this package writes 1
///   0x004 + 4n   threshold   highest level that category n lets through, n = 0..511
///   0x804        pidCount    valid entries in the pid list; 0 or less: no list
///   0x808        pid         processes that the thresholds apply to; all others log everything
///
/// Invariant: entries at and behind pidCount are 0, which is nobody's id.
struct DbgLogCfg {
    static constexpr int CATEG_COUNT = 512;
    static constexpr int MAX_PID_COUNT = 510; ///< fills the record to one page of 4096 bytes

    std::int32_t lead;
    std::int32_t threshold[CATEG_COUNT];
    std::int32_t pidCount;
    std::int32_t pid[MAX_PID_COUNT];
};
static_assert(offsetof(DbgLogCfg, lead) == 0);
static_assert(offsetof(DbgLogCfg, threshold) == 4);
static_assert(offsetof(DbgLogCfg, pidCount) == 0x804);
static_assert(offsetof(DbgLogCfg, pid) == 0x808);
static_assert(sizeof(DbgLogCfg) == 4096);
static_assert(std::endian::native == std::endian::little);

/// Null until loaded. Set by ReinitDbgLogCfg() alone.
VX_API extern DbgLogCfg* g_pDbgLogCfg;

/// This process's id as the logging step last saw it; 0 = not yet known. Never reset: a child made by fork()
/// that does not exec is filtered as its parent is.
VX_API extern std::int32_t g_DbgLogPid;

/// Loads (or loads again) the shared configuration and sets g_pDbgLogCfg.
///
/// Never makes the file. One that is missing, shorter than the record or unreadable leaves g_pDbgLogCfg as it
/// is: null at first, and then every message is written and the next one tries again.
/// Thread-safety: any thread; a record that another thread still reads stays mapped.
VX_API void ReinitDbgLogCfg() noexcept;

/// Kind of output; all kinds are written alike. Every call passes 0 but one of the mark-as-deleted sweep (2).
using LOG_TYPE = int;

/// Writes one log line to log/vx.log below the package root, or to standard error where VX_LOG_STDERR is set
/// or the file cannot be opened. No filtering: that is the caller's logging step.
///
///   2026-11-21T03:36:00.123Z 4711 4712 shmfifo ERR utils/shmfifo:120 WriteData: Failed to write data.
///   time (UTC)               pid  tid  category level place          function   text without its newline
///
/// - One write() a message, so that lines of many processes never mix. Control characters in the text are
///   written as `\n`, `\r`, `\t` or `\xHH`; a text above 64 KiB is cut, with a mark.
/// - A message that repeats the one before, from the same place, is counted instead: "[repeated n times] text"
///   comes with the next other message, after five seconds of repetition, or at the process's end.
/// - At VX_LOG_MAX_BYTES (8 MiB by default) the file becomes vx.log.1 and a new one is begun; VX_LOG_KEEP (1)
///   old files are kept, and no line is lost on the way into them.
/// - What cannot be written (full disk) is counted and told by the next line that can: "dropped n lines".
///
/// errno is kept; %m prints the caller's.
/// Cost:          about one write(); no allocation below 2 KiB.
/// Thread-safety: any thread, also in a child after fork(). Not from a signal handler: it takes a lock.
VX_API void VxVPrintf(LOG_TYPE type, const char* categText, const char* levelText, const char* file, int line,
                      const char* func, const char* fmt, va_list args) noexcept
    __attribute__((format(printf, 7, 0)));

/// Writes what is counted, and lets go of the log file; the next message opens it anew, under the package
/// root and settings (VX_ROOT, VX_LOG_MAX_BYTES, VX_LOG_KEEP, VX_LOG_STDERR) of that time. For a daemon that
/// has closed all descriptors, and for a test.
///
/// Thread-safety: any thread.
VX_API void ReopenDbgLog() noexcept;
