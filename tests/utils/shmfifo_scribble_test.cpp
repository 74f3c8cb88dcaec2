// SPDX-License-Identifier: Apache-2.0
// tests/utils/shmfifo_scribble_test.cpp - somebody writes over the shared memory while it is used.
#include <cstdlib>
#include <random>

#include "shmfifo_fixture.h"
#include "shmfifoinspect.h"
#include "support/child_process.h"

namespace {

unsigned Seed()
{
    const char* const fromEnv = std::getenv("VX_TEST_SEED");
    const unsigned seed =
        fromEnv != nullptr ? static_cast<unsigned>(std::atoi(fromEnv)) : std::random_device{}();
    ::testing::Test::RecordProperty("seed", std::to_string(seed));
    std::printf("VX_TEST_SEED=%u\n", seed);
    return seed;
}

/// Everything that a reader can do, results ignored: it is to come back.
void UseAsReader(ShmFifoReader& reader, int lastId)
{
    ShmStreamFifo& fifo = *reader.GetFifo();
    const auto look = [](void* ctx, DataEntry*, unsigned char* data, int size) {
        *static_cast<unsigned*>(ctx) += data[0] + data[size - 1];
    };
    unsigned sum = 0;
    for (const auto readFn : {static_cast<ShmFifoReader::ReadFn>(&ShmStreamFifo::ReadNext),
                              static_cast<ShmFifoReader::ReadFn>(&ShmStreamFifo::ReadLatest),
                              static_cast<ShmFifoReader::ReadFn>(&ShmStreamFifo::ReadLatestIFrame)}) {
        static_cast<void>(reader.Read(&sum, look, readFn));
    }
    FrameBuffer copy;
    static_cast<void>(fifo.ReadLatest(lastId, copy.data, copy.size, true));
    std::list<int> found;
    fifo.SearchNearIdx(lastId, found);
    ESFormat format;
    static_cast<void>(reader.FillVdoFmt(format));
    static_cast<void>(reader.FillAdoFmt(format));
    static_cast<void>(fifo.GetReadBPS() + fifo.GetWriteFPS());
}

} // namespace

class ShmFifoScribbleTest : public ShmFifoFixture {
protected:
    /// Writes random bytes over a frame's header.
    void ScribbleFrame(std::mt19937& random) const
    {
        const int id = ::shmget(m_keys.First() + 1 + static_cast<int>(random() % 10), 0, 0);
        void* const pEntry = id >= 0 ? ::shmat(id, nullptr, 0) : reinterpret_cast<void*>(-1);
        if (pEntry != reinterpret_cast<void*>(-1)) {
            const auto word = static_cast<std::uint32_t>(random() % 2 == 0 ? random() % 0x400000 : random());
            std::memcpy(static_cast<unsigned char*>(pEntry) + random() % 9 * 4, &word, sizeof(word));
            ::shmdt(pEntry);
        }
    }

    /// Writes random bytes over a part of the header. The mutex and its waits have a test of their own.
    void Scribble(std::mt19937& random)
    {
        auto* const bytes = reinterpret_cast<unsigned char*>(m_pFifo);
        const std::size_t first = sizeof(VxRbMutex);
        const std::size_t at = first + random() % (sizeof(ShmStreamFifo) - first);
        const std::size_t count = random() % 3 == 0 ? sizeof(ShmStreamFifo) - at
                                                    : std::min<std::size_t>(8, sizeof(ShmStreamFifo) - at);
        for (std::size_t i = at; i < at + count; ++i) {
            bytes[i] = static_cast<unsigned char>(random() % 4 == 0 ? random() : random() % 2 * 255);
        }
    }
};

// Catches: an index, a size, a count or an address from shared memory that is used before it is checked.
TEST_F(ShmFifoScribbleTest, HeaderOfRandomBytesStopsNobody)
{
    std::mt19937 random(Seed());
    for (int round = 0; round < 30; ++round) {
        ChildProcess child([&](const Channel&) {
            Make(1000, 30);
            ShmFifoReader reader;
            if (m_pFifo == nullptr || reader.Init(m_keys.First(), true) != 0) {
                return 1;
            }
            for (int step = 0; step < 20; ++step) {
                Write(random() % 3 == 0 ? FRAME_I : FRAME_P, static_cast<int>(random() % 3000));
                UseAsReader(reader, static_cast<int>(random() % 10002));
                for (int i = 0; i < 4; ++i) {
                    ScribbleFrame(random);
                    UseAsReader(reader, SHM_FIFO_NO_FRAME_ID);
                }
                Scribble(random);
                UseAsReader(reader, static_cast<int>(random()));
                ShmFifoSnapshot snapshot;
                static_cast<void>(ShmFifoInspector::Inspect(m_keys.First(), snapshot));
                TakeLog();
            }
            reader.Free();
            m_handler.FreeMem();
            return 0;
        });
        ASSERT_EQ(child.Wait(), 0) << "round " << round;
        static_cast<void>(m_keys.Used(true)); // handles that were written over cannot be removed by their ids
        random.discard(100000);
    }
}

// Catches: one certain word of the header that is believed, whatever the others say.
TEST_F(ShmFifoScribbleTest, NoWordOfTheHeaderIsBelieved)
{
    ChildProcess child([&](const Channel&) {
        Make(1000, 30);
        Write(FRAME_I);
        ShmFifoReader reader;
        if (m_pFifo == nullptr || reader.Init(m_keys.First(), true) != 0) {
            return 1;
        }
        std::vector<unsigned char> good(sizeof(ShmStreamFifo));
        for (std::size_t at = sizeof(VxRbMutex); at < sizeof(ShmStreamFifo); at += 4) {
            for (const std::uint32_t word : {0xFFFFFFFFU, 0x7FFFFFFFU, 31U, 10001U}) {
                std::memcpy(good.data(), m_pFifo, good.size());
                std::memcpy(reinterpret_cast<unsigned char*>(m_pFifo) + at, &word, sizeof(word));
                UseAsReader(reader, SHM_FIFO_NO_FRAME_ID);
                UseAsReader(reader, 5);
                Write(FRAME_P, 900);
                std::memcpy(static_cast<void*>(m_pFifo), good.data(), good.size());
            }
            TakeLog();
        }
        reader.Free();
        m_handler.FreeMem();
        return 0;
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
