// SPDX-License-Identifier: Apache-2.0
// tests/utils/shmfifo_read_test.cpp - which frame a reader gets, what it may conclude from it, and how it
// gives it back.
#include <list>

#include "shmfifo_fixture.h"
#include "support/fake_clock.h"

class ShmFifoReadTest : public ShmFifoFixture {
protected:
    void SetUp() override
    {
        Make();
        m_table = Look();
        TakeLog();
    }
    void TearDown() override { m_pFifo->StopRead(m_table.data()); }

    /// ID of the next frame for a reader that has `lastId`; -1: none.
    int NextId(int lastId)
    {
        DataEntry* const pEntry = m_pFifo->ReadNext(lastId, m_table.data());
        const int id = pEntry != nullptr ? pEntry->id : -1;
        m_pFifo->ReadFinish(pEntry, false, m_table.data());
        return id;
    }

    /// Sets the slots' IDs; slot `lastIdx` is the newest.
    void SetIds(const std::vector<int>& ids, int lastIdx)
    {
        for (std::size_t i = 0; i < ids.size(); ++i) {
            Poke("m_entryArr", ids[i], i * sizeof(DATA_ENTRY_INFO));
        }
        Poke("m_lastIdx", lastIdx);
    }

    Slots m_table{};
};

// Catches: a wrong step in the search, at every place of the ring and of the wrap. The oracle asks of each
// slot alone: a slot is listed when no slot between it and the newest is as near to the wanted frame.
TEST_F(ShmFifoReadTest, SlotsAreListedNearestFirst)
{
    const auto distance = [](int from, int to) { return to - from < 0 ? to - from + 10000 : to - from; };
    for (int newestId = 9985; newestId < 9985 + 40; ++newestId) {
        for (int lastIdx = 0; lastIdx < 10; ++lastIdx) {
            std::vector<int> ids(10);
            for (int back = 0; back < 10; ++back) {
                ids[static_cast<std::size_t>((lastIdx + 10 - back) % 10)] = (newestId - back) % 10001;
            }
            SetIds(ids, lastIdx);
            const int newest = newestId % 10001;
            for (int behind = 0; behind < 14; ++behind) {
                const int lastId = (newestId - behind) % 10001;
                int wanted = lastId >= 10000 ? 0 : lastId + 1;
                wanted = distance(wanted, newest) > 10 ? newest : wanted;
                std::list<int> expected;
                int best = lastId == newest ? 0 : 10;
                for (int back = 0; back < 10 && best > 0; ++back) {
                    const int idx = (lastIdx + 10 - back) % 10;
                    const int d = distance(wanted, ids[static_cast<std::size_t>(idx)]);
                    if (d < best) {
                        expected.push_front(idx);
                        best = d;
                    }
                }
                std::list<int> out;
                m_pFifo->SearchNearIdx(lastId, out);
                ASSERT_EQ(out, expected)
                    << "newest " << newest << " in slot " << lastIdx << ", last " << lastId;
            }
        }
    }
}

// Catches: a frame that comes twice, is left out, or is not the one that a new or lapped reader must start
// with.
TEST_F(ShmFifoReadTest, FramesComeInOrderAndALappedReaderJumps)
{
    EXPECT_EQ(NextId(SHM_FIFO_NO_FRAME_ID), -1);
    WriteMany(8);
    EXPECT_EQ(NextId(SHM_FIFO_NO_FRAME_ID), 7);
    for (int id = 0; id < 7; ++id) {
        EXPECT_EQ(NextId(id), id + 1);
    }
    EXPECT_EQ(NextId(7), -1);
    WriteMany(17);
    m_pFifo->SetCodec("H264");
    TakeLog();
    EXPECT_EQ(NextId(3), 24);
    EXPECT_EQ(TakeLog(), "utils/shmfiforeader SearchNearIdx shmfifo INFO: [H264]: NextID change[4]->[24], "
                         "PreID[3], LatestIdx[4].\n");
    EXPECT_EQ(NextId(14), 15);
    m_pFifo->ReadFinish(nullptr, false, nullptr);
}

// Catches: a reader that waits for a slot which the writer holds.
TEST_F(ShmFifoReadTest, SlotMarkedByTheWriterIsPassedOver)
{
    Write(FRAME_P);
    Write(FRAME_I);
    Write(FRAME_P);
    Poke("m_entryArr", 0x10000000, sizeof(DATA_ENTRY_INFO) + 8);
    EXPECT_EQ(NextId(0), 2);
    EXPECT_EQ(m_pFifo->ReadLatestIFrame(), nullptr);
    EXPECT_EQ(m_pFifo->ReadLatest(2, nullptr), nullptr) << "has it already";
    DATA_ENTRY_INFO full{0, 0, 0x0FFFFFFF, 0, nullptr};
    EXPECT_EQ(m_pFifo->MarkRead(full), 1) << "one more reader would be a writer's mark";
    EXPECT_EQ(full.mark, 0x0FFFFFFFU);
}

