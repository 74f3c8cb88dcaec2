// SPDX-License-Identifier: Apache-2.0
// bench/log_bench.cpp - what does a log line cost that nobody wants, and one that is written?
#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <unistd.h>

#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "package/dbglog.h"
#include "vxlog.h"
#ifdef VX_HAVE_SPDLOG
#include <spdlog/sinks/basic_file_sink.h>
#include <spdlog/spdlog.h>
#endif

namespace {

/// Length of the written line, the same for all contenders, with a source place as ours has it.
constexpr int LINE_LENGTH = 128;

void BM_LogSuppressed_Floor(benchmark::State& state)
{
    static std::atomic<int> threshold{3};
    int level = 6;
    benchmark::DoNotOptimize(level);
    for (auto _ : state) {
        bool wanted = threshold.load(std::memory_order_relaxed) >= level;
        benchmark::DoNotOptimize(wanted);
    }
}

/// The argument is the length of the pid list; this process stands last in it.
void BM_LogSuppressed_Ours(benchmark::State& state)
{
    const int pidCount = static_cast<int>(state.range(0));
    for (int i = 0; i < pidCount; ++i) {
        g_pDbgLogCfg->pid[i] = i + 1 == pidCount ? ::getpid() : i + 1;
    }
    g_pDbgLogCfg->pidCount = pidCount;
    int slot = 0;
    for (auto _ : state) {
        VX_LOG(LOG_CATEG_SHMFIFO, LOG_LEVEL_TRACE, "Frame [%d] of [%s].\n", slot, "H264");
        benchmark::DoNotOptimize(++slot);
        benchmark::ClobberMemory();
    }
    g_pDbgLogCfg->pidCount = 0;
}

std::string LogPath(const char* name)
{
    return std::string(std::getenv("VX_ROOT")) + "/" + name;
}

/// One line formatted into a buffer and written by one write(2) to a file opened to append.
void BM_LogEmitted_Floor(benchmark::State& state)
{
    const int fd = ::open(LogPath("floor.log").c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0600);
    char line[LINE_LENGTH + 1];
    int slot = 0;
    for (auto _ : state) {
        const int length = std::snprintf(line, sizeof line, "%-*d\n", LINE_LENGTH - 1, ++slot);
        if (::write(fd, line, static_cast<std::size_t>(length)) != length) {
            state.SkipWithError("write failed");
            break;
        }
    }
    ::close(fd);
}

void BM_LogEmitted_Ours(benchmark::State& state)
{
    int slot = 0;
    for (auto _ : state) {
        VX_LOG(LOG_CATEG_SHMFIFO, LOG_LEVEL_ERR, "Failed to write frame [%9d] of stream [%s].\n", ++slot,
               "H264");
    }
}

#ifdef VX_HAVE_SPDLOG
void BM_LogSuppressed_Spdlog(benchmark::State& state)
{
    spdlog::set_level(spdlog::level::err);
    int slot = 0;
    for (auto _ : state) {
        spdlog::debug("Frame [{}] of [{}].", slot, "H264");
        benchmark::DoNotOptimize(++slot);
        benchmark::ClobberMemory();
    }
}

/// A thread-safe logger with a file sink that flushes each line; its pattern holds what ours holds.
void BM_LogEmitted_Spdlog(benchmark::State& state)
{
    spdlog::logger logger("bench",
                          std::make_shared<spdlog::sinks::basic_file_sink_mt>(LogPath("spdlog.log")));
    logger.set_pattern("%Y-%m-%dT%H:%M:%S.%eZ %P %t SHMFIFO %l %s:%# %! %v", spdlog::pattern_time_type::utc);
    logger.flush_on(spdlog::level::trace);
    int slot = 0;
    const spdlog::source_loc place{"bench/log_bench", __LINE__, static_cast<const char*>(__func__)};
    for (auto _ : state) {
        logger.log(place, spdlog::level::err, "Failed to write frame [{:9}] of stream [{}].", ++slot, "H264");
    }
}
#endif

BENCHMARK(BM_LogSuppressed_Floor)->Arg(0);
BENCHMARK(BM_LogSuppressed_Ours)->Arg(0)->Arg(1)->Arg(8);
BENCHMARK(BM_LogEmitted_Floor)->Arg(LINE_LENGTH);
BENCHMARK(BM_LogEmitted_Ours)->Arg(LINE_LENGTH);
#ifdef VX_HAVE_SPDLOG
BENCHMARK(BM_LogSuppressed_Spdlog)->Arg(0);
BENCHMARK(BM_LogEmitted_Spdlog)->Arg(LINE_LENGTH);
#endif

} // namespace
