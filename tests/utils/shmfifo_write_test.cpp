// SPDX-License-Identifier: Apache-2.0
// tests/utils/shmfifo_write_test.cpp - the writer: what it refuses, which slot it takes, how a slot grows.
#include "shmfifo_fixture.h"
#include "support/child_process.h"

/// A byte of a frame; the entry's type names only the first four.
static int ByteOf(const DataEntry* pEntry, std::size_t at)
{
    return reinterpret_cast<const unsigned char*>(pEntry)[offsetof(DataEntry, data) + at];
}

class ShmFifoWriteTest : public ShmFifoFixture {};

// Catches: a refused call that leaves segments; limits that are applied to the wrong number, and a header that promises
// what was not made.
TEST_F(ShmFifoWriteTest, SlotsAreMadeWithinTheLimitsOrNotAtAll)
{
    EXPECT_EQ(m_handler.GetStreamFifo(-1, 1000, 10), nullptr);
    EXPECT_EQ(m_handler.GetStreamFifo(m_keys.First(), 0, 10), nullptr);
    EXPECT_EQ(m_keys.Used(false), 0);
    const int cases[][4] = {{10, 5, 10, 10}, {10, 50, 10, 30}, {0x800000, 10, 0x400000, 10}};
    for (const auto& [entrySize, fifoCnt, capacity, slots] : cases) {
        Make(entrySize, fifoCnt);
        EXPECT_EQ(m_pFifo->GetFifoCnt(), slots);
        EXPECT_EQ(m_keys.Used(false), slots + 1);
        EXPECT_EQ(Look()[0].capacity, capacity);
        EXPECT_EQ(Look()[static_cast<std::size_t>(slots) - 1].id, SHM_FIFO_NO_FRAME_ID);
    }
}

// Catches: a segment that others cannot open or that is not as long as they expect, and a fresh frame header
// that differs.
TEST_F(ShmFifoWriteTest, SegmentsHaveTheirKeysModesAndLengths)
{
    Make(1000, 10);
    for (int i = 0; i <= 10; ++i) {
        shmid_ds stat{};
        ASSERT_EQ(::shmctl(::shmget(m_keys.First() + i, 0, 0), IPC_STAT, &stat), 0);
        EXPECT_EQ(stat.shm_perm.mode & 0777U, 0666U);
        EXPECT_EQ(stat.shm_segsz, i == 0 ? sizeof(ShmStreamFifo) : 1000U + 0x28U);
    }
    const void* const pEntry = ::shmat(::shmget(m_keys.First() + 4, 0, 0), nullptr, SHM_RDONLY);
    const std::int32_t fresh[] = {3, 0, 1000, 0, 0, 2, 0, 0, 0};
    EXPECT_EQ(std::memcmp(pEntry, fresh, sizeof(fresh)), 0);
    ::shmdt(pEntry);
}

// Catches: a field of a frame at another place, or of another width; an ID beyond the last one, or left out.
TEST_F(ShmFifoWriteTest, FrameIsFoundByteForByteAndIdsStartAgain)
{
    Make(1000, 10);
    unsigned char bytes[] = {0xAA, 0xBB, 0xCC};
    Poke("m_nextId", SHM_FIFO_MAX_FRAME_ID);
    ASSERT_EQ(m_pFifo->WriteData(bytes, 3, 0x1122334455667788, MEDIA_ES_AUDIO, 0x84, 6), 0);
    const void* const pEntry = ::shmat(::shmget(m_keys.First() + 1, 0, 0), nullptr, SHM_RDONLY);
    const std::int32_t expected[] = {0,    3,          1000,       10000,          6,
                                     0x84, 0x55667788, 0x11223344, MEDIA_ES_AUDIO, 0xCCBBAA};
    EXPECT_EQ(std::memcmp(pEntry, expected, sizeof(expected)), 0);
    ::shmdt(pEntry);
    Write(FRAME_P);
    EXPECT_EQ(Look()[1].id, 0);
}

// Catches: a key that a failed creation used up is used again, or leaves a gap in the slots; a resize that
// then destroys the neighbour whose key it is.
TEST_F(ShmFifoWriteTest, SlotThatCannotBeMadeCostsAKeyAndNothingElse)
{
    m_pFifo = m_handler.GetStreamFifo(0x7FFFFFFF - 5, 10, 10); // keys end after five slots
    ASSERT_NE(m_pFifo, nullptr);
    EXPECT_EQ(m_pFifo->GetFifoCnt(), 5);
    ExpectLog("utils/shmfifo Init shmfifo NOTICE: Init DataEntryArr failed [Idx:5]\n");
    EXPECT_EQ(Write(FRAME_I), 0);
}

