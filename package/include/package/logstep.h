// SPDX-License-Identifier: Apache-2.0
// package/logstep.h - the decision whether a message is to be written. Inlined into every call site.
#pragma once

#include <unistd.h>

#include <atomic>
#include <cerrno>

#include "package/dbglog.h"
#include "package/logenum.h"

/// Restores errno when it goes: a log line never changes what its caller is about to read.
class ErrnoKeeper {
public:
    ErrnoKeeper() noexcept : m_errno(errno) {}
    ~ErrnoKeeper() { errno = m_errno; }
    ErrnoKeeper(const ErrnoKeeper&) = delete;
    ErrnoKeeper& operator=(const ErrnoKeeper&) = delete;

    /// Puts the caller's errno back now, for a message that prints it (%m).
    void Restore() const noexcept { errno = m_errno; }

private:
    int m_errno;
};

/// A word that other processes or threads change meanwhile. Relaxed: each word stands for itself, and whoever
/// needs an order between words (the pid list) gets it from how they are written, see SetDbgLogPids().
template <typename T>
[[gnu::always_inline]] inline T VxLogLoad(T& word) noexcept
{
    return std::atomic_ref<T>(word).load(std::memory_order_relaxed);
}

/// Loads the configuration at the first message of a process, and again while there is none.
///
/// @return the configuration; null when there is none: everything is written.
[[gnu::always_inline]] inline DbgLogCfg* VxLogCfg() noexcept
{
    DbgLogCfg* pCfg = VxLogLoad(g_pDbgLogCfg);
    if (pCfg == nullptr) [[unlikely]] {
        const ErrnoKeeper errnoKeeper;
        ReinitDbgLogCfg();
        pCfg = VxLogLoad(g_pDbgLogCfg);
    }
    return pCfg;
}

/// Whether a message of this category and level is to be written by this process.
///
/// The pid list names the processes that the thresholds apply to; every other process writes everything.
/// Cost:          three loads and two comparisons without a pid list; no call once configured, no allocation.
/// Thread-safety: any thread.
[[gnu::always_inline]] inline bool VxLogWanted(LOG_CATEG categ, LOG_LEVEL level) noexcept
{
    DbgLogCfg* const pCfg = VxLogCfg();
    if (pCfg == nullptr) [[unlikely]] {
        return true;
    }
    if (categ < 0 || categ >= DbgLogCfg::CATEG_COUNT) {
        return true; // no threshold can silence it; folded away where the category is a constant
    }
    std::int32_t pidCount = VxLogLoad(pCfg->pidCount);
    if (pidCount > 0) [[unlikely]] {
        std::int32_t self = VxLogLoad(g_DbgLogPid);
        if (self == 0) {
            self = ::getpid();
            std::atomic_ref<std::int32_t>(g_DbgLogPid).store(self, std::memory_order_relaxed);
            pidCount = VxLogLoad(pCfg->pidCount);
            if (pidCount <= 0) {
                return true;
            }
        }
        if (pidCount > DbgLogCfg::MAX_PID_COUNT) {
            pidCount = DbgLogCfg::MAX_PID_COUNT; // a damaged count reads no further than the record
        }
        bool listed = false;
        for (std::int32_t i = 0; i < pidCount && !listed; ++i) {
            listed = VxLogLoad(pCfg->pid[i]) == self;
        }
        if (!listed) {
            return true;
        }
    }
    return VxLogLoad(pCfg->threshold[categ]) >= level;
}
