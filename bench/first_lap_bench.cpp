// SPDX-License-Identifier: Apache-2.0
// bench/first_lap_bench.cpp - what does the first lap through fresh slots cost, and what does it cost when
// the slots were made resident at creation? The time is that of one frame; making the FIFO is a counter of
// its own.
#include <benchmark/benchmark.h>

#include "rivals/ours.h"
#include "support/frame.h"

namespace {

constexpr int SLOT_COUNT = 10;

void Lap(benchmark::State& state, bool prefault, int lapsBefore)
{
    PinTo(0);
    const int size = static_cast<int>(state.range(0));
    SourceFrame frame(static_cast<std::size_t>(size));
    for (auto _ : state) {
        ShmFifoHandler handler;
        handler.SetPrefault(prefault);
        const std::int64_t create = NowNs();
        ShmStreamFifo* const fifo = handler.GetStreamFifo(BenchKey(), size, SLOT_COUNT);
        std::int64_t start = NowNs();
        state.counters["create_ms"] = static_cast<double>(start - create) / 1e6;
        int failed = fifo == nullptr ? -1 : 0;
        for (int i = 0; failed == 0 && i < (lapsBefore + 1) * SLOT_COUNT; ++i) {
            start = i == lapsBefore * SLOT_COUNT ? NowNs() : start;
            failed = fifo->WriteData(frame.Data(), size, 0, MediaES{}, FRAME_P, 1);
        }
        if (failed != 0) {
            state.SkipWithError("no shared memory, or a frame was not written");
            return;
        }
        state.SetIterationTime(static_cast<double>(NowNs() - start) / 1e9 / SLOT_COUNT);
    }
}

void BM_FirstLap_Floor(benchmark::State& state)
{
    Lap(state, false, 2);
}

void BM_FirstLap_Cold(benchmark::State& state)
{
    Lap(state, false, 0);
}

void BM_FirstLap_Prefaulted(benchmark::State& state)
{
    Lap(state, true, 0);
}

void Sizes(benchmark::internal::Benchmark* family)
{
    family->Arg(64 << 10)->Arg(512 << 10)->Arg(3 << 20);
    family->Iterations(5)->UseManualTime()->Unit(benchmark::kMicrosecond);
}

BENCHMARK(BM_FirstLap_Floor)->Apply(Sizes);
BENCHMARK(BM_FirstLap_Cold)->Apply(Sizes);
BENCHMARK(BM_FirstLap_Prefaulted)->Apply(Sizes);

} // namespace
