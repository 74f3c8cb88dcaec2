// SPDX-License-Identifier: Apache-2.0
// utils/shm_segment.cpp - the only place that calls the kernel's shared-memory functions.
#include "shm_segment_internal.h"

#include <sys/ipc.h>
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstdint>
#include <ctime>

namespace {

/// Length of each mapping of this process, by its address. Shared memory says nothing true about its own
/// length, so this table does. Open addressing, no lock: a thread or a child after fork() never waits.
class MappingTable {
public:
    bool Insert(const void* pAddr, std::size_t bytes) noexcept
    {
        const auto addr = reinterpret_cast<std::uintptr_t>(pAddr);
        for (std::size_t i = 0; i < SIZE; ++i) {
            Mapping& place = m_mappings[(Start(addr) + i) % SIZE];
            std::uintptr_t seen = place.addr.load(std::memory_order_relaxed);
            if (seen > REMOVED ||
                !place.addr.compare_exchange_strong(seen, RESERVED, std::memory_order_relaxed)) {
                continue;
            }
            place.bytes.store(bytes, std::memory_order_relaxed);
            place.addr.store(addr, std::memory_order_release); // pairs with the load in Find()
            return true;
        }
        return false;
    }

    std::size_t Find(const void* pAddr) const noexcept
    {
        const std::size_t at = Search(reinterpret_cast<std::uintptr_t>(pAddr));
        return at == SIZE ? 0 : m_mappings[at].bytes.load(std::memory_order_relaxed);
    }

    /// @return whether the address was in the table; of two callers with one address, one gets true.
    bool Remove(const void* pAddr) noexcept
    {
        auto addr = reinterpret_cast<std::uintptr_t>(pAddr);
        const std::size_t at = Search(addr);
        return at != SIZE &&
               m_mappings[at].addr.compare_exchange_strong(addr, REMOVED, std::memory_order_relaxed);
    }

private:
    static constexpr std::size_t SIZE = 8192;
    static constexpr std::uintptr_t REMOVED = 1;
    static constexpr std::uintptr_t RESERVED = 2;

    struct Mapping {
        std::atomic<std::uintptr_t> addr; ///< 0 never used, or one of the above, or a page's address
        std::atomic<std::size_t> bytes;
    };

    static std::size_t Start(std::uintptr_t addr) noexcept { return (addr >> 12U) * 31U; }

    std::size_t Search(std::uintptr_t addr) const noexcept
    {
        if (addr <= RESERVED) {
            return SIZE;
        }
        for (std::size_t i = 0; i < SIZE; ++i) {
            const std::size_t at = (Start(addr) + i) % SIZE;
            const std::uintptr_t seen =
                m_mappings[at].addr.load(std::memory_order_acquire); // pairs with Insert()
            if (seen == addr) {
                return at;
            }
            if (seen == 0) {
                break;
            }
        }
        return SIZE;
    }

    Mapping m_mappings[SIZE];
};

constinit MappingTable g_mappings{};

} // namespace

int FindSegment(int key) noexcept
{
    return ::shmget(key, 0, 0);
}

int CreateSegment(int key, std::size_t bytes) noexcept
{
    return ::shmget(key, bytes, IPC_CREAT | IPC_EXCL | 0666);
}

int RemoveSegment(int shmId) noexcept
{
    return ::shmctl(shmId, IPC_RMID, nullptr);
}

int RemoveOwnSegment(int shmId, int key) noexcept
{
    shmid_ds stat{};
    if (StatSegment(shmId, stat) == 0 && stat.shm_perm.__key != key) {
        errno = EINVAL;
        return -1;
    }
    return RemoveSegment(shmId);
}

bool HasLength(int shmId, std::size_t bytes) noexcept
{
    shmid_ds stat{};
    return StatSegment(shmId, stat) == 0 && stat.shm_segsz == bytes;
}

int TouchSegment(const void* pAddr) noexcept
{
    const std::size_t bytes = SegmentBytesAt(pAddr);
    if (bytes == 0) {
        errno = EFAULT;
        return -1;
    }
    constexpr int POPULATE_WRITE = 23; // since Linux 5.14: says what a touch would end the process for
    if (::madvise(const_cast<void*>(pAddr), bytes, POPULATE_WRITE) != 0 && errno != EINVAL) {
        return -1;
    }
    // An older kernel refuses the advice, an emulator takes it and does nothing: touched all the same.
    auto* const pBytes = static_cast<unsigned char*>(const_cast<void*>(pAddr));
    const auto page = static_cast<std::size_t>(::sysconf(_SC_PAGESIZE));
    for (std::size_t at = 0; at < bytes; at += page) {
        std::atomic_ref<unsigned char>(pBytes[at])
            .fetch_or(0, std::memory_order_relaxed); // a write that keeps it
    }
    return 0;
}

int StatSegment(int shmId, shmid_ds& stat) noexcept
{
    return ::shmctl(shmId, IPC_STAT, &stat);
}

void* AttachSegment(int shmId, std::size_t minBytes, bool readOnly) noexcept
{
    void* const pAddr = ::shmat(shmId, nullptr, readOnly ? SHM_RDONLY : 0);
    if (pAddr == reinterpret_cast<void*>(-1)) {
        return nullptr;
    }
    shmid_ds stat{};
    int why = 0;
    if (StatSegment(shmId, stat) != 0) {
        why = errno;
    } else if (stat.shm_segsz < minBytes) {
        why = EINVAL;
    } else if (!g_mappings.Insert(pAddr, stat.shm_segsz)) {
        why = ENOMEM;
    }
    if (why != 0) {
        static_cast<void>(::shmdt(pAddr)); // mapped a moment ago: cannot fail
        errno = why;
        return nullptr;
    }
    return pAddr;
}

void DetachSegment(const void* pAddr) noexcept
{
    if (g_mappings.Remove(pAddr)) {
        static_cast<void>(::shmdt(pAddr)); // in the table, so it is a mapping: cannot fail
    }
}

std::size_t SegmentBytesAt(const void* pAddr) noexcept
{
    return g_mappings.Find(pAddr);
}

void RetryPause::Wait() noexcept
{
    const int kept = errno;
    const timespec pause{m_ms / 1000, (m_ms % 1000) * 1000000L};
    static_cast<void>(::nanosleep(&pause, nullptr)); // cut short by a signal: the next try comes earlier
    m_ms = std::min(m_ms * 2, 1000);
    errno = kept;
}
