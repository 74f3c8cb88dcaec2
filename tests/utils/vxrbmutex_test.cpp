// SPDX-License-Identifier: Apache-2.0
// tests/utils/vxrbmutex_test.cpp - the mutex of the FIFO header, its holders alive, dead and forgetful.
#include "vxrbmutex.h"

#include <gtest/gtest.h>

#include <chrono>
#include <cstring>
#include <random>

#include "support/child_process.h"
#include "support/log_capture.h"
#include "support/shared_with_children.h"

namespace {
const Channel* g_pToParent = nullptr; ///< where a child that ends says what it logged
LogCapture* g_pLog = nullptr;
} // namespace

extern "C" {
[[noreturn]] void __real__exit(int code);
[[noreturn]] void __wrap__exit(int code)
{
    for (const char letter : g_pLog != nullptr ? g_pLog->TakeText() : std::string()) {
        g_pToParent->Send(letter);
    }
    __real__exit(code);
}
}

class VxRbMutexTest : public ::testing::Test {
protected:
    void SetUp() override { ASSERT_TRUE(m_mutex->Init() == 0 || !HandOverWorks()); }

    /// Whether this system hands a dead holder's mutex over at all: an emulator lets one be made, and does
    /// not.
    static bool HandOverWorks()
    {
        const SharedWithChildren<pthread_mutex_t> mutex;
        pthread_mutex_t* const pMutex = &*mutex;
        pthread_mutexattr_t attr;
        ::pthread_mutexattr_init(&attr);
        ::pthread_mutexattr_setpshared(&attr, PTHREAD_PROCESS_SHARED);
        ::pthread_mutexattr_setrobust(&attr, PTHREAD_MUTEX_ROBUST);
        ::pthread_mutex_init(pMutex, &attr);
        static_cast<void>(ChildProcess([&](const Channel&) { return ::pthread_mutex_lock(pMutex); }).Wait());
        const bool works = ::pthread_mutex_trylock(pMutex) == EOWNERDEAD;
        ::pthread_mutex_unlock(pMutex);
        return works;
    }

    const SharedWithChildren<VxRbMutex> m_mutex;
};

// Catches: a lock that stays held for ever once its owner was killed, and one that is given to two.
TEST_F(VxRbMutexTest, LockOutlivesItsHolder)
{
    if (!HandOverWorks()) {
        GTEST_SKIP() << "robust mutexes do not work here (qemu-user)";
    }
    ChildProcess holder([&](const Channel& toParent) {
        const VxRbGuard guard(*m_mutex);
        toParent.Send(guard.Held() ? 'L' : 'x');
        for (;;) {
            ::pause();
        }
        return 0;
    });
    ASSERT_EQ(holder.Receive(), 'L');
    ChildProcess waiter([&](const Channel& toParent) {
        for (int round = 0; round < 2; ++round) { // the second time it is an ordinary mutex again
            const VxRbGuard guard(*m_mutex);
            toParent.Send(guard.Held() ? 'L' : 'x');
        }
        return 0;
    });
    EXPECT_EQ(waiter.Receive(1500), '\0') << "a living holder is waited for";
    holder.Kill(SIGKILL);
    EXPECT_EQ(waiter.Receive(), 'L');
    EXPECT_EQ(waiter.Receive(), 'L');
    EXPECT_EQ(waiter.Wait(), 0);
    EXPECT_TRUE(VxRbGuard(*m_mutex).Held());
}

// Catches: a thread that waits for itself, or a process that ends without a word of why.
TEST_F(VxRbMutexTest, SecondLockOfOneThreadEndsTheProcess)
{
    ChildProcess child([&](const Channel& toParent) {
        LogCapture log;
        g_pLog = &log;
        g_pToParent = &toParent;
        const VxRbGuard first(*m_mutex);
        toParent.Send('1');
        const VxRbGuard second(*m_mutex);
        toParent.Send('2');
        return 3;
    });
    std::string said;
    for (char letter = child.Receive(); letter != '\0'; letter = child.Receive()) {
        said += letter;
    }
    EXPECT_EQ(said, "1include/vxrbmutex Lock: Potential self-deadlock detected!\n");
    EXPECT_EQ(child.Wait(), 0);
    const VxRbGuard after(*m_mutex);
    EXPECT_TRUE(after.Held());
}

// Catches: a caller that hangs for ever, or ends, because somebody wrote over the mutex.
TEST_F(VxRbMutexTest, OverwrittenMutexIsRefusedInTime)
{
    std::mt19937 random(7);
    for (int round = 0; round < 300; ++round) {
        for (std::size_t i = 0; i < sizeof(VxRbMutex); ++i) {
            reinterpret_cast<unsigned char*>(&*m_mutex)[i] = static_cast<unsigned char>(random());
        }
        EXPECT_FALSE(VxRbGuard(*m_mutex).Held());
    }
    ASSERT_EQ(m_mutex->Init(), 0);
    const int nobody = 0x3FFFFFF0;                                       // above every process id
    std::memcpy(static_cast<void*>(&*m_mutex), &nobody, sizeof(nobody)); // the lock word comes first
    const auto start = std::chrono::steady_clock::now();
    EXPECT_FALSE(VxRbGuard(*m_mutex).Held());
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(5));
}
