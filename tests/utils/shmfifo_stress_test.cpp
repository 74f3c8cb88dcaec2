// SPDX-License-Identifier: Apache-2.0
// tests/utils/shmfifo_stress_test.cpp - a writer and eight readers, killed and stopped at random: no frame
// that a reader was given differs from what was written.
#include <algorithm>
#include <atomic>
#include <chrono>
#include <memory>
#include <random>

#include "shmfifo_fixture.h"
#include "support/child_process.h"
#include "support/shared_with_children.h"

namespace {

using Clock = std::chrono::steady_clock;

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__) || defined(__arm__)
constexpr long EVERYDAY_READS = 100'000;
#else
constexpr long EVERYDAY_READS = 1'000'000;
#endif

/// A campaign wants more (script/campaign).
long WantedReads()
{
    const char* const fromEnv = std::getenv("VX_STRESS_READS");
    return fromEnv != nullptr ? std::atol(fromEnv) : EVERYDAY_READS;
}

/// Random numbers of one width on every machine.
class Dice {
public:
    explicit Dice(unsigned seed) : m_engine(seed) {}
    unsigned operator()() { return static_cast<unsigned>(m_engine()); }

private:
    std::mt19937 m_engine;
};

constexpr int READERS = 8;
constexpr std::size_t MAX_WORDS = 20000;

/// What the processes tell the test, in a mapping of their own.
struct Tally {
    std::atomic<long> written;
    std::atomic<long> accepted;
    std::atomic<long> torn;
    std::atomic<long> none;
    std::atomic<long> noticed; ///< in place: the frame changed, and IsIntact() said so
};

/// A frame of `count` words, each of which follows from the frame's number and the word's place.
void Fill(std::vector<std::uint32_t>& words, std::uint32_t number, std::size_t count)
{
    words.resize(count);
    for (std::size_t i = 0; i < count; ++i) {
        words[i] = (number * 2654435761U) ^
                   (static_cast<std::uint32_t>(i) * 40503U + static_cast<std::uint32_t>(count));
    }
}

bool IsWhole(const unsigned char* data, int size)
{
    const auto count = static_cast<std::uint32_t>(size) / 4;
    std::uint32_t first = 0;
    std::memcpy(&first, data, 4);
    for (std::uint32_t i = 0; i < count; ++i) {
        std::uint32_t word = 0;
        std::memcpy(&word, data + i * 4, 4);
        if ((word ^ (i * 40503U + count)) != (first ^ count)) {
            return false;
        }
    }
    return true;
}

int WriteForEver(int key, unsigned seed, Tally& tally, const Channel& toParent)
{
    Dice random(seed);
    ShmFifoHandler handler;
    ShmStreamFifo* const pFifo = handler.GetStreamFifo(key, 4000, 10);
    toParent.Send(pFifo != nullptr ? 'W' : 'x');
    std::vector<std::uint32_t> words;
    for (std::uint32_t number = seed; pFifo != nullptr; ++number) {
        Fill(words, number, 1 + random() % (number % 8 == 0 ? MAX_WORDS : 500));
        const int flags = number % 4 == 0 ? FRAME_I : FRAME_P;
        tally.written +=
            pFifo->WriteData(reinterpret_cast<unsigned char*>(words.data()),
                             static_cast<int>(words.size() * 4), number, MEDIA_ES_VIDEO, flags, 1) == 0;
        if (random() % 256 == 0) {
            ::usleep(random() % 100);
        }
    }
    return 1;
}

void Count(Tally& tally, bool got, bool whole)
{
    tally.accepted += got && whole ? 1 : 0;
    tally.torn += got && !whole ? 1 : 0;
    tally.none += got ? 0 : 1;
}

void ReadInPlace(ShmStreamFifo& fifo, DATA_ENTRY_INFO* table, int& lastId, Tally& tally)
{
    DataEntry* const pEntry = fifo.ReadNext(lastId, table);
    unsigned char* data = nullptr;
    int size = 0;
    if (fifo.GetValidFrame(pEntry, data, size)) {
        lastId = pEntry->id;
        const bool whole = IsWhole(data, size);
        const bool intact = fifo.IsIntact(pEntry, lastId);
        Count(tally, intact, whole);
        tally.noticed += !intact && !whole ? 1 : 0;
    }
    fifo.ReadFinish(pEntry, true, table);
}

