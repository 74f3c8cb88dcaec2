// SPDX-License-Identifier: Apache-2.0
// bench/support/pair.h - one writer process, one reader process, every frame delivered and checked.
// The writer keeps to the first processor and the reader to the second, but for contenders with threads of
// their own, which would wait for a processor that is spinning.
#pragma once

#include <algorithm>
#include <string>
#include <vector>

#include "rivals/contender.h"
#include "support/frame.h"
#include "support/processes.h"

struct PairPlan {
    std::size_t frameSize;
    std::uint64_t warmUp; ///< frames before the clock starts; a few laps of the slots
    std::uint64_t frames;
    bool paced;              ///< one frame under way at a time: latency; else as fast as it goes: throughput
    std::uint64_t burst = 1; ///< throughput: frames that one time is taken of; a part of `frames`
};

struct PairResult {
    /// Nanoseconds. Paced: from just before Publish() to the frame in the reader's hand; else from the last frame
    /// of one burst in the reader's hand to the last of the next, without any pause between them.
    std::vector<std::uint32_t> samples;
    std::string error;
};

inline constexpr unsigned PAIR_DEPTH = 8;
inline constexpr std::int64_t PACE_GAP_NS = 3'000;

template <typename Contender>
int PairWriter(Contender& contender, const PairPlan& plan, RunPage& page)
{
    if constexpr (!Contender::OWN_THREADS) {
        PinTo(0);
    }
    SourceFrame frame(plan.frameSize);
    if (contender.OpenWriter() != 0) {
        return 1;
    }
    page.writerReady = 1;
    while (page.readersReady == 0 || !contender.WriterConnected()) {
        SpinTurn();
    }
    const auto waitForAck = [&page](std::uint64_t count) {
        while (page.acked.load(std::memory_order_acquire) < count) {
            SpinTurn();
        }
    };
    for (std::uint64_t sequence = 0; sequence < plan.warmUp + plan.frames; ++sequence) {
        if (plan.paced || sequence == plan.warmUp) {
            waitForAck(sequence);
        }
        if (plan.paced) {
            for (const std::int64_t go = NowNs() + PACE_GAP_NS; NowNs() < go;) {
                SpinTurn();
            }
        }
        frame.Stamp(sequence, NowNs());
        if (contender.Publish(frame.Data(), frame.Size()) != 0) {
            return 2;
        }
    }
    waitForAck(plan.warmUp + plan.frames);
    contender.CloseWriter();
    return 0;
}

template <typename Contender>
int PairReader(Contender& contender, const PairPlan& plan, RunPage& page)
{
    if constexpr (!Contender::OWN_THREADS) {
        PinTo(1);
    }
    while (page.writerReady == 0) {
        SpinTurn();
    }
    if (contender.OpenReader() != 0) {
        return 1;
    }
    page.readersReady = 1;
    const std::uint64_t expectedSum = SourceFrame(plan.frameSize).Sum();
    std::uint64_t sequence = 0;
    std::int64_t burstStartNs = 0;
    bool intact = true;
    const auto onFrame = [&](const unsigned char* data, std::size_t size) {
        if (plan.paced) {
            const FrameSeen seen = GlanceAtFrame(data, size);
            if (sequence >= plan.warmUp) {
                page.samples[sequence - plan.warmUp] = static_cast<std::uint32_t>(NowNs() - seen.timeNs);
            }
            intact = intact && seen.sequence == sequence;
        } else {
            const FrameSeen seen = ReadFrame(data, size);
            intact = intact && seen.sequence == sequence && seen.sum == expectedSum;
        }
    };
    for (; sequence < plan.warmUp + plan.frames; ++sequence) {
        while (!contender.Receive(onFrame)) {
            SpinTurn();
        }
        if (!intact) {
            return 3;
        }
        const std::uint64_t timed = sequence + 1 - std::min(sequence + 1, plan.warmUp);
        if (!plan.paced && timed % plan.burst == 0) {
            const std::int64_t now = NowNs();
            if (timed > 0) {
                page.samples[timed / plan.burst - 1] = static_cast<std::uint32_t>(now - burstStartNs);
            }
            burstStartNs = now;
        }
        page.acked.store(sequence + 1, std::memory_order_release);
    }
    contender.CloseReader();
    return 0;
}

template <typename Contender>
PairResult RunPair(const PairPlan& plan)
{
    PairResult result;
    RunPageOwner page;
    Contender contender(Setup{plan.frameSize, PAIR_DEPTH, &*page});
    Forked writer([&] { return PairWriter(contender, plan, *page); });
    Forked reader([&] { return PairReader(contender, plan, *page); });
    const int readerStatus = reader.Wait();
    if (readerStatus != 0) {
        writer.Signal(SIGKILL);
    }
    const int writerStatus = writer.Wait();
    if (readerStatus != 0 || writerStatus != 0) {
        result.error = "reader ended with " + std::to_string(readerStatus) + ", writer with " +
                       std::to_string(writerStatus) + " (3: a frame was lost or torn)";
        return result;
    }
    result.samples.assign(page->samples, page->samples + plan.frames / (plan.paced ? 1 : plan.burst));
    return result;
}
