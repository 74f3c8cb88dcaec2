// SPDX-License-Identifier: Apache-2.0
// bench/sql_bench.cpp - building SQL text: an INSERT of 46 columns (25 integers, 3 booleans, 18 texts) beside
// the same bytes from a formatting library, and splicing.
#include <benchmark/benchmark.h>
#include <fmt/compile.h>
#include <fmt/format.h>

#include <iterator>
#include <list>
#include <string>

#include "vxdb.h"

namespace {

/// A rule-like record; the values have the lengths that such records have.
struct Record {
    int number[25] = {1,   0,  3,  20,  7,  -1, 48, 0,   0,  5,     1024, 17,     2,
                      300, 10, 60, 999, 12, 1,  0,  443, -1, 86400, 3,    1048576};
    bool flag[3] = {true, false, true};
    std::string text[18] = {"Front gate",
                            "",
                            "0,1,2,3,4,5,6,7",
                            "https://hooks.example.net/services/T0/B1/abcdef",
                            "admin",
                            "1111111111111111111111111111111111111111",
                            "",
                            "12,13",
                            "trigger_name",
                            "value one",
                            "",
                            "{\"text\": \"motion at the front gate\"}",
                            "https://nvr.example.net:5001",
                            "Bookmark",
                            "made by a rule",
                            "10",
                            "Content-Type: application/json",
                            "2222222222222222222222222222222222222222"};
};

#define SQL_BENCH_COLUMNS                                                                                    \
    "n00,n01,n02,n03,n04,n05,n06,n07,n08,n09,evt_source,evt_server_id,evt_device_id,evt_id,evt_item,"        \
    "evt_min_interval,act_source,act_server_id,act_device_id,act_id,act_item_id,act_times,act_time_unit,"    \
    "act_time_duration,act_return_pos,enabled,condition,url_split,name,multi_status,act_dev_ids,ext_url,"    \
    "username,password,schedule,multi_evt_ids,ifttt_key,param1,param2,http_body,host_access_url,bmk_name,"   \
    "bmk_comment,condition_value,headers,notify_schedule"
// A boolean goes in as an int: with {:d} the compiled format falls back to reading its text at run time.
#define SQL_BENCH_FORMAT                                                                                     \
    "INSERT INTO actionrule (" SQL_BENCH_COLUMNS                                                             \
    ")VALUES({},{},{},{},{},{},{},{},{},{},{},{},{},{},{},{},{},"                                            \
    "{},{},{},{},{},{},{},{},{},{},{},'{}','{}','{}','{}','{}','{}','{}','{}','{}','{}','{}','{}',"          \
    "'{}','{}','{}','{}','{}','{}') RETURNING id;"
#define SQL_BENCH_VALUES(r)                                                                                  \
    r.number[0], r.number[1], r.number[2], r.number[3], r.number[4], r.number[5], r.number[6], r.number[7],  \
        r.number[8], r.number[9], r.number[10], r.number[11], r.number[12], r.number[13], r.number[14],      \
        r.number[15], r.number[16], r.number[17], r.number[18], r.number[19], r.number[20], r.number[21],    \
        r.number[22], r.number[23], r.number[24], int{r.flag[0]}, int{r.flag[1]}, int{r.flag[2]}, r.text[0], \
        r.text[1], r.text[2], r.text[3], r.text[4], r.text[5], r.text[6], r.text[7], r.text[8], r.text[9],   \
        r.text[10], r.text[11], r.text[12], r.text[13], r.text[14], r.text[15], r.text[16], r.text[17]

std::string BuildWithBuilder(const Record& r)
{
    using VxDB::Value;
    static constexpr const char* NUMBERS[] = {
        "n00",           "n01",           "n02",           "n03",
        "n04",           "n05",           "n06",           "n07",
        "n08",           "n09",           "evt_source",    "evt_server_id",
        "evt_device_id", "evt_id",        "evt_item",      "evt_min_interval",
        "act_source",    "act_server_id", "act_device_id", "act_id",
        "act_item_id",   "act_times",     "act_time_unit", "act_time_duration",
        "act_return_pos"};
    static constexpr const char* FLAGS[] = {"enabled", "condition", "url_split"};
    static constexpr const char* TEXTS[] = {"name",
                                            "multi_status",
                                            "act_dev_ids",
                                            "ext_url",
                                            "username",
                                            "password",
                                            "schedule",
                                            "multi_evt_ids",
                                            "ifttt_key",
                                            "param1",
                                            "param2",
                                            "http_body",
                                            "host_access_url",
                                            "bmk_name",
                                            "bmk_comment",
                                            "condition_value",
                                            "headers",
                                            "notify_schedule"};
    VxDB::SqlBuilder::Insert insert("actionrule");
    for (std::size_t i = 0; i < std::size(NUMBERS); ++i) {
        insert.Field(NUMBERS[i], r.number[i]);
    }
    for (std::size_t i = 0; i < std::size(FLAGS); ++i) {
        insert.Field(FLAGS[i], r.flag[i]);
    }
    for (std::size_t i = 0; i < std::size(TEXTS); ++i) {
        insert.Field(TEXTS[i], Value(r.text[i]));
    }
    insert.m_returning << "id";
    return insert.Expr().str();
}

std::string BuildWithFormat(const Record& r)
{
    std::string out;
    fmt::format_to(std::back_inserter(out), SQL_BENCH_FORMAT, SQL_BENCH_VALUES(r));
    return out;
}

std::string BuildWithFormatBuffer(const Record& r)
{
    fmt::memory_buffer out;
    fmt::format_to(std::back_inserter(out), SQL_BENCH_FORMAT, SQL_BENCH_VALUES(r));
    return fmt::to_string(out);
}

std::string BuildWithCompiledFormat(const Record& r)
{
    fmt::memory_buffer out;
    fmt::format_to(std::back_inserter(out), FMT_COMPILE(SQL_BENCH_FORMAT), SQL_BENCH_VALUES(r));
    return fmt::to_string(out);
}

template <std::string (*BUILD)(const Record&)>
void BM_SqlInsert(benchmark::State& state)
{
    const Record record;
    if (BUILD(record) != BuildWithFormat(record)) {
        state.SkipWithError("the texts differ");
    }
    for (auto _ : state) {
        benchmark::DoNotOptimize(BUILD(record));
    }
}
BENCHMARK(BM_SqlInsert<BuildWithBuilder>)->Name("BM_SqlInsert_Ours");
BENCHMARK(BM_SqlInsert<BuildWithFormat>)->Name("BM_SqlInsert_Fmt");
BENCHMARK(BM_SqlInsert<BuildWithFormatBuffer>)->Name("BM_SqlInsert_FmtBuffer");
BENCHMARK(BM_SqlInsert<BuildWithCompiledFormat>)->Name("BM_SqlInsert_FmtCompiled");

/// Moving an expression of n segments into another, and back; the time must not grow with n.
void BM_SqlSplice_Ours(benchmark::State& state)
{
    VxDB::SqlExpr expr;
    for (int i = 0; i < state.range(0); ++i) {
        expr << std::move(VxDB::SqlExpr() << "a=" << i);
    }
    for (auto _ : state) {
        VxDB::SqlExpr other;
        other << std::move(expr);
        expr = std::move(other);
        benchmark::DoNotOptimize(expr);
    }
}
BENCHMARK(BM_SqlSplice_Ours)->Arg(1)->Arg(64)->Arg(4096);

} // namespace