// Catches: a segment that is made anew although it was large enough, or another's that is taken for one's
// own.
TEST_F(ShmFifoWriteTest, HandleUsesItsOwnSegmentAgainAndReplacesAnyOther)
{
    ShmEntryHandler handler;
    EXPECT_EQ(handler.GetDataEntry(-1, 10, 0), nullptr);
    EXPECT_EQ(handler.GetDataEntry(m_keys.First(), 0, 0), nullptr);
    EXPECT_EQ(handler.GetDataEntry(m_keys.First(), 10, -1), nullptr);
    DataEntry* pEntry = handler.GetDataEntry(m_keys.First(), 1000, 3);
    ASSERT_NE(pEntry, nullptr);
    pEntry->id = 42;
    pEntry = handler.GetDataEntry(m_keys.First(), 900, 3);
    ASSERT_NE(pEntry, nullptr);
    EXPECT_EQ(std::make_pair(pEntry->id, pEntry->capacity), std::make_pair(42, 1000)) << "as it was";
    pEntry = handler.GetDataEntry(m_keys.First(), 1001, 3);
    ASSERT_NE(pEntry, nullptr);
    EXPECT_EQ(std::make_pair(pEntry->id, pEntry->capacity), std::make_pair(0, 1001));

    ShmEntryHandler other;
    ASSERT_NE(other.GetDataEntry(m_keys.First(), 10, 4), nullptr);
    DataEntry* pRead = handler.GetDataEntry();
    ASSERT_NE(pRead, nullptr);
    EXPECT_EQ(pRead->index, 4) << "what is under the key now";
    ShmEntryHandler::DtDataEntry(pRead);
    EXPECT_EQ(pRead, nullptr);
    ShmEntryHandler::DtDataEntry(pRead);
    handler.FreeMem();
    EXPECT_EQ(m_keys.Used(false), 1) << "not its own to remove";
}

// Catches: a step of the marking protocol that gives the slot away, or keeps it for ever.
TEST_F(ShmFifoWriteTest, MarkWordGoesThroughItsStates)
{
    Make();
    const std::tuple<std::uint32_t, int, std::uint32_t> cases[] = {
        {0x00000000, 0, 0x10000000}, // free
        {0x00000002, 2, 0x10000002}, // held: the mark stays and keeps new readers out
        {0x30000002, 2, 0x40000002}, // fourth pass
        {0x40000002, 0, 0x10000000}, // fifth pass: by force
        {0x40000000, 0, 0x10000000}, {0xF0000003, 3, 0x00000003}, // scribbled: negative, then carried away
    };
    for (const auto& [before, result, after] : cases) {
        DATA_ENTRY_INFO info{0, 0, before, 0, nullptr};
        EXPECT_EQ(m_pFifo->MarkWrite(info), result) << std::hex << before;
        EXPECT_EQ(info.mark, after) << std::hex << before;
    }
}

// Catches: a slow reader whose frame is overwritten too early, a dead one that blocks its slot for ever, and
// a late release that takes another reader's claim away.
TEST_F(ShmFifoWriteTest, HeldSlotIsTakenByForceInTheFifthPass)
{
    Make();
    Slots table = Look();
    Write(FRAME_P);
    DataEntry* const pHeld = m_pFifo->ReadNext(SHM_FIFO_NO_FRAME_ID, table.data());
    ASSERT_NE(pHeld, nullptr);
    WriteMany(9);
    for (std::uint32_t pass = 1; pass <= 4; ++pass) {
        WriteMany(9);
        ASSERT_EQ(MarkOf(0), pass * 0x10000000U + 1U);
        EXPECT_TRUE(m_pFifo->IsIntact(pHeld, 0));
    }
    DataEntry* const pForced = m_pFifo->TryStartWrite(10);
    ASSERT_NE(pForced, nullptr);
    EXPECT_EQ(MarkOf(0), 0x10000000U);
    EXPECT_FALSE(m_pFifo->IsIntact(pHeld, 0)) << "overwritten from now on, under the old ID";
    m_pFifo->TryStopWrite(pForced, 0, MEDIA_ES_VIDEO, FRAME_P, 1);

    Slots otherTable = Look();
    ASSERT_NE(m_pFifo->ReadNext(SHM_FIFO_NO_FRAME_ID, otherTable.data()), nullptr);
    EXPECT_EQ(MarkOf(0), 1U);
    m_pFifo->ReadFinish(pHeld, false, table.data());
    EXPECT_EQ(MarkOf(0), 1U) << "the claim that is left is another reader's";
    m_pFifo->StopRead(table.data());
    m_pFifo->StopRead(otherTable.data());
}

