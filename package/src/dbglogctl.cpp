// SPDX-License-Identifier: Apache-2.0
// package/src/dbglogctl.cpp - making and changing the shared debug-log configuration.
#include "package/dbglogctl.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <memory>
#include <string>

#include "dbglogcfg_internal.h"
#include "package/dbglog.h"
#include "package/root.h"
#include "pkglog.h"
#include "unique_fd.h"

namespace {

constexpr int LEVEL_MAX = LOG_LEVEL_ALL;

void Store(std::int32_t& word, std::int32_t value,
           std::memory_order order = std::memory_order_relaxed) noexcept
{
    std::atomic_ref<std::int32_t>(word).store(value, order);
}

/// Fails the caller with an errno that its message prints.
int Refuse(int error) noexcept
{
    errno = error;
    return -1;
}

/// The lock that all who change the configuration take, in all processes. Empty on failure (errno).
UniqueFd LockWriters()
{
    const std::string dir = GetPackageDir(PackageDir::RUN);
    if (dir.empty()) {
        return {};
    }
    UniqueFd lock(::open((dir + "/dbglog.lock").c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600));
    while (lock && ::flock(lock.Get(), LOCK_EX) != 0) {
        if (errno != EINTR) {
            return {};
        }
    }
    return lock;
}

/// The record as it is now, mapped for writing. Empty on failure (errno).
struct Unmap {
    void operator()(DbgLogCfg* pCfg) const noexcept { ::munmap(pCfg, sizeof *pCfg); }
};
using MappedCfg = std::unique_ptr<DbgLogCfg, Unmap>;

MappedCfg MapForWriting()
{
    const UniqueFd file(::open(DbgLogCfgPath().c_str(), O_RDWR | O_CLOEXEC | O_NONBLOCK | O_NOCTTY));
    if (!file) {
        return {};
    }
    struct stat info {};
    if (!IsWholeDbgLogCfg(file.Get(), info)) {
        errno = EBADMSG;
        return {};
    }
    void* const pMapped =
        ::mmap(nullptr, sizeof(DbgLogCfg), PROT_READ | PROT_WRITE, MAP_SHARED, file.Get(), 0);
    return MappedCfg(pMapped == MAP_FAILED ? nullptr : static_cast<DbgLogCfg*>(pMapped));
}

bool IsWholeFile(const std::string& path)
{
    const UniqueFd file(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY));
    struct stat info {};
    return file && IsWholeDbgLogCfg(file.Get(), info);
}

int WriteRecord(int fd, const DbgLogCfg& cfg) noexcept
{
    const int reserved = ::posix_fallocate(fd, 0, sizeof cfg); // a mapped page must never lack its block
    if (reserved != 0) {
        return Refuse(reserved);
    }
    const ssize_t written = ::pwrite(fd, &cfg, sizeof cfg, 0);
    if (written != static_cast<ssize_t>(sizeof cfg)) {
        return written < 0 ? -1 : Refuse(ENOSPC);
    }
    return ::fsync(fd);
}

/// Writes a new file under another name and moves it into its place.
int PutRecord(const std::string& path, const DbgLogCfg& cfg)
{
    std::string temporary = path + ".XXXXXX";
    const UniqueFd file(::mkostemp(temporary.data(), O_CLOEXEC));
    if (!file) {
        return -1;
    }
    if (WriteRecord(file.Get(), cfg) != 0 || ::rename(temporary.c_str(), path.c_str()) != 0) {
        const ErrnoKeeper errnoKeeper;
        ::unlink(temporary.c_str());
        return -1;
    }
    return 0;
}

int CreateLocked(int defaultLevel)
{
    const UniqueFd lock = LockWriters();
    if (!lock) {
        return -1;
    }
    const std::string path = DbgLogCfgPath();
    if (IsWholeFile(path)) {
        return 0;
    }
    DbgLogCfg cfg{};
    cfg.lead = 1;
    std::fill(std::begin(cfg.threshold), std::end(cfg.threshold), defaultLevel);
    return PutRecord(path, cfg);
}