// Catches: a claim that is kept when the frame could not be had: the slot would be lost for four laps.
TEST_F(ShmFifoReadTest, FrameThatCannotBeHadLeavesNoClaim)
{
    WriteMany(2);
    DataEntry* const pEntry = m_pFifo->ReadLatest(SHM_FIFO_NO_FRAME_ID, m_table.data());
    ASSERT_NE(pEntry, nullptr);
    EXPECT_EQ(MarkOf(1), 1U);
    pEntry->index = 5;
    m_pFifo->ReadFinish(pEntry, false, m_table.data());
    EXPECT_EQ(MarkOf(1), 0U) << "the table knows the slot";
    for (DATA_ENTRY_INFO* pTable : {static_cast<DATA_ENTRY_INFO*>(nullptr), m_table.data()}) {
        TakeLog();
        EXPECT_EQ(m_pFifo->ReadLatest(SHM_FIFO_NO_FRAME_ID, pTable), nullptr);
        EXPECT_EQ(TakeLog(),
                  "utils/shmfiforeader GetDataEntryForRead shmfifo ERR: Invalid DataEntry[5], Idx[1].\n");
        EXPECT_EQ(MarkOf(1), 0U);
    }
    EXPECT_EQ(m_table[1].entry, nullptr) << "detached";
}

// Catches: a slot whose ID was lost and which then never is found again.
TEST_F(ShmFifoReadTest, ReaderRepairsTheIdOfASlot)
{
    WriteMany(2);
    m_pFifo->SetCodec("H264");
    Poke("m_entryArr", 77, sizeof(DATA_ENTRY_INFO));
    TakeLog();
    FrameBuffer frame;
    int id = 1000;
    EXPECT_EQ(m_pFifo->ReadLatest(id, frame.data, frame.size, false), 0);
    EXPECT_EQ(id, 1);
    EXPECT_EQ(TakeLog(), "utils/shmfiforeader GetDataEntryForRead shmfifo NOTICE: [H264]: Id mismatch, "
                         "Idx[1], m_ID[77], ID[1].\n");
    EXPECT_EQ(Look()[1].id, 1);
}

// Catches: a copy that runs over the caller's buffer, and a size that says more than was copied.
TEST_F(ShmFifoReadTest, CopyIsCutToTheCallersBuffer)
{
    Write(FRAME_I, 500, 9);
    unsigned char buf[101] = {};
    unsigned char* pBuf = buf;
    int size = 100;
    long long timestamp = 0;
    MediaES es = MEDIA_ES_NONE;
    int flags = 0;
    int id = SHM_FIFO_NO_FRAME_ID;
    ASSERT_EQ(m_pFifo->ReadNext(id, pBuf, size, timestamp, es, flags, false), 0);
    EXPECT_EQ(size, 100);
    EXPECT_EQ(buf[99], 9);
    EXPECT_EQ(buf[100], 0);
    EXPECT_EQ(std::make_tuple(id, timestamp, es, flags), std::make_tuple(0, 9LL, MEDIA_ES_VIDEO, 2));
    EXPECT_EQ(m_pFifo->ReadNext(id, pBuf, size, timestamp, es, flags, false), -1);
    EXPECT_EQ(size, 0);
    EXPECT_EQ(MarkOf(0), 0U);
    size = -1;
    EXPECT_EQ(m_pFifo->ReadLatest(pBuf, size), 0) << "a negative room is none";
    EXPECT_EQ(size, 0);
    FrameBuffer whole;
    ASSERT_EQ(m_pFifo->ReadLatestIFrame(whole.data, whole.size), 0);
    EXPECT_EQ(whole.size, 500);
}

// Catches: a size from shared memory that is believed beyond the segment, and bounds that are off by one.
TEST_F(ShmFifoReadTest, SizeOutsideTheSegmentOrTheLimitsIsNoFrame)
{
    Write(FRAME_I, 100);
    DataEntry* const pEntry = m_pFifo->ReadLatest();
    unsigned char* data = nullptr;
    int size = 0;
    for (const int bad : {0, -1, 1001, 0x400000}) {
        pEntry->size = bad;
        EXPECT_FALSE(m_pFifo->GetValidFrame(pEntry, data, size)) << bad;
        FrameBuffer copy;
        EXPECT_EQ(m_pFifo->ReadLatest(copy.data, copy.size), -1) << bad;
        EXPECT_EQ(copy.data, nullptr);
    }
    pEntry->size = 1000;
    EXPECT_TRUE(m_pFifo->GetValidFrame(pEntry, data, size));
    m_pFifo->ReadFinish(pEntry, false, nullptr);
    EXPECT_EQ(MarkOf(0), 0U) << "each refused frame was released";
}

// Catches: a rate that is not rounded, is measured over a part of the period, or stays when nothing comes any
// more.
TEST_F(ShmFifoReadTest, RatesAreMeasuredOverMoreThanTenSeconds)
{
    const auto pass = [](int sec) { g_fakeMonoSec += sec, g_fakeWallSec += sec; };
    EXPECT_EQ(m_pFifo->GetWriteFPS(), -1);
    for (int i = 0; i < 117; ++i) {
        Write(FRAME_P, 300);
        DataEntry* const pEntry = m_pFifo->ReadLatest(SHM_FIFO_NO_FRAME_ID, m_table.data());
        const int passed = i == 50 ? 10 : i == 115 ? 1 : 0; // ten seconds are not yet enough
        pass(passed);
        m_pFifo->ReadFinish(pEntry, true, m_table.data());
    }
    EXPECT_EQ(m_pFifo->GetWriteFPS(), 11) << "117 frames in 11 seconds: 10.6";
    EXPECT_EQ(m_pFifo->GetReadFPS(), 11) << "116 frames: 10.5";
    EXPECT_EQ(m_pFifo->GetReadBPS(), 3164) << "116 frames of 300 bytes: 3163.6";
    pass(19);
    EXPECT_EQ(m_pFifo->GetReadBPS(), 3164);
    pass(1);
    EXPECT_EQ(m_pFifo->GetWriteFPS() + m_pFifo->GetReadFPS() + m_pFifo->GetReadBPS(), 0);
}
