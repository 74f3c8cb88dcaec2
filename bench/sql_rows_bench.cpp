// SPDX-License-Identifier: Apache-2.0
// bench/sql_rows_bench.cpp - reading 10,000 rows and inserting 10,000 rows through the database layer, beside
// a bare loop over the database's own calls that does the same.
#include <benchmark/benchmark.h>
#include <malloc.h>
#include <sqlite3.h>

#include <algorithm>
#include <cstdlib>
#include <string>
#include <vector>

#include "package/db.h"
#include "vxdb.h"

namespace {

constexpr int ROW_COUNT = 10000;

/// Columns of a table: numbers first, then texts.
struct Shape {
    const char* table;
    int numbers;
    int texts;

    int Columns() const { return numbers + texts; }
};
constexpr Shape NARROW{"bench_narrow", 5, 6};
constexpr Shape WIDE{"bench_wide", 28, 18};

const Shape& ShapeOf(const benchmark::State& state)
{
    return state.range(0) == NARROW.Columns() ? NARROW : WIDE;
}

std::string ColumnName(int i)
{
    return "column_number_" + std::to_string(i);
}

void Execute(const std::string& sql)
{
    if (VxDB::Execute(VxDB::DB_SYSTEM, sql) != 0) {
        std::abort();
    }
}

std::string InsertText(const Shape& shape, int row)
{
    VxDB::SqlBuilder::Insert insert(shape.table);
    for (int i = 0; i < shape.Columns(); ++i) {
        const std::string name = ColumnName(i);
        if (i < shape.numbers) {
            insert.Field(name.c_str(), row * (i % 7));
        } else {
            insert.Field(name.c_str(),
                         VxDB::Value(std::string(static_cast<std::size_t>(8 + i % 5 * 8), 'x')));
        }
    }
    return insert.Expr().str();
}

std::string InsertScript(const Shape& shape)
{
    std::string script;
    for (int row = 0; row < ROW_COUNT; ++row) {
        script += InsertText(shape, row);
    }
    return script;
}

void MakeTable(const Shape& shape)
{
    std::string columns;
    for (int i = 0; i < shape.Columns(); ++i) {
        columns += (i > 0 ? "," : "") + ColumnName(i) + (i < shape.numbers ? " INTEGER" : " TEXT");
    }
    Execute(std::string("DROP TABLE IF EXISTS ") + shape.table);
    Execute(std::string("CREATE TABLE ") + shape.table + "(" + columns + ")");
}

/// What both loops fill: a record with std::string and int members, here as two arrays.
struct Record {
    std::vector<int> numbers;
    std::vector<std::string> texts;
};

Record EmptyRecord(const Shape& shape)
{
    return {std::vector<int>(static_cast<std::size_t>(shape.numbers)),
            std::vector<std::string>(static_cast<std::size_t>(shape.texts))};
}

std::vector<Record> ReadBare(sqlite3* pDb, const Shape& shape)
{
    std::vector<Record> records;
    sqlite3_stmt* pStmt = nullptr;
    const std::string sql = std::string("SELECT * FROM ") + shape.table;
    sqlite3_prepare_v2(pDb, sql.c_str(), -1, &pStmt, nullptr);
    while (sqlite3_step(pStmt) == SQLITE_ROW) {
        Record& record = records.emplace_back(EmptyRecord(shape));
        for (int i = 0; i < shape.numbers; ++i) {
            record.numbers[static_cast<std::size_t>(i)] = sqlite3_column_int(pStmt, i);
        }
        for (int i = 0; i < shape.texts; ++i) {
            const auto* const text =
                reinterpret_cast<const char*>(sqlite3_column_text(pStmt, shape.numbers + i));
            record.texts[static_cast<std::size_t>(i)] = text != nullptr ? text : "";
        }
    }
    sqlite3_finalize(pStmt);
    return records;
}

std::vector<Record> ReadOurs(const Shape& shape, const std::vector<std::string>& names)
{
    std::vector<Record> records;
    DBResult_tag* pResult = nullptr;
    if (VxDB::Execute(VxDB::DB_SYSTEM, std::string("SELECT * FROM ") + shape.table, &pResult) != 0) {
        std::abort();
    }
    records.reserve(static_cast<std::size_t>(VxDBNumRows(pResult)));
    unsigned int row = 0;
    while (VxDBFetchRow(pResult, &row) == 0) {
        Record& record = records.emplace_back(EmptyRecord(shape));
        for (int i = 0; i < shape.Columns(); ++i) {
            const auto index = static_cast<std::size_t>(i);
            const char* const name = names[index].c_str();
            if (i < shape.numbers) {
                VxDB::SqlConversion<int>::FromSqlResult(record.numbers[index], pResult, row, name);
            } else {
                const auto text = static_cast<std::size_t>(i - shape.numbers);
                VxDB::SqlConversion<std::string>::FromSqlResult(record.texts[text], pResult, row, name);
            }
        }
    }
    VxDBFreeResult(pResult);
    return records;
}

void FillTable(const Shape& shape)
{
    MakeTable(shape);
    Execute(InsertScript(shape));
}

void BM_SqlRows_Floor(benchmark::State& state)
{
    const Shape& shape = ShapeOf(state);
    FillTable(shape);
    sqlite3* pDb = nullptr;
    sqlite3_open(VxDB::GetDBPath(VxDB::DB_SYSTEM).c_str(), &pDb);
    for (auto _ : state) {
        benchmark::DoNotOptimize(ReadBare(pDb, shape));
    }
    sqlite3_close(pDb);
}

void BM_SqlRows_Ours(benchmark::State& state)
{
    const Shape& shape = ShapeOf(state);
    FillTable(shape);
    std::vector<std::string> names;
    for (int i = 0; i < shape.Columns(); ++i) {
        names.push_back(ColumnName(i));
    }
    for (auto _ : state) {
        benchmark::DoNotOptimize(ReadOurs(shape, names));
    }
    const auto before = ::mallinfo2();
    DBResult_tag* pResult = nullptr;
    Execute("SELECT 1");
    if (VxDB::Execute(VxDB::DB_SYSTEM, std::string("SELECT * FROM ") + shape.table, &pResult) != 0) {
        std::abort();
    }
    const auto after = ::mallinfo2();
    double textSize = 0;
    for (int row = 0; row < ROW_COUNT; ++row) {
        for (const std::string& name : names) {
            textSize += static_cast<double>(
                VxDB::FetchFieldText(pResult, static_cast<unsigned int>(row), name.c_str()).size());
        }
    }
    VxDBFreeResult(pResult);
    state.counters["memory/text"] = (static_cast<double>(after.uordblks + after.hblkhd) -
                                     static_cast<double>(before.uordblks + before.hblkhd)) /
                                    textSize;
}
BENCHMARK(BM_SqlRows_Floor)->Arg(NARROW.Columns())->Arg(WIDE.Columns())->Unit(benchmark::kMillisecond);
BENCHMARK(BM_SqlRows_Ours)->Arg(NARROW.Columns())->Arg(WIDE.Columns())->Unit(benchmark::kMillisecond);

void BM_SqlBatch_Floor(benchmark::State& state)
{
    const Shape& shape = ShapeOf(state);
    const std::string script = "BEGIN IMMEDIATE;" + InsertScript(shape) + "COMMIT;";
    MakeTable(shape);
    sqlite3* pDb = nullptr;
    sqlite3_open(VxDB::GetDBPath(VxDB::DB_SYSTEM).c_str(), &pDb);
    sqlite3_exec(pDb, "PRAGMA synchronous=NORMAL", nullptr, nullptr, nullptr);
    for (auto _ : state) {
        if (sqlite3_exec(pDb, script.c_str(), nullptr, nullptr, nullptr) != SQLITE_OK) {
            state.SkipWithError(sqlite3_errmsg(pDb));
        }
        state.PauseTiming();
        sqlite3_exec(pDb, (std::string("DELETE FROM ") + shape.table).c_str(), nullptr, nullptr, nullptr);
        state.ResumeTiming();
    }
    sqlite3_close(pDb);
}

void BM_SqlBatch_Ours(benchmark::State& state)
{
    const Shape& shape = ShapeOf(state);
    const std::string script = InsertScript(shape);
    MakeTable(shape);
    for (auto _ : state) {
        Execute(script);
        state.PauseTiming();
        Execute(std::string("DELETE FROM ") + shape.table);
        state.ResumeTiming();
    }
}
BENCHMARK(BM_SqlBatch_Floor)->Arg(NARROW.Columns())->Arg(WIDE.Columns())->Unit(benchmark::kMillisecond);
BENCHMARK(BM_SqlBatch_Ours)->Arg(NARROW.Columns())->Arg(WIDE.Columns())->Unit(benchmark::kMillisecond);

} // namespace
