// SPDX-License-Identifier: Apache-2.0
// tests/utils/shmfifo_inspect_test.cpp - looking at FIFOs from outside, and removing what a dead writer left.
#include "shmfifoinspect.h"

#include <algorithm>

#include "shmfifo_fixture.h"

class ShmFifoInspectTest : public ShmFifoFixture {
protected:
    bool IsListed() const
    {
        const std::vector<int> keys = ShmFifoInspector::ListKeys();
        return std::find(keys.begin(), keys.end(), m_keys.First()) != keys.end();
    }

    ShmFifoSnapshot m_seen;
};

// Catches: a number that is read from the wrong place, a look that leaves a mark or a mapping, or waits for a
// dead process.
TEST_F(ShmFifoInspectTest, LookSeesEverythingAndTouchesNothing)
{
    Make(1000, 12);
    m_pFifo->SetCodec("H265");
    m_pFifo->SetResolution(640, 480);
    Write(FRAME_I, 10, 1);
    Write(FRAME_P, 3000, 2);
    DataEntry* const pHeld = m_pFifo->ReadLatest();
    Poke("m_entryArr", 0x20000001, offsetof(DATA_ENTRY_INFO, mark));
    Poke("m_lock", 0x7FFFFFFF); // held by nobody who could give it back
    const int mappings = IpcKeys::Attached();
    ASSERT_EQ(ShmFifoInspector::Inspect(m_keys.First(), m_seen), ShmInspectResult::OK);
    EXPECT_EQ(IpcKeys::Attached(), mappings);
    EXPECT_EQ(m_seen.codec, "H265");
    EXPECT_EQ(std::make_tuple(m_seen.width, m_seen.height, m_seen.fifoCnt, m_seen.nextId, m_seen.lastIdx,
                              m_seen.latestIframeIdx, m_seen.attached),
              std::make_tuple(640, 480, 12, 2, 1, 0, true));
    EXPECT_EQ(m_seen.header.creatorPid, ::getpid());
    EXPECT_EQ(m_seen.header.attachCnt, 1U);
    const ShmSlotSnapshot& slot = m_seen.slots.at(1);
    EXPECT_EQ(std::make_tuple(slot.id, slot.generation, slot.readers, slot.capacity, slot.frameSize,
                              slot.frameFlags, slot.timestamp, slot.es),
              std::make_tuple(1, 2, 1, 3000, 3000, int{FRAME_P}, 2LL, int{MEDIA_ES_VIDEO}));
    EXPECT_EQ(m_seen.slots.at(0).writerMarks, 2);
    EXPECT_EQ(m_seen.slots.at(0).readers, 1);
    EXPECT_EQ(m_seen.slots.at(2).id, SHM_FIFO_NO_FRAME_ID);
    EXPECT_TRUE(IsListed());
    m_pFifo->ReadFinish(pHeld, false, nullptr);
    Poke("m_fifoCnt", 31);
    EXPECT_EQ(ShmFifoInspector::Inspect(m_keys.First(), m_seen), ShmInspectResult::NOT_A_FIFO);
    EXPECT_FALSE(IsListed());
}

// Catches: somebody else's segment that is shown or removed as a FIFO.
TEST_F(ShmFifoInspectTest, OtherSegmentsAreNoFifo)
{
    EXPECT_EQ(ShmFifoInspector::Inspect(m_keys.First(), m_seen), ShmInspectResult::NO_SEGMENT);
    for (const std::size_t bytes : {sizeof(ShmStreamFifo) - 8, sizeof(ShmStreamFifo)}) {
        const int id = ::shmget(m_keys.First(), bytes, IPC_CREAT | 0600);
        EXPECT_EQ(ShmFifoInspector::Inspect(m_keys.First(), m_seen), bytes == sizeof(ShmStreamFifo)
                                                                         ? ShmInspectResult::NOT_A_FIFO
                                                                         : ShmInspectResult::OTHER_LENGTH);
        EXPECT_EQ(ShmFifoInspector::Remove(m_keys.First()), -1);
        EXPECT_EQ(::shmctl(id, IPC_RMID, nullptr), 0) << "still there";
    }
}

// Catches: slots that are said to be resident and are not, or lose what they hold.
TEST_F(ShmFifoInspectTest, PrefaultedSlotsAreInMemoryBeforeTheFirstFrame)
{
    const auto residentKb = [] {
        long long pages = 0;
        long long shared = 0;
        std::FILE* const statm = std::fopen("/proc/self/statm", "re");
        EXPECT_EQ(std::fscanf(statm, "%*d %lld %lld", &pages, &shared), 2);
        std::fclose(statm);
        return shared * ::sysconf(_SC_PAGESIZE) / 1024;
    };
    Make(400000, 10);
    const long long lazy = residentKb();
    m_handler.SetPrefault(true);
    Make(400000, 10);
    EXPECT_GT(residentKb() - lazy, 3500);
    EXPECT_EQ(Write(FRAME_I, 300000), 0);
}
