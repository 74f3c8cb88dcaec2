// SPDX-License-Identifier: Apache-2.0
// tests/utils/shmfifo_fault_test.cpp - each call of the operating system fails once. The FIFO's sources are
// linked into this program with those calls wrapped.
#include <pthread.h>

#include "shmfifo_fixture.h"

namespace {

/// Makes the n-th call of a function from now on fail, `times` times in a row.
struct Fault {
    std::string_view call;
    int nth = 0;
    int times = 1;
    int error = 0;

    bool Hits(std::string_view name)
    {
        if (name != call || --nth > 0 || times-- <= 0) {
            return false;
        }
        errno = error;
        return true;
    }
};
Fault g_fault;

} // namespace

extern "C" {
int __real_shmget(key_t key, std::size_t size, int flags);
void* __real_shmat(int shmId, const void* at, int flags);
int __real_shmctl(int shmId, int command, shmid_ds* stat);
int __real_pthread_mutex_init(pthread_mutex_t* mutex, const pthread_mutexattr_t* attr);

int __wrap_shmget(key_t key, std::size_t size, int flags)
{
    return g_fault.Hits((flags & IPC_CREAT) != 0 ? "create" : "find") ? -1 : __real_shmget(key, size, flags);
}
void* __wrap_shmat(int shmId, const void* at, int flags)
{
    return g_fault.Hits("attach") ? reinterpret_cast<void*>(-1) : __real_shmat(shmId, at, flags);
}
int __wrap_shmctl(int shmId, int command, shmid_ds* stat)
{
    return g_fault.Hits(command == IPC_RMID ? "remove" : "stat") ? -1 : __real_shmctl(shmId, command, stat);
}
int __wrap_pthread_mutex_init(pthread_mutex_t* mutex, const pthread_mutexattr_t* attr)
{
    return g_fault.Hits("mutex") ? ENOTSUP : __real_pthread_mutex_init(mutex, attr);
}
}

class ShmFifoFaultTest : public ShmFifoFixture {
protected:
    void TearDown() override { g_fault = {}; }
};

// Catches: a failed call that is not said, is taken for a success, or leaves a segment or a mapping behind.
TEST_F(ShmFifoFaultTest, FailureWhileMakingLeavesNothingBehind)
{
    const std::string make = "utils/shmfifo GetStreamFifo shmfifo ERR: ";
    const std::string entry = "utils/shmfifo GetDataEntry shmfifo ERR: ";
    const auto slot = [](const char* idx) {
        return std::string("utils/shmfifo Init shmfifo NOTICE: Init DataEntryArr failed [Idx:") + idx + "]\n";
    };
    const struct {
        Fault fault;
        int slots;       ///< -1: no FIFO at all
        std::string log; ///< a part of it
    } cases[] = {
        {{"create", 1, 1, ENOSPC}, -1, make + "Failed to allocate shared memory with errno [28].\n"},
        {{"attach", 1, 1, ENOMEM}, -1, make + "Failed to attach shared memory with errno [12].\n"},
        {{"stat", 1, 1, EACCES}, -1, make + "Failed to attach shared memory with errno [13].\n"},
        {{"create", 2, 1, ENOMEM},
         9,
         entry + "Failed to allocate shared memory of size [1040] with errno [12].\n" + slot("0")},
        {{"attach", 4, 1, EMFILE}, 9, entry + "Failed to attach shared memory.\n" + slot("2")},
        {{"create", 3, 9, ENOSPC}, 1, slot("1")},
        {{"mutex", 1, 1, 0}, 10, "include/vxrbmutex Init  : Failed to init mutex\n"},
    };
    for (const auto& [fault, slots, log] : cases) {
        g_fault = fault;
        m_pFifo = m_handler.GetStreamFifo(m_keys.First(), 1000, 10);
        EXPECT_EQ(m_pFifo != nullptr ? m_pFifo->GetFifoCnt() : -1, slots);
        ExpectLog(log);
        EXPECT_EQ(m_keys.Used(false), slots + 1);
        EXPECT_EQ(IpcKeys::Attached(), slots + 1);
        for (int i = 0; m_pFifo != nullptr && i < 25; ++i) {
            EXPECT_EQ(Write(FRAME_P, 2000 + i), 0); // slots grow, whichever keys they have
        }
        EXPECT_EQ(m_keys.Used(false), slots + 1);
        m_handler.FreeMem();
        EXPECT_EQ(IpcKeys::Attached(), 0);
    }
}