int SetThresholdLocked(int categ, int level)
{
    const UniqueFd lock = LockWriters();
    const MappedCfg pCfg = lock ? MapForWriting() : nullptr;
    if (!pCfg) {
        return -1;
    }
    const int first = categ == DBGLOG_ALL_CATEGS ? 0 : categ;
    const int last = categ == DBGLOG_ALL_CATEGS ? DbgLogCfg::CATEG_COUNT - 1 : categ;
    for (int i = first; i <= last; ++i) {
        Store(pCfg->threshold[i], level);
    }
    return 0;
}

// A listed process is the one that is silenced, so at each moment the list may hold entries of the old and of
// the new list and nothing else, and is never empty while it goes from one list to another:
//   1. what lies behind the count is cleared, in case somebody died here before;
//   2. the new entries, one by one, in place of old ones or behind the count;
//   3. the count; release: who sees it sees the entries, or (a reader that looked ahead) old ones or zeros;
//   4. what lies behind it is cleared.
int SetPidsLocked(const std::int32_t* pids, int count)
{
    const UniqueFd lock = LockWriters();
    const MappedCfg pCfg = lock ? MapForWriting() : nullptr;
    if (!pCfg) {
        return -1;
    }
    const int before = std::clamp(pCfg->pidCount, 0, DbgLogCfg::MAX_PID_COUNT);
    for (int i = before; i < DbgLogCfg::MAX_PID_COUNT; ++i) {
        Store(pCfg->pid[i], 0);
    }
    for (int i = 0; i < count; ++i) {
        Store(pCfg->pid[i], pids[i]);
    }
    Store(pCfg->pidCount, count, std::memory_order_release);
    for (int i = count; i < before; ++i) {
        Store(pCfg->pid[i], 0, std::memory_order_release);
    }
    return 0;
}

} // namespace

int CreateDbgLogCfg(int defaultLevel) noexcept
try {
    const bool valid = defaultLevel >= 0 && defaultLevel <= LEVEL_MAX;
    if ((valid ? CreateLocked(defaultLevel) : Refuse(EINVAL)) != 0) {
        PKG_LOG(LOG_CATEG_GENERAL, LOG_LEVEL_ERR,
                "Failed to create debug-log configuration [%s] at level [%d]: %m.\n", DbgLogCfgPath().c_str(),
                defaultLevel);
        return -1;
    }
    return 0;
} catch (const std::exception&) {
    return Refuse(ENOMEM);
}

int SetDbgLogThreshold(int categ, int level) noexcept
try {
    const bool valid =
        categ >= DBGLOG_ALL_CATEGS && categ < DbgLogCfg::CATEG_COUNT && level >= 0 && level <= LEVEL_MAX;
    if ((valid ? SetThresholdLocked(categ, level) : Refuse(EINVAL)) != 0) {
        PKG_LOG(LOG_CATEG_GENERAL, LOG_LEVEL_ERR,
                "Failed to set threshold of category [%d] to [%d] in [%s]: %m.\n", categ, level,
                DbgLogCfgPath().c_str());
        return -1;
    }
    return 0;
} catch (const std::exception&) {
    return Refuse(ENOMEM);
}

int SetDbgLogPids(const std::int32_t* pids, int count) noexcept
try {
    const bool valid = count >= 0 && count <= DbgLogCfg::MAX_PID_COUNT && (count == 0 || pids != nullptr) &&
                       std::all_of(pids, pids + count, [](std::int32_t pid) { return pid > 0; });
    if ((valid ? SetPidsLocked(pids, count) : Refuse(EINVAL)) != 0) {
        PKG_LOG(LOG_CATEG_GENERAL, LOG_LEVEL_ERR, "Failed to set pid list of [%d] in [%s]: %m.\n", count,
                DbgLogCfgPath().c_str());
        return -1;
    }
    return 0;
} catch (const std::exception&) {
    return Refuse(ENOMEM);
}
