// SPDX-License-Identifier: Apache-2.0
// tests/utils/shmfifo_scribble_test.cpp - somebody writes over the shared memory while it is used.
#include "shmfifo_fixture.h"
#include "support/child_process.h"
#include "use_as_reader.h"

class ShmFifoScribbleTest : public ShmFifoFixture {};

// Catches: one certain word of the header or of a frame that is believed, whatever the others say. The fuzzer tries
// several at once.
TEST_F(ShmFifoScribbleTest, NoWordIsBelieved)
{
    ChildProcess child([&](const Channel&) {
        Make(1000, 10);
        Write(FRAME_I);
        ShmFifoReader reader;
        if (m_pFifo == nullptr || reader.Init(m_keys.First(), true) != 0) {
            return 1;
        }
        void* const pFrame = ::shmat(::shmget(m_keys.First() + 1, 0, 0), nullptr, 0);
        const auto tryWords = [&](void* bytes, std::size_t first, std::size_t size) {
            bool fits = true;
            std::vector<unsigned char> good(size);
            for (std::size_t at = first; at < size; at += 4) {
                for (const std::uint32_t word : {0xFFFFFFFFU, 0x7FFFFFFFU, 31U, 10001U}) {
                    std::memcpy(good.data(), bytes, size);
                    std::memcpy(static_cast<unsigned char*>(bytes) + at, &word, sizeof(word));
                    fits = UseAsReader(reader, SHM_FIFO_NO_FRAME_ID) && UseAsReader(reader, 5) && fits;
                    Write(FRAME_P, 900);
                    std::memcpy(bytes, good.data(), size);
                }
                TakeLog();
            }
            return fits;
        };
        bool fits = tryWords(pFrame, 0, sizeof(DataEntry));
        fits =
            tryWords(m_pFifo, sizeof(VxRbMutex), sizeof(ShmStreamFifo)) && fits; // the mutex has its own test
        ::shmdt(pFrame);
        reader.Free();
        m_handler.FreeMem();
        return fits ? 0 : 2;
    });
    EXPECT_EQ(child.Wait(), 0);
    static_cast<void>(
        m_keys.Used(true)); // a slot that was made anew meanwhile is not known to the restored header
}

// Catches: a writer that goes on refusing frames after the words about one slot were lost.
TEST_F(ShmFifoScribbleTest, WriterMakesASlotAnewWhoseAddressWasLost)
{
    Make(1000, 10);
    Poke("m_entryArr", 0x1234, offsetof(DATA_ENTRY_INFO, entry));
    Poke("m_entryArr", 0x7FFFFFFF, sizeof(DATA_ENTRY_INFO) + offsetof(DATA_ENTRY_INFO, capacity));
    EXPECT_EQ(Write(FRAME_P, 900), 0);
    EXPECT_EQ(Write(FRAME_P, 2000, 5), 0);
    FrameBuffer copy;
    ASSERT_EQ(m_pFifo->ReadLatest(copy.data, copy.size), 0);
    EXPECT_EQ(copy.data[1999], 5);
}