// Catches: a late joiner that finds no key frame, because the writer needed the space.
TEST_F(ShmFifoWriteTest, NewestKeyFrameIsNeverOverwritten)
{
    Make();
    Slots table = Look();
    Write(FRAME_I, 100, 42);
    WriteMany(25);
    EXPECT_EQ(Look()[0].id, 0);
    for (int id = 16; id <= 25; ++id) { // claims everything that was written after it
        static_cast<void>(m_pFifo->ReadNext(id - 1, table.data()));
    }
    TakeLog();
    EXPECT_EQ(Write(FRAME_P), -1);
    EXPECT_EQ(TakeLog(), "utils/shmfifo GetWritableEntryIdx shmfifo ERR: Failed to get writable entry.\n"
                         "utils/shmfifo WriteData shmfifo DEBUG: pDataEntry is NULL.\n");
    FrameBuffer key;
    ASSERT_EQ(m_pFifo->ReadLatestIFrame(key.data, key.size), 0);
    EXPECT_EQ(key.data[99], 42);
    m_pFifo->ClearLatestIframeIdx();
    EXPECT_FALSE(m_pFifo->IsIFrameReady());
    EXPECT_EQ(Write(FRAME_P), 0) << "its slot is an ordinary one again";
    m_pFifo->StopRead(table.data());
}

// Catches: a slot that grows under its readers' feet, or whose readers never learn of it.
TEST_F(ShmFifoWriteTest, LargeFrameMakesItsSlotAnew)
{
    Make(1000);
    Slots table = Look();
    Write(FRAME_P, 1000, 7);
    DataEntry* const pOld = m_pFifo->ReadNext(SHM_FIFO_NO_FRAME_ID, table.data());
    ASSERT_NE(pOld, nullptr);
    WriteMany(9 + 9 * 4);
    ASSERT_EQ(Write(FRAME_P, 5000, 9), 0); // by force, into a new segment
    EXPECT_EQ(ByteOf(pOld, 999), 7) << "the old segment stays as it was while somebody has it attached";
    EXPECT_EQ(Look()[0].generation, 2);
    EXPECT_EQ(Look()[0].capacity, 5000);
    m_pFifo->ReadFinish(pOld, false, table.data());
    const int attached = IpcKeys::Attached();
    DataEntry* const pNew = m_pFifo->ReadLatest(SHM_FIFO_NO_FRAME_ID, table.data());
    ASSERT_NE(pNew, nullptr);
    EXPECT_EQ(ByteOf(pNew, 4999), 9);
    EXPECT_EQ(IpcKeys::Attached(), attached) << "the new segment in place of the old one";
    m_pFifo->ReadFinish(pNew, false, table.data());
    m_pFifo->StopRead(table.data());
}

// Catches: a frame that was refused and leaves its slot marked, so that it is lost to readers and writer.
TEST_F(ShmFifoWriteTest, RefusedFrameLeavesNoMark)
{
    Make();
    TakeLog();
    EXPECT_EQ(Write(FRAME_P, SHM_FIFO_MAX_ENTRY_SIZE), -1);
    EXPECT_EQ(TakeLog(),
              "utils/shmfifo ResizeEntryIfTooSmall shmfifo ERR: Try to resize from [1000] to [4194304].\n"
              "utils/shmfifo WriteData shmfifo DEBUG: pDataEntry is NULL.\n");
    EXPECT_EQ(MarkOf(0), 0U);
    unsigned char byte = 0;
    EXPECT_EQ(m_pFifo->WriteData(nullptr, 10, 0, MEDIA_ES_VIDEO, FRAME_P, 1), -1);
    EXPECT_EQ(m_pFifo->WriteData(&byte, -1, 0, MEDIA_ES_VIDEO, FRAME_P, 1), -1);
    EXPECT_EQ(TakeLog(), "utils/shmfifo WriteData shmfifo ERR: Failed to write data.\n"
                         "utils/shmfifo WriteData shmfifo ERR: Failed to write data.\n");
    for (const DATA_ENTRY_INFO& slot : Look()) {
        EXPECT_EQ(slot.mark, 0U);
    }
    EXPECT_EQ(m_pFifo->GetReadableEntryIdx(SHM_FIFO_NO_FRAME_ID), -1) << "nothing has been published";
    EXPECT_EQ(Write(FRAME_P, SHM_FIFO_MAX_ENTRY_SIZE - 1), 0);
}

