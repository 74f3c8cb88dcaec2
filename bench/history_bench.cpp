// SPDX-License-Identifier: Apache-2.0
// bench/history_bench.cpp - the history of rules: a batch of lines beside the bare statements, and pages of a
// million lines.
#include <benchmark/benchmark.h>
#include <sqlite3.h>

#include <cstdlib>
#include <list>
#include <string>

#include "actrulehistory.h"
#include "package/db.h"

namespace {

constexpr int BATCH = 1000;
constexpr int PAGE = 50;

void Must(bool isDone)
{
    if (!isDone) {
        std::abort();
    }
}

void Execute(const std::string& sql)
{
    Must(VxDB::Execute(VxDB::DB_LOG, sql) == 0);
}

void Empty()
{
    Execute(std::string("DELETE FROM ") + gszTableActRuleHistory);
}

std::list<RuleHistory> MakeLines()
{
    std::list<RuleHistory> lines;
    for (int i = 0; i < BATCH; ++i) {
        ActionRule rule;
        rule.SetName("Gate " + std::to_string(i % 50) + ": record when somebody's there");
        lines.emplace_back(rule, static_cast<RULE_ACT_STATUS>(i % 5));
    }
    return lines;
}

class BareConnection {
public:
    BareConnection()
    {
        Empty(); // makes the file
        Must(sqlite3_open(VxDB::GetDBPath(VxDB::DB_LOG).c_str(), &m_pDb) == SQLITE_OK);
        sqlite3_busy_timeout(m_pDb, 10'000);
        Run("PRAGMA synchronous=NORMAL"); // the durability that ours has
    }
    ~BareConnection() { sqlite3_close(m_pDb); }
    BareConnection(const BareConnection&) = delete;
    BareConnection& operator=(const BareConnection&) = delete;

    void Run(const std::string& sql) const
    {
        Must(sqlite3_exec(m_pDb, sql.c_str(), nullptr, nullptr, nullptr) == SQLITE_OK);
    }
    sqlite3* Get() const noexcept { return m_pDb; }

private:
    sqlite3* m_pDb = nullptr;
};

void BM_HistoryBatch_Floor(benchmark::State& state)
{
    const BareConnection bare;
    std::string script = "BEGIN IMMEDIATE;";
    for (const RuleHistory& line : MakeLines()) {
        script += line.GetSqlInsertCmd();
    }
    script += "COMMIT;";
    for (auto _ : state) {
        bare.Run(script);
        state.PauseTiming();
        Empty();
        state.ResumeTiming();
    }
}

void BM_HistoryBatch_Ours(benchmark::State& state)
{
    Empty();
    std::list<RuleHistory> lines = MakeLines();
    for (auto _ : state) {
        Must(WriteRuleHistory(lines) == 0);
        state.PauseTiming();
        Empty();
        state.ResumeTiming();
    }
}
BENCHMARK(BM_HistoryBatch_Floor)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_HistoryBatch_Ours)->Unit(benchmark::kMillisecond);

/// A database of its own, so that the batches above do not empty it: another root for as long as it lives.
class MillionLines {
public:
    MillionLines()
    {
        const char* const root = std::getenv("VX_ROOT");
        m_root = root != nullptr ? root : "";
        ::setenv("VX_ROOT", (m_root + "/million").c_str(), 1);
        static const bool filled = Fill();
        Must(filled);
    }
    ~MillionLines() { ::setenv("VX_ROOT", m_root.c_str(), 1); }
    MillionLines(const MillionLines&) = delete;
    MillionLines& operator=(const MillionLines&) = delete;

private:
    static bool Fill()
    {
        Execute("WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n WHERE i < 1000000) "
                "INSERT INTO " +
                std::string(gszTableActRuleHistory) +
                " (level,timestamp,rule_name,rule_type,act_status) SELECT 1 + i % 3, 1700000000 + i / 3, "
                "'Gate ' || (i % 50) || ': record when somebody is there', 0, i % 5 FROM n");
        return true;
    }
    std::string m_root;
};

std::string PageSql(const benchmark::State& state)
{
    RuleHistoryFilterRule filter;
    filter.limit = PAGE;
    filter.offset = static_cast<int>(state.range(0));
    return std::string("SELECT * FROM ") + gszTableActRuleHistory + " ORDER BY timestamp DESC, id DESC" +
           filter.GetSqlStr();
}

/// The argument is the number of lines that the page is behind.
void BM_HistoryPage_Floor(benchmark::State& state)
{
    const MillionLines million;
    sqlite3* pDb = nullptr;
    Must(sqlite3_open(VxDB::GetDBPath(VxDB::DB_LOG).c_str(), &pDb) == SQLITE_OK);
    const std::string sql = PageSql(state);
    for (auto _ : state) {
        sqlite3_stmt* pStmt = nullptr;
        sqlite3_prepare_v2(pDb, sql.c_str(), -1, &pStmt, nullptr);
        int count = 0;
        while (sqlite3_step(pStmt) == SQLITE_ROW) {
            benchmark::DoNotOptimize(
                std::string(reinterpret_cast<const char*>(sqlite3_column_text(pStmt, 3))));
            ++count;
        }
        sqlite3_finalize(pStmt);
        Must(count == PAGE);
    }
    sqlite3_close(pDb);
}

void BM_HistoryPage_Ours(benchmark::State& state)
{
    const MillionLines million;
    RuleHistoryFilterRule filter;
    filter.limit = PAGE;
    filter.offset = static_cast<int>(state.range(0));
    for (auto _ : state) {
        Must(GetAllRuleHistory(filter).size() == PAGE);
    }
}
BENCHMARK(BM_HistoryPage_Floor)->Arg(0)->Arg(1000)->Arg(500'000)->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_HistoryPage_Ours)->Arg(0)->Arg(1000)->Arg(500'000)->Unit(benchmark::kMicrosecond);

} // namespace
