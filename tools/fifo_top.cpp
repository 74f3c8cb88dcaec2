// SPDX-License-Identifier: Apache-2.0
// tools/fifo_top.cpp - vx fifo top: the table of ls, again each second, with rates of this second.
#include <CLI/CLI.hpp>
#include <unistd.h>

#include <fmt/format.h>
#include <json/value.h>

#include <climits>
#include <cstdio>
#include <map>
#include <memory>
#include <utility>

#include "fifo_common.h"
#include "fifo_follow.h"
#include "fifo_json.h"
#include "fifo_table.h"
#include "frame_trace.h"
#include "stop_signal.h"

namespace {

struct Options {
    long long count = 0;
    double seconds = 1.0;
    bool json = false;
};

/// Frames written since the last look, from the next ID. The header's own rate is only measured every ten seconds.
class RateMeter {
public:
    /// @return frames a second, or -1 at the first look.
    int Measure(const FifoFacts& facts, double elapsedSec)
    {
        const auto before = m_nextIds.find(facts.header.shmId);
        int rate = -1;
        if (before != m_nextIds.end() && elapsedSec > 0) {
            constexpr int ID_CNT = SHM_FIFO_MAX_FRAME_ID + 1;
            const int frames = ((facts.snapshot.nextId - before->second) % ID_CNT + ID_CNT) % ID_CNT;
            rate = static_cast<int>(frames / elapsedSec + 0.5);
        }
        m_nextIds[facts.header.shmId] = facts.snapshot.nextId;
        return rate;
    }

private:
    std::map<int, int> m_nextIds;
};

void Show(const std::vector<FifoFacts>& fifos, bool json)
{
    if (json) {
        PrintJsonLine(ToJson(fifos));
        return;
    }
    if (::isatty(STDOUT_FILENO) != 0) {
        std::fputs("\033[H\033[2J", stdout);
    }
    fifos.empty() ? static_cast<void>(std::puts("No FIFO on this box.")) : FifoTable(fifos).Print();
    std::fflush(stdout);
}

void Run(const Options& options)
{
    const StopSignal stop;
    const long long rounds = options.count > 0 ? options.count : (::isatty(STDOUT_FILENO) != 0 ? 0 : 1);
    const std::chrono::milliseconds pause(static_cast<int>(options.seconds * 1000));
    RateMeter meter;
    std::int64_t lookedNs = MonotonicNs();
    for (long long round = 0; (rounds == 0 || round < rounds) && !stop.Stopped(); ++round) {
        if (round > 0 && stop.WaitFor(pause)) {
            break;
        }
        std::vector<FifoFacts> fifos = ListFifos(ListShm());
        const std::int64_t nowNs = MonotonicNs();
        const double elapsedSec = static_cast<double>(nowNs - std::exchange(lookedNs, nowNs)) / 1e9;
        for (FifoFacts& facts : fifos) {
            const int rate = meter.Measure(facts, elapsedSec);
            if (rate >= 0) {
                facts.snapshot.writeFPS = rate;
            }
        }
        Show(fifos, options.json);
    }
}

} // namespace

void AddFifoTop(CLI::App& fifo)
{
    CLI::App* const verb =
        fifo.add_subcommand("top", "The table of ls, live; once if the output is no terminal");
    const auto options = std::make_shared<Options>();
    verb->add_option("-n,--count", options->count, "End after so many tables")->check(CLI::Range(1, INT_MAX));
    verb->add_option("-s,--seconds", options->seconds, "Time between two tables")
        ->check(CLI::Range(0.1, 3600.0));
    verb->add_flag("--json", options->json, "Print one array a line");
    verb->callback([options] { Run(*options); });
}