// Catches: a name or a block that runs over its field, and a size that says more than was stored.
TEST_F(ShmFifoWriteTest, CodecAndExtraDataAreCutToTheirFields)
{
    Make();
    m_pFifo->SetCodec("a codec name of more than twenty letters");
    EXPECT_EQ(m_pFifo->GetCodec(), "a codec name of mor");
    std::vector<unsigned char> extra(2000, 3);
    unsigned char out[1024] = {};
    int size = 1024;
    m_pFifo->GetExtra(out, size);
    EXPECT_EQ(size, 0);
    TakeLog();
    m_pFifo->SetExtra(extra.data(), 2000);
    ExpectLog(" shmfifo ERR: Exceed max extra data size[1024].\n");
    size = 1024;
    m_pFifo->GetExtra(out, size);
    EXPECT_EQ(size, 1024);
    EXPECT_EQ(out[1023], 3);
    m_pFifo->SetExtra(extra.data(), 20);
    unsigned char few[11] = {};
    size = 10;
    m_pFifo->GetExtra(few, size);
    ExpectLog(" shmfifo ERR: Input buffer size is not enough\n");
    EXPECT_EQ(size, 10) << "cut, and the size stays the caller's";
    EXPECT_EQ(few[9], 3);
    EXPECT_EQ(few[10], 0);
    m_pFifo->SetExtra(extra.data(), 0);
    m_pFifo->GetExtra(out, size);
    EXPECT_EQ(size, 0);
}

// Catches: a line in the log of every frame that names the wrong kind, slot or ID.
TEST_F(ShmFifoWriteTest, EachWriteIsTracedWithItsKindAndPlace)
{
    Make();
    m_pFifo->SetCodec("H265");
    TakeLog();
    const std::string before = "utils/shmfifo TryStopWrite shmfifo TRACE: [H265]: Write '";
    int idx = 0;
    for (const auto& [flags, kind] :
         {std::pair(0x9E, "I-frame"), std::pair(0x9C, "P-frame"), std::pair(0x98, "B-frame"),
          std::pair(0x90, "PB-frame"), std::pair(0x81, "Non-key-frame"), std::pair(0x61, "Unknown")}) {
        Write(flags);
        const std::string at = std::to_string(idx);
        EXPECT_EQ(TakeLog(), before + kind + "'(" + std::to_string(flags) + ") at idx[" + at + "] of ID[" +
                                 at + "], I-Idx[0].\n");
        ++idx;
    }
}

// Catches: what a killed capture process left behind and stops the next one, or keeps its readers waiting.
TEST_F(ShmFifoWriteTest, RestartReplacesWhatAKilledWriterLeft)
{
    ChildProcess killed([&](const Channel& toParent) {
        m_pFifo = m_handler.GetStreamFifo(m_keys.First(), 1000, 30);
        toParent.Send(m_pFifo != nullptr && Write(FRAME_I) == 0 ? 'y' : 'n');
        for (;;) {
            ::pause();
        }
        return 0;
    });
    ASSERT_EQ(killed.Receive(), 'y');
    ShmFifoReader reader;
    ASSERT_EQ(reader.Init(m_keys.First(), false), 0);
    killed.Kill(SIGKILL);
    EXPECT_FALSE(reader.IsClose());
    Make(1000, 10);
    EXPECT_TRUE(reader.IsClose()) << "its FIFO is the old one";
    EXPECT_EQ(m_keys.Used(false), 11) << "slots that the new one does not use are gone as well";
    EXPECT_EQ(Write(FRAME_I), 0);
    EXPECT_EQ(reader.GetFifo()->ReadLatest(), nullptr) << "what is under the keys now is the new FIFO's";
    reader.Free();
    m_handler.FreeMem();
    EXPECT_EQ(IpcKeys::Attached(), 0);
}
