// SPDX-License-Identifier: Apache-2.0
// bench/latency_bench.cpp - how long from publishing a frame to having it in the reader's hand?
// One frame under way at a time. The reader looks at the stamp and at the last byte. The time is the median;
// p50_ns and p99_ns stand beside it.
#include <benchmark/benchmark.h>

#include "rivals/boost_queue.h"
#include "rivals/floor_ring.h"
#include "rivals/iceoryx.h"
#include "rivals/ours.h"
#include "rivals/unix_socket.h"
#include "rivals/zeromq.h"
#include "support/pair.h"

namespace {

template <typename Contender>
void BM_Latency(benchmark::State& state)
{
    const auto size = static_cast<std::size_t>(state.range(0));
    const std::uint64_t frames = size > (1u << 20) ? 200 : 1500;
    if (const char* const why = Contender::Missing()) {
        state.SkipWithError(why);
        return;
    }
    std::vector<std::uint32_t> samples;
    for (auto _ : state) {
        PairResult result = RunPair<Contender>({size, 40, frames, true});
        if (!result.error.empty()) {
            state.SkipWithError(result.error.c_str());
            return;
        }
        samples = std::move(result.samples);
        state.SetIterationTime(Quantile(samples, 0.5) / 1e9);
    }
    state.counters["p50_ns"] = Quantile(samples, 0.5);
    state.counters["p99_ns"] = Quantile(samples, 0.99);
}

void Sizes(benchmark::internal::Benchmark* family)
{
    family->Arg(4 << 10)->Arg(64 << 10)->Arg(512 << 10)->Arg(3 << 20);
    family->Iterations(1)->UseManualTime()->Unit(benchmark::kMicrosecond);
}

BENCHMARK_TEMPLATE(BM_Latency, FloorRing)->Name("BM_Latency_Floor")->Apply(Sizes);
BENCHMARK_TEMPLATE(BM_Latency, Ours)->Name("BM_Latency_Ours")->Apply(Sizes);
BENCHMARK_TEMPLATE(BM_Latency, Iceoryx)->Name("BM_Latency_Iceoryx")->Apply(Sizes);
BENCHMARK_TEMPLATE(BM_Latency, BoostQueue)->Name("BM_Latency_BoostQueue")->Apply(Sizes);
BENCHMARK_TEMPLATE(BM_Latency, ZeroMq)->Name("BM_Latency_ZeroMq")->Apply(Sizes);
BENCHMARK_TEMPLATE(BM_Latency, UnixSocket)->Name("BM_Latency_UnixSocket")->Apply(Sizes);

} // namespace
