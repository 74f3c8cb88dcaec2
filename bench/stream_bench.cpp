// SPDX-License-Identifier: Apache-2.0
// bench/stream_bench.cpp - how fast do frames go from one process to another, every one delivered?
// The time is that of one frame; the reader adds up its 64-bit words where it receives it.
#include <benchmark/benchmark.h>

#include <algorithm>

#include "rivals/boost_queue.h"
#include "rivals/floor_ring.h"
#include "rivals/iceoryx.h"
#include "rivals/ours.h"
#include "rivals/unix_socket.h"
#include "rivals/zeromq.h"
#include "support/pair.h"

namespace {

/// Below 10,000, where frame IDs start again: a reader that lags there misses frame 10,000, as all builds
/// agreed.
constexpr std::size_t MAX_FRAMES = 9'900;

/// The time of a run is the median of its bursts, of a tenth of a millisecond and more: one that another program
/// interrupts takes several times as long, and a whole run hardly ever goes without. Not shorter than what may wait
/// between the two sides, so that no burst is only the taking of what waited.
constexpr std::size_t BURST_BYTES = 1u << 20;

template <typename Contender>
void BM_Stream(benchmark::State& state)
{
    const auto size = static_cast<std::size_t>(state.range(0));
    const std::uint64_t burst = std::clamp<std::size_t>(BURST_BYTES / size, PAIR_DEPTH, 100);
    const std::uint64_t frames =
        std::min<std::size_t>((std::size_t{256} << 20) / size, MAX_FRAMES) / burst * burst;
    if (const char* const why = Contender::Missing()) {
        state.SkipWithError(why);
        return;
    }
    for (auto _ : state) {
        PairResult result = RunPair<Contender>({size, 40, frames, false, burst});
        if (!result.error.empty()) {
            state.SkipWithError(result.error.c_str());
            return;
        }
        state.SetIterationTime(Quantile(result.samples, 0.5) / 1e9 / static_cast<double>(burst));
    }
    state.SetBytesProcessed(state.range(0));
}

void Sizes(benchmark::internal::Benchmark* family)
{
    family->Arg(4 << 10)->Arg(64 << 10)->Arg(512 << 10)->Arg(3 << 20);
    family->Iterations(1)->UseManualTime()->Unit(benchmark::kMicrosecond);
}

BENCHMARK_TEMPLATE(BM_Stream, FloorRing)->Name("BM_Stream_Floor")->Apply(Sizes);
BENCHMARK_TEMPLATE(BM_Stream, Ours)->Name("BM_Stream_Ours")->Apply(Sizes);
BENCHMARK_TEMPLATE(BM_Stream, Iceoryx)->Name("BM_Stream_Iceoryx")->Apply(Sizes);
BENCHMARK_TEMPLATE(BM_Stream, BoostQueue)->Name("BM_Stream_BoostQueue")->Apply(Sizes);
BENCHMARK_TEMPLATE(BM_Stream, ZeroMq)->Name("BM_Stream_ZeroMq")->Apply(Sizes);
BENCHMARK_TEMPLATE(BM_Stream, UnixSocket)->Name("BM_Stream_UnixSocket")->Apply(Sizes);

} // namespace
