// SPDX-License-Identifier: Apache-2.0
// bench/frame_write_bench.cpp - what does writing a frame cost beyond copying its bytes?
// The floor copies the same bytes into the same slots of the same FIFO, in the same order.
#include <benchmark/benchmark.h>

#include <cstring>
#include <map>
#include <memory>
#include <vector>

#include "rivals/ours.h"
#include "support/frame.h"

namespace {

constexpr int SLOT_COUNT = 10;

/// A FIFO that has been written to for two laps, and the place of each slot's bytes.
class WarmFifo {
public:
    explicit WarmFifo(int size) : m_frame(static_cast<std::size_t>(size))
    {
        m_fifo = m_handler.GetStreamFifo(BenchKey(), size, SLOT_COUNT);
        for (int i = 0; m_fifo != nullptr && i < 2 * SLOT_COUNT; ++i) {
            Write();
        }
        for (int i = 0; m_fifo != nullptr && i < SLOT_COUNT; ++i) {
            DataEntry* const entry = m_fifo->TryStartWrite(size);
            m_slots.push_back(entry->data);
            m_fifo->TryStopWrite(entry, 0, MediaES{}, FRAME_P, 1);
        }
    }
    bool Ready() const noexcept { return m_fifo != nullptr; }
    int Write() noexcept
    {
        return m_fifo->WriteData(m_frame.Data(), static_cast<int>(m_frame.Size()), 0, MediaES{}, FRAME_P, 1);
    }
    void Copy() noexcept
    {
        std::memcpy(m_slots[m_next], m_frame.Data(), m_frame.Size());
        m_next = m_next + 1 == m_slots.size() ? 0 : m_next + 1;
    }

private:
    ShmFifoHandler m_handler;
    ShmStreamFifo* m_fifo = nullptr;
    SourceFrame m_frame;
    std::vector<unsigned char*> m_slots;
    std::size_t m_next = 0;
};

WarmFifo& FifoOf(std::int64_t size)
{
    static std::map<std::int64_t, std::unique_ptr<WarmFifo>> fifos; // floor and ours share the pages
    auto& fifo = fifos[size];
    if (!fifo) {
        PinTo(0);
        fifo = std::make_unique<WarmFifo>(static_cast<int>(size));
    }
    return *fifo;
}

template <typename Step>
void Run(benchmark::State& state, Step&& step)
{
    WarmFifo& fifo = FifoOf(state.range(0));
    if (!fifo.Ready()) {
        state.SkipWithError("no shared memory");
        return;
    }
    for (auto _ : state) {
        step(fifo);
        benchmark::ClobberMemory();
    }
    state.SetBytesProcessed(state.iterations() * state.range(0));
}

void BM_FrameWrite_Floor(benchmark::State& state)
{
    Run(state, [](WarmFifo& fifo) { fifo.Copy(); });
}

void BM_FrameWrite_Ours(benchmark::State& state)
{
    int failed = 0;
    Run(state, [&failed](WarmFifo& fifo) { failed |= fifo.Write(); });
    if (failed != 0) {
        state.SkipWithError("a frame was not written");
    }
}

void Sizes(benchmark::internal::Benchmark* family)
{
    family->Arg(4 << 10)->Arg(64 << 10)->Arg(512 << 10)->Arg(3 << 20);
}

BENCHMARK(BM_FrameWrite_Floor)->Apply(Sizes);
BENCHMARK(BM_FrameWrite_Ours)->Apply(Sizes);

} // namespace
