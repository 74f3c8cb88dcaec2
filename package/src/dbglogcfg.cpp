// SPDX-License-Identifier: Apache-2.0
// package/src/dbglogcfg.cpp - loading the shared debug-log configuration.
#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <exception>
#include <mutex>

#include "dbglogcfg_internal.h"
#include "package/dbglog.h"
#include "package/root.h"

DbgLogCfg* g_pDbgLogCfg = nullptr;
std::int32_t g_DbgLogPid = 0;

namespace {

/// Which file is mapped, so that loading it again does not map it again.
struct LoadedFile {
    std::mutex lock;
    DbgLogCfg* pCfg = nullptr;
    dev_t device = 0;
    ino_t inode = 0;
};
constinit LoadedFile g_loaded;

// O_NONBLOCK: something that is no file must not stop the caller before it is recognised.
int OpenCfg(const std::string& path, bool& writable) noexcept
{
    constexpr int FLAGS = O_CLOEXEC | O_NONBLOCK | O_NOCTTY;
    int fd = ::open(path.c_str(), O_RDWR | FLAGS);
    writable = fd >= 0;
    if (fd < 0 && (errno == EACCES || errno == EPERM || errno == EROFS)) {
        fd = ::open(path.c_str(), O_RDONLY | FLAGS);
    }
    return fd;
}

// A record replaced by another is never unmapped: a call site may be reading it.
void LoadFrom(int fd, bool writable) noexcept
{
    struct stat info {};
    if (!IsWholeDbgLogCfg(fd, info)) {
        return;
    }
    const std::lock_guard<std::mutex> held(g_loaded.lock);
    if (g_loaded.pCfg == nullptr || g_loaded.device != info.st_dev || g_loaded.inode != info.st_ino) {
        const int access = writable ? PROT_READ | PROT_WRITE : PROT_READ;
        void* const pMapped = ::mmap(nullptr, sizeof(DbgLogCfg), access, MAP_SHARED, fd, 0);
        if (pMapped == MAP_FAILED) {
            return;
        }
        g_loaded.pCfg = static_cast<DbgLogCfg*>(pMapped);
        g_loaded.device = info.st_dev;
        g_loaded.inode = info.st_ino;
    }
    std::atomic_ref<DbgLogCfg*>(g_pDbgLogCfg).store(g_loaded.pCfg, std::memory_order_release);
}

} // namespace

std::string DbgLogCfgPath()
{
    return GetPackageRoot() + "/run/dbglog.cfg";
}

bool IsWholeDbgLogCfg(int fd, struct stat& info) noexcept
{
    return ::fstat(fd, &info) == 0 && S_ISREG(info.st_mode) &&
           info.st_size >= static_cast<off_t>(sizeof(DbgLogCfg));
}

// Silent on purpose: this is what the logging step itself stands on, and "no configuration" is a usual state.
void ReinitDbgLogCfg() noexcept
try {
    bool writable = false;
    const int fd = OpenCfg(DbgLogCfgPath(), writable);
    if (fd >= 0) {
        LoadFrom(fd, writable);
        ::close(fd);
    }
} catch (const std::exception&) {
    return; // no memory for the path: as if there were no file
}
