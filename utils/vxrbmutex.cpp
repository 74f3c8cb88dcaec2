// SPDX-License-Identifier: Apache-2.0
// utils/vxrbmutex.cpp - how a robust mutex is made, and what its bytes look like when they are one.
#include "vxrbmutex.h"

#include <signal.h>

#include "shm_sync.h"

namespace {

struct MutexAttr {
    MutexAttr() noexcept : made(::pthread_mutexattr_init(&attr) == 0) {}
    ~MutexAttr()
    {
        if (made) {
            static_cast<void>(::pthread_mutexattr_destroy(&attr));
        }
    }
    MutexAttr(const MutexAttr&) = delete;
    MutexAttr& operator=(const MutexAttr&) = delete;

    pthread_mutexattr_t attr{};
    const bool made;
};

} // namespace

int VxRbMutex::MakeMutex(pthread_mutex_t& mutex, bool robust) noexcept
{
    MutexAttr attr;
    if (!attr.made || ::pthread_mutexattr_settype(&attr.attr, PTHREAD_MUTEX_ERRORCHECK) != 0 ||
        ::pthread_mutexattr_setpshared(&attr.attr, PTHREAD_PROCESS_SHARED) != 0) {
        return -1;
    }
    if (robust && ::pthread_mutexattr_setrobust(&attr.attr, PTHREAD_MUTEX_ROBUST) != 0) {
        return -1;
    }
    return ::pthread_mutex_init(&mutex, &attr.attr) == 0 ? 0 : -1;
}

#if defined(__GLIBC__)

// The kind of a mutex never changes in its life. The kernel keeps the holder's thread id in the lock word.

bool VxRbMutex::LooksLikeMutex() const noexcept
{
    struct Kinds {
        int robust = -1;
        int plain = -1;
        Kinds() noexcept
        {
            pthread_mutex_t made{};
            if (MakeMutex(made, true) == 0) {
                robust = made.__data.__kind;
            }
            if (MakeMutex(made, false) == 0) {
                plain = made.__data.__kind;
            }
        }
    };
    static const Kinds kinds;
    const int kind = ShmLoad(m_mutex.__data.__kind);
    return kind == kinds.robust || kind == kinds.plain;
}

bool VxRbMutex::OwnerIsAlive() const noexcept
{
    constexpr int TID_MASK = 0x3FFFFFFF;
    const int owner = ShmLoad(m_mutex.__data.__lock) & TID_MASK;
    return owner != 0 && (::kill(owner, 0) == 0 || errno == EPERM);
}

#else

bool VxRbMutex::LooksLikeMutex() const noexcept
{
    return true;
}

bool VxRbMutex::OwnerIsAlive() const noexcept
{
    return true;
}

#endif
