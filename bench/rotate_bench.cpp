// SPDX-License-Identifier: Apache-2.0
// bench/rotate_bench.cpp - marking a fifth of a large table through a rotator, beside the bare batches, and
// sweeping marked events with their files while somebody else writes.
#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <sqlite3.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <string>
#include <thread>
#include <vector>

#include "package/db.h"
#include "package/recsweep.h"
#include "package/root.h"
#include "vxrotateevt.h"
#include "vxrotatelogger.h"

namespace {

using Clock = std::chrono::steady_clock;

constexpr int BATCH = 1000;
constexpr int MARKED = 200'000;
constexpr int SWEPT = 10'000;
constexpr long long FIRST_START = 1'500'000'000;

void Must(bool isTrue, const char* what)
{
    if (!isTrue) {
        std::fprintf(stderr, "rotate_bench: %s\n", what);
        std::abort();
    }
}

std::string EventDB()
{
    return RecDBPath(REC_KIND_EVENT);
}

void Execute(const std::string& sql)
{
    Must(VxDB::Executep(EventDB(), sql) == 0, sql.c_str());
}

long long g_present = 0; ///< events that PrepareEvents() has made

/// So many events of one megabyte, a minute each, all of camera 1. Made once a size, then only unmarked.
void PrepareEvents(long long count)
{
    Must(BindRecVolume(EventDB()) == 0, "bind");
    if (g_present != count) {
        Execute("DELETE FROM event");
        for (long long made = 0; made < count; made += 100'000) { // transactions that the log holds well
            Execute("WITH RECURSIVE n(i) AS (SELECT " + std::to_string(made) +
                    " UNION ALL SELECT i + 1 FROM n WHERE i < " +
                    std::to_string(std::min(made + 100'000, count) - 1) +
                    ") INSERT INTO event (camera_id,start_time,end_time,size,path) SELECT 1," +
                    std::to_string(FIRST_START) + " + 60 * i," + std::to_string(FIRST_START) +
                    " + 60 * i + 59,1048576,'camera1/' || i || '.mp4' FROM n");
        }
        Must(RecordingCount::Recount(EventDB()) == 0, "recount");
        g_present = count;
    }
    Execute("UPDATE event SET mark_as_del = 0 WHERE mark_as_del = 1");
    Execute("PRAGMA wal_checkpoint(TRUNCATE)");
}

/// Times of batches: how the last ones compare with the first ones.
class BatchTimes {
public:
    void Add(Clock::duration time)
    {
        m_times.push_back(std::chrono::duration<double, std::milli>(time).count());
    }
    /// Medians of ten: one slow batch is the machine's.
    double LastOverFirst() const { return Median(m_times.end() - 10) / Median(m_times.begin()); }

private:
    static double Median(std::vector<double>::const_iterator first)
    {
        std::vector<double> ten(first, first + 10);
        std::nth_element(ten.begin(), ten.begin() + 5, ten.end());
        return ten[5];
    }
    std::vector<double> m_times;
};

class TimedRotator : public VxRotEvt {
public:
    using VxRotEvt::VxRotEvt;
    int RemoveEventsBySizeWithUpperbound(double sizeMB, int upperbound, RotInfo& info) noexcept override
    {
        const auto start = Clock::now();
        const int result = VxRotEvt::RemoveEventsBySizeWithUpperbound(sizeMB, upperbound, info);
        m_times.Add(Clock::now() - start);
        return result;
    }
    BatchTimes m_times;
};

Camera CameraOf(const RotLimits& limits)
{
    Camera camera;
    camera.SetId(1);
    camera.SetLimits(CAM_REC_GROUP_CONTINUOUS, limits);
    return camera;
}

void ResetPeakMemory()
{
    std::ofstream("/proc/self/clear_refs") << "5";
}

/// Peak resident size since ResetPeakMemory(), MiB.
double PeakMemory()
{
    std::ifstream status("/proc/self/status");
    for (std::string line; std::getline(status, line);) {
        if (line.starts_with("VmHWM:")) {
            return std::atof(line.c_str() + 6) / 1024;
        }
    }
    return 0;
}

void BM_RotateMark_Floor(benchmark::State& state)
{
    BatchTimes times;
    for (auto _ : state) {
        state.PauseTiming();
        PrepareEvents(state.range(0));
        sqlite3* pDb = nullptr;
        sqlite3_open(EventDB().c_str(), &pDb);
        sqlite3_exec(pDb, "PRAGMA synchronous=NORMAL", nullptr, nullptr, nullptr);
        state.ResumeTiming();
        for (int marked = 0; marked < MARKED; marked += BATCH) {
            const auto start = Clock::now();
            sqlite3_stmt* pStmt = nullptr;
            sqlite3_prepare_v2(
                pDb,
                "SELECT * FROM event WHERE mark_as_del = 0 AND camera_id = 1 AND rec_group = 0 ORDER "
                "BY stop_time LIMIT 1000",
                -1, &pStmt, nullptr);
            std::string ids;
            while (sqlite3_step(pStmt) == SQLITE_ROW) {
                ids += (ids.empty() ? "" : ",") + std::to_string(sqlite3_column_int64(pStmt, 0));
            }
            sqlite3_finalize(pStmt);
            sqlite3_exec(pDb, ("UPDATE event SET mark_as_del = 1 WHERE id IN (" + ids + ")").c_str(), nullptr,
                         nullptr, nullptr);
            times.Add(Clock::now() - start);
        }
        state.PauseTiming();
        sqlite3_close(pDb);
        state.ResumeTiming();
    }
    state.counters["last/first"] = times.LastOverFirst();
}

/// One pass that marks MARKED events. @return the rotator's batch times, if it has them
void BM_RotateMark_BySize(benchmark::State& state)
{
    const volatile int runFlag = 1;
    for (auto _ : state) {
        state.PauseTiming();
        PrepareEvents(state.range(0));
        ResetPeakMemory();
        VxRotLogger logger(EVT_TYPE_CAMERA);
        state.ResumeTiming();
        TimedRotator rotator(CameraOf({false, 0, true, static_cast<int>(state.range(0)) - MARKED, 0}), 0,
                             runFlag, logger, CAM_REC_GROUP_CONTINUOUS);
        Must(rotator.Start() == 0 && rotator.BySize().count == MARKED, "not what was to be marked");
        logger.Log();
        state.counters["last/first"] = rotator.m_times.LastOverFirst();
        state.counters["peak_rss_mib"] = PeakMemory();
    }
}

void BM_RotateMark_ByTime(benchmark::State& state)
{
    const volatile int runFlag = 1;
    for (auto _ : state) {
        state.PauseTiming();
        PrepareEvents(state.range(0));
        ResetPeakMemory();
        VxRotLogger logger(EVT_TYPE_CAMERA);
        state.ResumeTiming();
        VxRotEvt rotator(CameraOf({}), static_cast<long>(FIRST_START + 60LL * MARKED), runFlag, logger,
                         CAM_REC_GROUP_CONTINUOUS);
        Must(rotator.Start() == 0 && rotator.ByVolSpace().count == MARKED, "not what was to be marked");
        logger.Log();
        state.counters["peak_rss_mib"] = PeakMemory();
    }
}

void MarkSizes(benchmark::internal::Benchmark* pBenchmark)
{
    pBenchmark->Arg(1'000'000)->Iterations(1)->Unit(benchmark::kMillisecond);
    if (std::getenv("VX_BENCH_LONG") != nullptr) {
        pBenchmark->Arg(10'000'000);
    }
}
BENCHMARK(BM_RotateMark_Floor)->Apply(MarkSizes);
BENCHMARK(BM_RotateMark_BySize)->Apply(MarkSizes);
BENCHMARK(BM_RotateMark_ByTime)->Apply(MarkSizes);

// ---- the sweep

std::string FileOf(int i)
{
    return "camera2/" + std::to_string(i) + ".mp4";
}

/// SWEPT marked events of camera 2 with files of 4 KiB. @return the folder of recordings
std::string PrepareSweep()
{
    Must(BindRecVolume(EventDB()) == 0, "bind");
    Execute("DELETE FROM event"); // nothing else is marked
    g_present = 0;
    const std::string rec = GetPackageDir(PackageDir::REC) + "/";
    ::mkdir((rec + "camera2").c_str(), 0750);
    std::string sql;
    const std::string content(4096, 'x');
    for (int i = 0; i < SWEPT; ++i) {
        std::ofstream(rec + FileOf(i)) << content;
        sql +=
            "INSERT INTO event (camera_id,start_time,end_time,size,path,mark_as_del) VALUES (2,1,2,4096,'" +
            FileOf(i) + "',1);";
    }
    Execute(sql);
    Execute("PRAGMA wal_checkpoint(TRUNCATE)");
    return rec;
}

void BM_RotateSweep_Floor(benchmark::State& state)
{
    for (auto _ : state) {
        state.PauseTiming();
        const std::string rec = PrepareSweep();
        state.ResumeTiming();
        for (int i = 0; i < SWEPT; ++i) {
            Must(::unlink((rec + FileOf(i)).c_str()) == 0, "unlink");
        }
    }
}

/// Somebody who writes all the time, and how long each of his transactions waited.
class SecondWriter {
public:
    SecondWriter() : m_thread([this] { Write(); }) {}
    double P99Ms()
    {
        m_isOver = true;
        m_thread.join();
        std::sort(m_timesMs.begin(), m_timesMs.end());
        return m_timesMs.empty() ? 0 : m_timesMs[m_timesMs.size() * 99 / 100];
    }

private:
    void Write()
    {
        while (!m_isOver) {
            const auto start = Clock::now();
            Execute("INSERT INTO event (camera_id,start_time) VALUES (3,1)");
            m_timesMs.push_back(std::chrono::duration<double, std::milli>(Clock::now() - start).count());
            std::this_thread::sleep_for(std::chrono::microseconds(200));
        }
    }
    std::atomic<bool> m_isOver{false};
    std::vector<double> m_timesMs;
    std::thread m_thread;
};

void Sweep(benchmark::State& state, bool withWriter)
{
    const volatile int runFlag = 1;
    for (auto _ : state) {
        state.PauseTiming();
        PrepareSweep();
        std::unique_ptr<SecondWriter> pWriter(withWriter ? new SecondWriter : nullptr);
        int deleted = 0;
        state.ResumeTiming();
        Must(DeleteMarkAsDelEvt(runFlag, 0, 0, deleted) == 0 && deleted >= SWEPT, "not all was swept");
        state.PauseTiming();
        if (pWriter != nullptr) {
            state.counters["writer_p99_ms"] = pWriter->P99Ms();
        }
        state.ResumeTiming();
    }
}

void BM_RotateSweep_Ours(benchmark::State& state)
{
    Sweep(state, false);
}
void BM_RotateSweep_BesideAWriter(benchmark::State& state)
{
    Sweep(state, true);
}
BENCHMARK(BM_RotateSweep_Floor)->Arg(SWEPT)->Iterations(1)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_RotateSweep_Ours)->Arg(SWEPT)->Iterations(1)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_RotateSweep_BesideAWriter)
    ->Arg(SWEPT)
    ->Iterations(1)
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime();

} // namespace