int ReadForEver(int key, unsigned seed, Tally& tally)
{
    Dice random(seed);
    std::vector<unsigned char> room(MAX_WORDS * 4);
    for (;;) {
        ShmFifoReader reader;
        if (reader.Init(key, true) != 0) {
            ::usleep(500);
            continue;
        }
        ShmStreamFifo& fifo = *reader.GetFifo();
        DATA_ENTRY_INFO table[SHM_FIFO_MAX_COUNT];
        fifo.StartRead(table);
        int lastId = SHM_FIFO_NO_FRAME_ID;
        while (!reader.IsClose()) {
            unsigned char* buf = room.data();
            int size = static_cast<int>(room.size());
            int id = SHM_FIFO_NO_FRAME_ID;
            const unsigned way = random() % 16;
            if (way == 0) {
                ReadInPlace(fifo, table, lastId, tally);
                continue;
            }
            const int result = way <= 2 ? fifo.ReadLatest(way == 1 ? lastId : id, buf, size, true)
                                        : fifo.ReadLatestIFrame(id, buf, size, table);
            Count(tally, result == 0, result == 0 && IsWhole(buf, size));
        }
        fifo.StopRead(table);
    }
}

unsigned Seed()
{
    const char* const fromEnv = std::getenv("VX_TEST_SEED");
    const unsigned seed = fromEnv != nullptr ? static_cast<unsigned>(std::strtoul(fromEnv, nullptr, 10))
                                             : std::random_device{}();
    std::printf("VX_TEST_SEED=%u\n", seed);
    return seed;
}

} // namespace

class ShmFifoStressTest : public ShmFifoFixture {
protected:
    using Child = std::unique_ptr<ChildProcess>;

    Child NewWriter()
    {
        const unsigned seed = m_random();
        return std::make_unique<ChildProcess>([=, this](const Channel& toParent) {
            return WriteForEver(m_keys.First(), seed, *m_tally, toParent);
        });
    }
    Child NewReader()
    {
        const unsigned seed = m_random();
        return std::make_unique<ChildProcess>(
            [=, this](const Channel&) { return ReadForEver(m_keys.First(), seed, *m_tally); });
    }

    Dice m_random{Seed()};
    const SharedWithChildren<Tally> m_tally;
};

// Catches: a frame that is accepted although the writer took its slot while it was copied; a slot or a writer
// that is stuck after the death of anybody at any moment.
TEST_F(ShmFifoStressTest, NoReaderAcceptsATornFrame)
{
    Child writer = NewWriter();
    ASSERT_EQ(writer->Receive(), 'W');
    std::vector<Child> readers;
    for (int i = 0; i < READERS; ++i) {
        readers.push_back(NewReader());
    }
    const long wantedReads = WantedReads();
    const auto start = Clock::now();
    const auto enough = start + std::chrono::seconds(8);
    const auto deadline = start + std::chrono::seconds(90) * (wantedReads / EVERYDAY_READS + 1);
    while (
        (m_tally->accepted < wantedReads || m_tally->written < wantedReads / 20 || Clock::now() < enough) &&
        m_tally->torn == 0 && Clock::now() < deadline) {
        const unsigned what = m_random() % 50;
        if (what == 0) {
            writer->Kill(SIGKILL);
            writer = NewWriter();
            ASSERT_EQ(writer->Receive(), 'W');
        } else if (what < 5) {
            readers[m_random() % READERS] = NewReader();
        } else if (what == 5) {
            writer->Signal(SIGSTOP);
            ::usleep(m_random() % 3000);
            writer->Signal(SIGCONT);
        } else { // wherever each reader is; the writer goes on, up to taking slots by force
            std::for_each(readers.begin(), readers.end(), [](const Child& each) { each->Signal(SIGSTOP); });
            ::usleep(m_random() % 5000);
            std::for_each(readers.begin(), readers.end(), [](const Child& each) { each->Signal(SIGCONT); });
            ::usleep(m_random() % 1000);
        }
    }
    readers.clear();
    writer.reset();
    std::printf("written %ld accepted %ld none %ld noticed %ld\n", m_tally->written.load(),
                m_tally->accepted.load(), m_tally->none.load(), m_tally->noticed.load());
    EXPECT_EQ(m_tally->torn, 0);
    EXPECT_GE(m_tally->accepted, wantedReads);
    EXPECT_GE(m_tally->written, wantedReads / 20);
    Make(); // the next writer cleans up after the killed one
}