// Catches: a leftover that cannot be removed at once and is given up, or is asked for without a pause.
TEST_F(ShmFifoFaultTest, LeftoverIsRemovedInTheEnd)
{
    for (const int key : {m_keys.First(), m_keys.First() + 3}) {
        ::shmget(key, 64, IPC_CREAT | 0600);
        g_fault = {"remove", 1, 3, EPERM};
        Make();
        const std::string text = key == m_keys.First() ? "previous shm: " : "previous shm ";
        const std::string line = "Unable to remove " + text + "Operation not permitted\n";
        const std::string log = TakeLog();
        EXPECT_NE(log.find(line), log.rfind(line)) << "more than once";
        EXPECT_EQ(m_pFifo->GetFifoCnt(), 10);
        m_handler.FreeMem();
    }
}

// Catches: an end that stops half-way, or forgets what it could not remove without a word.
TEST_F(ShmFifoFaultTest, RemovalThatFailsIsSaidAndTheRestGoesOn)
{
    Make();
    g_fault = {"remove", 2, 1, EPERM};
    m_handler.FreeMem();
    EXPECT_EQ(TakeLog(), "utils/shmfifo FreeMem shmfifo ERR: Failed to remove shm Operation not permitted\n");
    EXPECT_EQ(m_keys.Used(true), 1);
    EXPECT_EQ(IpcKeys::Attached(), 0);
}

// Catches: a slot that is lost for good, or written without room, after it could not grow once.
TEST_F(ShmFifoFaultTest, SlotThatCouldNotGrowIsMadeAtTheNextTry)
{
    Make(1000, 10);
    g_fault = {"create", 1, 1, ENOSPC};
    EXPECT_EQ(Write(FRAME_P, 2000), -1);
    ExpectLog("utils/shmfifo ResizeEntryIfTooSmall shmfifo ERR: Failed to resize share memory data entry.\n");
    EXPECT_EQ(Look()[0].capacity, 0);
    EXPECT_EQ(MarkOf(0), 0U);
    EXPECT_EQ(Write(FRAME_P, 500, 3), 0);
    FrameBuffer copy;
    ASSERT_EQ(m_pFifo->ReadLatest(copy.data, copy.size), 0);
    EXPECT_EQ(copy.data[499], 3);
    EXPECT_EQ(Look()[0].capacity, 500);
    g_fault = {"create", 1, 1, ENOSPC};
    EXPECT_EQ(Write(FRAME_P, 2000), -1);
    TakeLog();
    m_handler.FreeMem();
    EXPECT_EQ(TakeLog(), "") << "a slot that is not there is not missed at the end";
}

// Catches: a reader that keeps its claim, its mapping or a half-attached FIFO when the system refuses
// something.
TEST_F(ShmFifoFaultTest, ReaderGivesBackWhatItCouldNotUse)
{
    Make();
    Write(FRAME_I);
    for (const char* const call : {"find", "stat", "attach"}) {
        ShmFifoReader reader;
        g_fault = {call, 1, 1, EACCES};
        EXPECT_EQ(reader.Init(m_keys.First(), false), -1) << call;
        EXPECT_EQ(IpcKeys::Attached(), 11);
        FrameBuffer copy;
        g_fault = {call, 1, 1, EIDRM};
        EXPECT_EQ(m_pFifo->ReadLatest(copy.data, copy.size), -1) << call;
        EXPECT_EQ(MarkOf(0), 0U);
        EXPECT_EQ(IpcKeys::Attached(), 11);
        EXPECT_EQ(m_pFifo->ReadLatest(copy.data, copy.size), 0) << call;
    }
}
