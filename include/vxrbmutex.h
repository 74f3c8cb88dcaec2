// SPDX-License-Identifier: Apache-2.0
// vxrbmutex.h - a mutex in shared memory that survives the death of its holder.
#pragma once

#include <pthread.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <ctime>

#include "package/export.h"
#include "vxlog.h"

/// Process-shared, robust, error-checking mutex. Lives in shared memory, so it has no constructor and no
/// destructor: the process that makes the segment calls Init(), all others use it as they find it.
///
/// Its bytes are not believed: a mutex that somebody has written over is refused, not waited for.
class VxRbMutex {
public:
    /// Makes the mutex. A failure is printed; the mutex is then the best that the system offers.
    ///
    /// @return 0; -1 if it is not robust, error-checking and process-shared.
    int Init() noexcept;

    /// Takes the mutex. A holder that died hands it over; a thread that holds it already ends the process.
    ///
    /// @return 0 when held; -1 when this is no usable mutex (overwritten): nothing is held.
    /// Thread-safety: any thread of any process that has the segment attached.
    [[nodiscard]] int Lock() noexcept;

    /// Gives the mutex back. Only after Lock() gave 0.
    void Unlock() noexcept { static_cast<void>(::pthread_mutex_unlock(&m_mutex)); }

private:
    friend struct ShmLayout;

    static constexpr int OWNER_CHECK_MS = 100; ///< a wait this long asks whether the holder still lives
    static constexpr int MAX_DEAD_CHECKS = 10; ///< so many answers "no" in a row, and the mutex is refused

    VX_API bool LooksLikeMutex() const noexcept;
    VX_API bool OwnerIsAlive() const noexcept;
    VX_API static int MakeMutex(pthread_mutex_t& mutex, bool robust) noexcept;
    int WaitForLock() noexcept;

    pthread_mutex_t m_mutex;
};

inline int VxRbMutex::Init() noexcept
{
    if (MakeMutex(m_mutex, true) == 0) {
        return 0;
    }
    VxPrintf(0, "", "", VX_LOG_FILE, __LINE__, __func__, "Failed to init mutex\n");
    static_cast<void>(MakeMutex(m_mutex, false)); // a system without robust mutexes still locks
    return -1;
}

/// Waits in slices: a living holder is waited for, the kernel hands over what a dead one held. Words that
/// somebody wrote over name a holder that does not exist, and would be waited for without end.
inline int VxRbMutex::WaitForLock() noexcept
{
    int deadChecks = 0;
    for (;;) {
        timespec until{};
        ::clock_gettime(CLOCK_REALTIME, &until);
        until.tv_nsec += OWNER_CHECK_MS * 1000000L;
        until.tv_sec += until.tv_nsec / 1000000000L;
        until.tv_nsec %= 1000000000L;
        const int rc = ::pthread_mutex_timedlock(&m_mutex, &until);
        if (rc != ETIMEDOUT) {
            return rc;
        }
        deadChecks = OwnerIsAlive() ? 0 : deadChecks + 1;
        if (deadChecks >= MAX_DEAD_CHECKS) {
            return EINVAL;
        }
    }
}

inline int VxRbMutex::Lock() noexcept
{
    if (!LooksLikeMutex()) {
        return -1;
    }
    int rc = ::pthread_mutex_trylock(&m_mutex);
    if (rc == EBUSY) {
        rc = WaitForLock();
    }
    if (rc == EOWNERDEAD) {
        static_cast<void>(::pthread_mutex_consistent(&m_mutex)); // the data behind it is good at every moment
        rc = 0;
    }
    if (rc == EDEADLK) {
        Unlock();
        VxPrintf(0, "", "", VX_LOG_FILE, __LINE__, __func__, "Potential self-deadlock detected!\n");
        ::_exit(0);
    }
    return rc == 0 ? 0 : -1;
}

/// Holds a VxRbMutex for a scope. Held() is false when the mutex was unusable.
class VxRbGuard {
public:
    explicit VxRbGuard(VxRbMutex& mutex) noexcept : m_mutex(mutex), m_held(mutex.Lock() == 0) {}
    ~VxRbGuard()
    {
        if (m_held) {
            m_mutex.Unlock();
        }
    }
    VxRbGuard(const VxRbGuard&) = delete;
    VxRbGuard& operator=(const VxRbGuard&) = delete;

    [[nodiscard]] bool Held() const noexcept { return m_held; }

private:
    VxRbMutex& m_mutex;
    const bool m_held;
};
