// SPDX-License-Identifier: Apache-2.0
// tests/utils/write_path_test.cpp - what the road of a frame must not do, counted: counts do not depend on
// the machine, times do.
#include <gtest/gtest.h>
#include <linux/filter.h>
#include <linux/seccomp.h>
#include <sys/prctl.h>
#include <sys/shm.h>
#include <sys/syscall.h>

#include <cstddef>
#include <cstring>
#include <vector>

#include "package/dbglog.h"
#include "shmfifo.h"
#include "shmfiforeader.h"
#include "support/allocation.h"
#include "support/child_process.h"
#include "support/temp_root.h"

namespace {

constexpr int FRAME_SIZE = 2011; // nothing else in the process is copied in pieces of this size
constexpr int SLOT_COUNT = 10;

long g_frameCopies = 0;

} // namespace

// The program's own definition goes before that of the shared libraries, so calls from inside the library count.
extern "C" void* memcpy(void* dst, const void* src, std::size_t size) noexcept
{
    g_frameCopies += size == FRAME_SIZE ? 1 : 0;
    return std::memmove(dst, src, size);
}

namespace {

constexpr int CANNOT = 77;

/// From here on this thread is ended by SIGSYS at any system call but the end of the process and the reading
/// of clocks, which some machines cannot do without the kernel.
bool ForbidSystemCalls()
{
    const auto allow = [](std::vector<sock_filter>& program, unsigned number) {
        program.push_back(BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, number, 0, 1));
        program.push_back(BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW));
    };
    std::vector<sock_filter> program{BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, nr))};
    allow(program, __NR_exit_group);
    allow(program, __NR_clock_gettime);
#ifdef __NR_clock_gettime64
    allow(program, __NR_clock_gettime64);
#endif
#ifdef __NR_time
    allow(program, __NR_time);
#endif
    program.push_back(BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_KILL_PROCESS));
    const sock_fprog filter{static_cast<unsigned short>(program.size()), program.data()};
    return ::prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) == 0 &&
           ::prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &filter) == 0;
}

class WritePathTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        m_pCfgBefore = g_pDbgLogCfg;
        for (std::int32_t& threshold : m_quiet.threshold) {
            threshold = 3; // as on a box in service: each frame passes suppressed lines
        }
        g_pDbgLogCfg = &m_quiet;
        m_key = 0x51000000 | ((::getpid() & 0x7FFF) << 6);
        m_pFifo = m_handler.GetStreamFifo(m_key, FRAME_SIZE, SLOT_COUNT);
        ASSERT_NE(m_pFifo, nullptr);
        ASSERT_EQ(m_reader.Init(m_key, true), 0);
        for (int i = 0; i < 2 * SLOT_COUNT; ++i) { // both sides have seen each slot
            ASSERT_EQ(Write(), 0);
            ASSERT_TRUE(Read());
        }
    }
    void TearDown() override
    {
        m_reader.Free();
        m_handler.FreeMem();
        g_pDbgLogCfg = m_pCfgBefore;
    }

    int Write()
    {
        ++m_frame[0];
        return m_pFifo->WriteData(m_frame.data(), FRAME_SIZE, 0, MediaES{}, FRAME_P, 1);
    }
    bool Read()
    {
        const auto compare = [](void* context, DataEntry* pEntry, unsigned char* data, int size) {
            auto& self = *static_cast<WritePathTest*>(context);
            self.m_readInPlace = data == pEntry->data && size == FRAME_SIZE && data[0] == self.m_frame[0];
        };
        return m_reader.Read(this, compare, &ShmStreamFifo::ReadNext) && m_readInPlace;
    }

    TempRoot m_root;
    DbgLogCfg m_quiet{};
    DbgLogCfg* m_pCfgBefore = nullptr;
    int m_key = 0;
    ShmFifoHandler m_handler;
    ShmStreamFifo* m_pFifo = nullptr;
    ShmFifoReader m_reader;
    std::vector<unsigned char> m_frame = std::vector<unsigned char>(FRAME_SIZE);
    bool m_readInPlace = false;
};

// Catches: an allocation for each frame that is written; a frame that is copied twice on its way, or once by
// a reader that works in place.
TEST_F(WritePathTest, OneCopyAndNoAllocationFromWriterToReaderInPlace)
{
    for (int i = 0; i < 3 * SLOT_COUNT; ++i) {
        g_frameCopies = 0;
        const long before = AllocationCount();
        const int written = Write();
        const long after = AllocationCount();
        ASSERT_EQ(written, 0);
        EXPECT_EQ(after, before);
        EXPECT_EQ(g_frameCopies, 1);
        ASSERT_TRUE(Read());
        EXPECT_EQ(g_frameCopies, 1);
    }
}

// Catches: a lock, a log line or a look at the kernel's tables that has crept into the road of each frame.
TEST_F(WritePathTest, WarmRoadMakesNoSystemCall)
{
    ChildProcess child([this](const Channel&) {
        if (!ForbidSystemCalls()) {
            return CANNOT;
        }
        bool isGood = true;
        for (int i = 0; i < 3 * SLOT_COUNT && isGood; ++i) {
            isGood = Write() == 0 && Read();
        }
        return isGood ? 0 : 1;
    });
    const int code = child.Wait();
    if (code == CANNOT) {
        GTEST_SKIP() << "this kernel or emulator has no system-call filter";
    }
    EXPECT_EQ(code, 0) << "-1: ended by a signal, for a forbidden system call";
}

// Catches: bytes missing, moved or written behind the frame where the way of copying changes with the size.
TEST_F(WritePathTest, FramesOfEverySizeArriveWhole)
{
    constexpr int MIB = 1 << 20;
    std::vector<unsigned char> frame(MIB + 200);
    for (std::size_t i = 0; i < frame.size(); ++i) {
        frame[i] = static_cast<unsigned char>(i * 31 + i / 251);
    }
    for (int size = MIB + 66; size > MIB - 2; --size) {        // downwards: the slots need to grow only once
        unsigned char* const source = frame.data() + size % 3; // not aligned
        DataEntry* const pEntry = m_pFifo->TryStartWrite(size);
        ASSERT_NE(pEntry, nullptr);
        std::memset(pEntry->data + size, 0xA5, sizeof pEntry->data);
        m_pFifo->TryStopWrite(pEntry, 0, MediaES{}, FRAME_P, 1);
        for (int slot = 0; slot < SLOT_COUNT; ++slot) { // the last one goes into the same slot
            ASSERT_EQ(m_pFifo->WriteData(source, size, 0, MediaES{}, FRAME_P, 1), 0);
        }
        EXPECT_EQ(pEntry->size, size);
        EXPECT_EQ(std::memcmp(pEntry->data, source, static_cast<std::size_t>(size)), 0) << size;
        EXPECT_EQ(pEntry->data[size], 0xA5) << size;
    }
    std::string seen;
    const auto take = [](void* pSeen, DataEntry*, unsigned char* data, int size) {
        static_cast<std::string*>(pSeen)->assign(data, data + size);
    };
    for (int i = 0; i < 600; ++i) { // a whole turn of the ways between which the writer chooses
        unsigned char* const source = frame.data() + i * 7;
        ASSERT_EQ(m_pFifo->WriteData(source, 2999 + i, 0, MediaES{}, FRAME_P, 1), 0);
        ASSERT_TRUE(m_reader.Read(&seen, take, &ShmStreamFifo::ReadNext));
        ASSERT_EQ(seen, std::string(source, source + 2999 + i));
    }
}

} // namespace
