// SPDX-License-Identifier: Apache-2.0
// package/src/shmcommoncfg.cpp - maps the common shared configuration, and keeps its time fresh.
#include "package/shmcommoncfg.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>

#include <atomic>
#include <cerrno>
#include <exception>
#include <string>

#include "package/monoclock.h"
#include "package/root.h"
#include "pkglog.h"
#include "unique_fd.h"

namespace {

constexpr int REFRESH_SEC = 60;
constexpr int RETRY_SEC = 1;

constinit std::atomic<ShmCommonCfg*> g_pCfg{nullptr};
constinit std::atomic<int> g_nextRefreshSec{0};
constinit std::atomic<int> g_nextTrySec{0};

/// Gives the file its length and storage, so that no access to the mapping can fail for want of space.
bool HasRecord(int fd) noexcept
{
    struct stat stat {};
    if (::fstat(fd, &stat) != 0) {
        return false;
    }
    constexpr auto SIZE = static_cast<off_t>(sizeof(ShmCommonCfg));
    const int refused = stat.st_size >= SIZE ? 0 : ::posix_fallocate(fd, 0, SIZE);
    errno = refused != 0 ? refused : errno;
    return refused == 0;
}

ShmCommonCfg* Map() noexcept
try {
    const std::string path = GetPackagePath(PackageDir::RUN, "shmcommon");
    const UniqueFd file(::open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0666));
    void* const pAddr =
        !file || !HasRecord(file.Get())
            ? MAP_FAILED
            : ::mmap(nullptr, sizeof(ShmCommonCfg), PROT_READ | PROT_WRITE, MAP_SHARED, file.Get(), 0);
    if (pAddr == MAP_FAILED) {
        PKG_LOG(LOG_CATEG_SHMFIFO, LOG_LEVEL_ERR, "Failed to map [%s], without which no frame is read: %m.\n",
                path.c_str());
        return nullptr;
    }
    auto* const pCfg = static_cast<ShmCommonCfg*>(pAddr); // a new file is all zeros, as the record starts
    std::atomic_ref<std::int32_t>(pCfg->magic).store(ShmCommonCfg::MAGIC, std::memory_order_relaxed);
    return pCfg;
} catch (const std::exception&) {
    return nullptr; // no memory for a path; asked again later
}

/// Maps the record once for the process. A failure is remembered for a second, so that a caller in a loop
/// does not open files in a loop.
ShmCommonCfg* MapOnce(int nowSec) noexcept
{
    if (nowSec < g_nextTrySec.load(std::memory_order_relaxed)) {
        return nullptr;
    }
    ShmCommonCfg* const pMapped = Map();
    if (pMapped == nullptr) {
        g_nextTrySec.store(nowSec + RETRY_SEC, std::memory_order_relaxed);
        return nullptr;
    }
    ShmCommonCfg* pFirst = nullptr;
    if (!g_pCfg.compare_exchange_strong(pFirst, pMapped,
                                        std::memory_order_acq_rel)) { // pairs with the load below
        ::munmap(pMapped, sizeof(ShmCommonCfg));
        return pFirst;
    }
    return pMapped;
}

} // namespace

ShmCommonCfg* VxShmCommonCfgAt() noexcept
{
    const int nowSec = GetMonoTimeSec();
    ShmCommonCfg* pCfg = g_pCfg.load(std::memory_order_acquire);
    if (pCfg == nullptr) {
        pCfg = MapOnce(nowSec);
        if (pCfg == nullptr) {
            return nullptr;
        }
    }
    const int nextSec = g_nextRefreshSec.load(std::memory_order_relaxed);
    if (nowSec >= nextSec || nextSec - nowSec > REFRESH_SEC) {
        g_nextRefreshSec.store(nowSec + REFRESH_SEC, std::memory_order_relaxed);
        std::atomic_ref<std::int32_t>(pCfg->freshMonoSec).store(nowSec, std::memory_order_relaxed);
    }
    return pCfg;
}
