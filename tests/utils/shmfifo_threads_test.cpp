// SPDX-License-Identifier: Apache-2.0
// tests/utils/shmfifo_threads_test.cpp - the marking protocol with all threads on one mapping, which is what
// the thread sanitizer needs to see both sides.
#include <atomic>
#include <chrono>
#include <thread>

#include "shmfifo_fixture.h"

class ShmFifoThreadsTest : public ShmFifoFixture {
protected:
    /// A reader's table that has the writer's own mappings in it. Not to be given to StopRead().
    Slots SharedTable() const
    {
        Slots table = Look();
        for (std::size_t i = 0; i < m_entries.size(); ++i) {
            table[i].entry = m_entries[i];
        }
        return table;
    }

    /// Whether a slot's fifth pass is near, in which readers lose their claims on purpose.
    bool ForceIsNear() const
    {
        for (const DATA_ENTRY_INFO& slot : Look()) {
            if (slot.mark >= 0x40000000U && slot.mark % 0x10000000U != 0) {
                return true;
            }
        }
        return false;
    }

    std::vector<DataEntry*> m_entries;
};

// Catches: a frame or a slot that is touched without a claim, and an order between both sides that only x86
// gives.
TEST_F(ShmFifoThreadsTest, ClaimsOrderEveryByteOfAFrame)
{
    Make(1000, 10);
    for (int i = 0; i < 10; ++i) {
        m_entries.push_back(m_pFifo->TryStartWrite(10));
        m_pFifo->TryStopWrite(m_entries.back(), 0, MEDIA_ES_VIDEO, FRAME_P, 1);
    }
    std::atomic<int> read{0};
    std::atomic<int> wrong{0};
    std::atomic<bool> stop{false};
    const auto readFrames = [&] {
        Slots table = SharedTable();
        int lastId = SHM_FIFO_NO_FRAME_ID;
        while (!stop) {
            DataEntry* const pEntry = m_pFifo->ReadNext(lastId, table.data());
            unsigned char* data = nullptr;
            int size = 0;
            if (m_pFifo->GetValidFrame(pEntry, data, size)) {
                lastId = pEntry->id;
                wrong += data[0] == data[size - 1] && pEntry->timestamp == data[0] ? 0 : 1;
                ++read;
            }
            m_pFifo->ReadFinish(pEntry, true, table.data());
        }
    };
    std::thread readers[3] = {std::thread(readFrames), std::thread(readFrames), std::thread(readFrames)};
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(20);
    for (int i = 0; read < 3000 && std::chrono::steady_clock::now() < deadline; ++i) {
        if (ForceIsNear()) {
            std::this_thread::yield();
        } else {
            static_cast<void>(
                Write(i % 15 == 0 ? FRAME_I : FRAME_P, 200 + i % 300, static_cast<unsigned char>(i % 250)));
        }
        static_cast<void>(i % 64 == 0 ? m_pFifo->SetCodec("H264") : static_cast<void>(0));
    }
    stop = true;
    for (std::thread& reader : readers) {
        reader.join();
    }
    EXPECT_GE(read, 3000);
    EXPECT_EQ(wrong, 0);
}
