// SPDX-License-Identifier: Apache-2.0
// bench/readers_bench.cpp - does the writer pay for its readers: for those that keep up, for those that are
// stopped and for those that died, both while they held a frame?
//
// The writer has the first processor for itself and spins between its frames, all readers share the second.
// The time is the writer's own processor time in WriteData(), the median frame; the two readings of the clock
// are in it and in the floor (no reader) alike. Readers poll and give their turn away, so with many of them
// the latency counters show how they share one processor.
#include <benchmark/benchmark.h>
#include <sched.h>

#include <algorithm>
#include <csignal>
#include <vector>

#include "rivals/ours.h"
#include "support/frame.h"

namespace {

constexpr std::size_t FRAME_SIZE = 64 << 10;
constexpr unsigned DEPTH = 10;
constexpr std::int64_t PACE_NS = 250'000;
constexpr std::uint64_t MEASURED_FRAMES = 800;
constexpr std::int64_t START_LIMIT_NS = 10'000'000'000;

enum class Fate { KEEP_UP, STOP, KILL };

/// What the reader's callback works on.
struct ReaderState {
    RunPage* page;
    Fate fate;
    unsigned holdAt; ///< how many frames to read before the last one is kept
    unsigned frames;
    std::uint64_t lastSequence;
};

void OnFrame(void* context, DataEntry*, unsigned char* data, int size)
{
    auto& state = *static_cast<ReaderState*>(context);
    const FrameSeen seen = GlanceAtFrame(data, static_cast<std::size_t>(size));
    ++state.frames;
    if (state.fate != Fate::KEEP_UP && state.frames == state.holdAt) {
        ::raise(SIGSTOP); // inside the claim; the parent sees it and leaves it so, or kills it
    }
    if (state.page->stop != 0) {
        const std::uint32_t at = state.page->sampleCount.fetch_add(1, std::memory_order_relaxed);
        if (at < RunPage::MAX_SAMPLES) {
            state.page->samples[at] = static_cast<std::uint32_t>(NowNs() - seen.timeNs);
        }
        if (state.lastSequence != 0 && seen.sequence != state.lastSequence + 1) {
            state.page->failed.fetch_add(1, std::memory_order_relaxed);
        }
    }
    state.lastSequence = seen.sequence;
}

int Reader(int key, RunPage& page, Fate fate, unsigned index)
{
    PinTo(1);
    ShmFifoReader reader;
    if (reader.Init(key, false) != 0) {
        return 1;
    }
    ReaderState state{&page, fate, 3 + index % DEPTH, 0, 0};
    page.readersReady.fetch_add(1);
    while (!reader.IsClose()) {
        if (!reader.Read(&state, OnFrame, &ShmStreamFifo::ReadNext)) {
            ::sched_yield();
        }
    }
    return 0;
}

/// Writes paced frames until the parent says stop, then MEASURED_FRAMES more under the clock.
int Writer(Ours& ours, RunPage& page)
{
    PinTo(0);
    if (ours.OpenWriter() != 0) {
        return 1;
    }
    page.writerReady = 1;
    SourceFrame frame(FRAME_SIZE);
    std::int64_t next = NowNs();
    for (std::uint64_t sequence = 1; page.frames < MEASURED_FRAMES; ++sequence) {
        while (NowNs() < next) {
            SpinTurn();
        }
        next += PACE_NS;
        const bool measured = page.stop != 0;
        frame.Stamp(sequence, NowNs());
        const std::int64_t before = ThreadCpuNs();
        const int result = ours.Write(frame.Data(), frame.Size());
        const std::int64_t spent = ThreadCpuNs() - before;
        if (measured) {
            page.writerSamples[page.frames++] = static_cast<std::uint32_t>(spent);
            page.lost += result != 0 ? 1 : 0;
        }
    }
    ours.CloseWriter();
    return 0;
}

/// Starts the readers and brings them to their fate. @return false when one of them did not come so far.
bool StartReaders(std::vector<Forked>& readers, std::int64_t count, Fate fate, int key, RunPage& page)
{
    readers.reserve(static_cast<std::size_t>(count));
    for (unsigned i = 0; i < static_cast<unsigned>(count); ++i) {
        readers.emplace_back([&page, key, fate, i] { return Reader(key, page, fate, i); });
    }
    for (Forked& reader : readers) {
        if (fate != Fate::KEEP_UP && !reader.WaitStopped()) {
            return false;
        }
        if (fate == Fate::KILL) {
            reader.Signal(SIGKILL);
            static_cast<void>(reader.Wait()); // -1: the signal ended it
        }
    }
    const std::int64_t limit = NowNs() + START_LIMIT_NS;
    while (page.readersReady < static_cast<int>(count) && NowNs() < limit) {
        ::sched_yield();
    }
    return page.readersReady == static_cast<int>(count);
}

void Run(benchmark::State& state, Fate fate)
{
    for (auto _ : state) {
        RunPageOwner page;
        Ours ours(Setup{FRAME_SIZE, DEPTH - 2, &*page});
        Forked writer([&] { return Writer(ours, *page); });
        for (const std::int64_t limit = NowNs() + START_LIMIT_NS;
             page->writerReady == 0 && NowNs() < limit;) {
            ::sched_yield();
        }
        std::vector<Forked> readers;
        if (!StartReaders(readers, state.range(0), fate, ours.Key(), *page)) {
            state.SkipWithError("a reader did not start");
            return;
        }
        page->stop = 1;
        if (writer.Wait() != 0) {
            state.SkipWithError("the writer failed");
            return;
        }
        std::vector<std::uint32_t> spent(page->writerSamples, page->writerSamples + MEASURED_FRAMES);
        const std::uint32_t seen = page->sampleCount;
        std::vector<std::uint32_t> latency(page->samples,
                                           page->samples + std::min<std::size_t>(seen, RunPage::MAX_SAMPLES));
        state.SetIterationTime(Quantile(spent, 0.5) / 1e9);
        state.counters["p99_ns"] = Quantile(spent, 0.99);
        state.counters["lost"] = static_cast<double>(page->lost);
        state.counters["jumps"] = page->failed.load();
        state.counters["latency_p50_ns"] = Quantile(latency, 0.5);
        state.counters["latency_p99_ns"] = Quantile(latency, 0.99);
    }
}

void BM_WriterCost_Floor(benchmark::State& state)
{
    Run(state, Fate::KEEP_UP);
}

void BM_WriterCost_KeepingUp(benchmark::State& state)
{
    Run(state, Fate::KEEP_UP);
}

void BM_WriterCost_Stopped(benchmark::State& state)
{
    Run(state, Fate::STOP);
}

void BM_WriterCost_Dead(benchmark::State& state)
{
    Run(state, Fate::KILL);
}

void Counts(benchmark::internal::Benchmark* family)
{
    family->Arg(1)->Arg(4)->Arg(16)->Arg(64);
    family->Iterations(1)->UseManualTime();
}

BENCHMARK(BM_WriterCost_Floor)->Arg(0)->Iterations(1)->UseManualTime();
BENCHMARK(BM_WriterCost_KeepingUp)->Apply(Counts);
BENCHMARK(BM_WriterCost_Stopped)->Apply(Counts);
BENCHMARK(BM_WriterCost_Dead)->Apply(Counts);

} // namespace
