// SPDX-License-Identifier: Apache-2.0
// vxrbmutex.h - a mutex in shared memory that survives the death of its holder.
#pragma once

#include <pthread.h>

#include "package/export.h"

/// Process-shared, robust, error-checking mutex. Lives in shared memory, so it has no constructor and no
/// destructor: the process that makes the segment calls Init(), all others use it as they find it.
///
/// Its bytes are not believed: a mutex that has been written over by somebody is refused, not waited for.
class VxRbMutex {
public:
    /// Makes the mutex. A failure is printed; the mutex is then of the best kind that the system offers.
    ///
    /// @return 0; -1 if it is not robust, error-checking and process-shared.
    VX_API int Init() noexcept;

    /// Takes the mutex. A holder that died hands it over; a thread that holds it already ends the process.
    ///
    /// @return 0 when held; -1 when this is no usable mutex (never made, or overwritten): nothing is held.
    /// Thread-safety: any thread of any process that has the segment attached.
    [[nodiscard]] VX_API int Lock() noexcept;

    /// Gives the mutex back. Only after Lock() gave 0.
    VX_API void Unlock() noexcept;

private:
    friend struct ShmLayout;

    pthread_mutex_t m_mutex;
};

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
