// SPDX-License-Identifier: Apache-2.0
// tests/utils/shmfifo_overtake_test.cpp - the writer takes a slot by force in the middle of a reader's copy.
// The second page of the reader's buffer cannot be written, so that the copy stops there; the signal's
// handler is the writer.
#include <sys/mman.h>

#include <functional>

#include "shmfifo_fixture.h"

namespace {

std::function<void()> g_meanwhile;
unsigned char* g_pSecondPage = nullptr;
std::size_t g_pageSize = 0;

void OnFault(int)
{
    if (!g_meanwhile) {
        ::_exit(99); // a fault that is none of ours
    }
    std::exchange(g_meanwhile, nullptr)();
    ::mprotect(g_pSecondPage, g_pageSize, PROT_READ | PROT_WRITE);
}

} // namespace

class ShmFifoOvertakeTest : public ShmFifoFixture {
protected:
    void SetUp() override
    {
        g_pageSize = static_cast<std::size_t>(::sysconf(_SC_PAGESIZE));
        m_size = static_cast<int>(2 * g_pageSize);
        m_pBuf = static_cast<unsigned char*>(
            ::mmap(nullptr, 2 * g_pageSize, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0));
        g_pSecondPage = m_pBuf + g_pageSize;
        struct sigaction action {};
        action.sa_handler = &OnFault;
        ::sigaction(SIGSEGV, &action, &m_before);
        Make(m_size);
        m_table = Look();
        ASSERT_EQ(Write(FRAME_I, m_size, 1), 0);
    }
    void TearDown() override
    {
        m_pFifo->StopRead(m_table.data());
        ::sigaction(SIGSEGV, &m_before, nullptr);
        ::munmap(m_pBuf, 2 * g_pageSize);
    }

    /// Copies the frame in slot 0, with something else happening in the middle of it.
    int CopyWith(std::function<void()> meanwhile)
    {
        ::mprotect(g_pSecondPage, g_pageSize, PROT_NONE);
        g_meanwhile = std::move(meanwhile);
        unsigned char* pBuf = m_pBuf;
        int size = m_size;
        int id = SHM_FIFO_NO_FRAME_ID;
        const int result = m_pFifo->ReadLatestIFrame(id, pBuf, size, m_table.data());
        EXPECT_EQ(size, result == 0 ? m_size : 0);
        return result;
    }

    /// Passes slot 0 so often, without the protection that it has as the newest key frame.
    void Pass(int passes)
    {
        m_pFifo->ClearLatestIframeIdx();
        for (int i = 0; i < 9 + 9 * passes; ++i) {
            ASSERT_EQ(Write(FRAME_P, 10, 2), 0);
        }
    }

    /// Begins to overwrite slot 0 by force.
    void Overwrite()
    {
        Pass(4);
        DataEntry* const pEntry = m_pFifo->TryStartWrite(m_size);
        ASSERT_EQ(pEntry->index, 0);
        std::memset(pEntry->data, 3, static_cast<std::size_t>(m_size));
        m_pHalf = pEntry;
    }

    int m_size = 0;
    unsigned char* m_pBuf = nullptr;
    DataEntry* m_pHalf = nullptr;
    Slots m_table{};
    struct sigaction m_before {};
};

// Catches: a good frame that is thrown away because the writer came by.
TEST_F(ShmFifoOvertakeTest, PassingWriterDoesNotDisturbACopy)
{
    EXPECT_EQ(CopyWith([&] { Pass(4); }), 0);
    EXPECT_EQ(m_pBuf[m_size - 1], 1);
    EXPECT_EQ(MarkOf(0), 0x40000000U);
}

// Catches: a copy of two frames that is taken for one: while the writer is at it (the ID is still the old one), or when
// the new frame is complete and somebody else reads it (the slot is held, but not by us).
TEST_F(ShmFifoOvertakeTest, CopyIsRefusedOnceTheSlotIsOverwritten)
{
    EXPECT_EQ(CopyWith([&] { Overwrite(); }), -1);
    EXPECT_EQ(MarkOf(0), 0x10000000U);
    m_pFifo->TryStopWrite(m_pHalf, 1, MEDIA_ES_VIDEO, FRAME_I, 1);
    EXPECT_EQ(MarkOf(0), 0U);

    Slots other = Look();
    DataEntry* pOther = nullptr;
    EXPECT_EQ(CopyWith([&] {
                  Overwrite();
                  m_pFifo->TryStopWrite(m_pHalf, 1, MEDIA_ES_VIDEO, FRAME_P, 1);
                  pOther = m_pFifo->ReadLatest(SHM_FIFO_NO_FRAME_ID, other.data());
              }),
              -1);
    EXPECT_EQ(MarkOf(0), 1U) << "the other reader's claim is still there";
    m_pFifo->ReadFinish(pOther, false, other.data());
    EXPECT_EQ(MarkOf(0), 0U);
    m_pFifo->StopRead(other.data());
}
