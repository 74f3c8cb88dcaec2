// SPDX-License-Identifier: Apache-2.0
// bench/sql_enum_bench.cpp - what do records mapped to rows cost over the database itself? 10,000 rows read
// into records, against the same done with the database's own calls on the same file.
#include <benchmark/benchmark.h>
#include <malloc.h>
#include <sqlite3.h>

#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "dbmapping.h"
#include "package/db.h"
#include "support/wide_record.h"
#include "vxdb.h"
#include "webhookinfo.h"

namespace {

constexpr int ROW_COUNT = 10'000;

using WebhookMapping = VxDB::DBMapping<WebhookInfo, WEBHOOK_INFO_FIELDS, WEBHOOK_INFO_ID>;
using WideMapping = VxDB::DBMapping<WideRecord, WIDE_FIELD, WIDE_ID>;

/// A connection of the benchmark's own to the file that the library uses.
class BareConnection {
public:
    BareConnection()
    {
        if (sqlite3_open(VxDB::GetDBPath(VxDB::DB_SYSTEM).c_str(), &m_db) != SQLITE_OK) {
            std::fprintf(stderr, "bench: %s\n", sqlite3_errmsg(m_db));
            std::exit(1);
        }
        sqlite3_busy_timeout(m_db, 10'000);
    }
    ~BareConnection() { sqlite3_close(m_db); }
    BareConnection(const BareConnection&) = delete;
    BareConnection& operator=(const BareConnection&) = delete;
    sqlite3* Get() const noexcept { return m_db; }
    int Run(const std::string& sql) { return sqlite3_exec(m_db, sql.c_str(), nullptr, nullptr, nullptr); }

private:
    sqlite3* m_db = nullptr;
};

WebhookInfo MakeWebhook(int id)
{
    WebhookInfo info;
    info.Get<WEBHOOK_INFO_ID>() = id;
    info.Get<WEBHOOK_INFO_NAME>() = "Gate 'A' " + std::to_string(id);
    info.Get<WEBHOOK_INFO_URL>() = "https://alarm.example.com/hook/" + std::to_string(id) + "?token=secret";
    info.Get<WEBHOOK_INFO_BODY>() = R"({"text":"Motion at the gate","camera":17})";
    info.Get<WEBHOOK_INFO_ENABLED>() = id % 2 == 0;
    info.Get<WEBHOOK_INFO_HEADERS>() = "X-Api-Key: 0123456789abcdef";
    return info;
}

template <typename Record, typename Mapping>
std::string InsertText(const Record& record, const char* table)
{
    using Serializer = typename Mapping::Serializer;
    using Nothing = TaggedStructProxy<Record>;
    std::string sql = std::string("INSERT INTO ") + table + "(";
    Serializer::template AppendColumns<Nothing>(sql);
    sql += ") VALUES (";
    Serializer::template AppendValues<Nothing>(sql, record);
    return sql + ");";
}

std::string WideTable(const char* name)
{
    std::string sql = std::string("CREATE TABLE ") + name + "(";
    WideRecord::VisitTags([&sql]<WIDE_FIELD F>(std::integral_constant<WIDE_FIELD, F>) {
        sql += F == WIDE_ID ? "" : ",";
        sql += TaggedField<F>::COLUMN;
        sql += F == WIDE_ID                        ? " INTEGER PRIMARY KEY"
               : F < WIDE_INTEGERS + WIDE_BOOLEANS ? " INTEGER"
                                                   : " TEXT";
    });
    return sql + ");";
}

/// The tables, filled once. @return whether it worked.
bool Filled()
{
    static const bool filled = [] {
        std::string sql = WideTable("bench_wide");
        for (int id = 1; id <= ROW_COUNT; ++id) {
            sql += InsertText<WebhookInfo, WebhookMapping>(MakeWebhook(id), gszTableWebhook);
            sql += InsertText<WideRecord, WideMapping>(MakeWideRecord(id), "bench_wide");
        }
        return VxDB::Execute(VxDB::DB_SYSTEM, sql) == 0;
    }();
    return filled;
}

template <typename Record, typename Fields>
std::string SelectText(const char* table)
{
    std::string sql = "SELECT ";
    VxDB::FieldsSerializer<Record, Fields>::template AppendColumns<TaggedStructProxy<Record>>(sql);
    return sql + " FROM " + table;
}

/// What a bare loop does: step, and put each column into its member; texts as texts, numbers as numbers.
template <typename Record, typename Fields>
bool ReadBare(sqlite3* db, const std::string& sql, std::vector<Record>& out)
{
    sqlite3_stmt* statement = nullptr;
    if (sqlite3_prepare_v2(db, sql.c_str(), -1, &statement, nullptr) != SQLITE_OK) {
        return false;
    }
    while (sqlite3_step(statement) == SQLITE_ROW) {
        Record& record = out.emplace_back();
        int column = 0;
        record.Visit([&]<Fields F, typename T>(std::integral_constant<Fields, F>, T& value) {
            if constexpr (std::is_same_v<T, std::string>) {
                value.assign(reinterpret_cast<const char*>(sqlite3_column_text(statement, column)),
                             static_cast<std::size_t>(sqlite3_column_bytes(statement, column)));
            } else {
                value = static_cast<T>(sqlite3_column_int64(statement, column));
            }
            ++column;
        });
    }
    return sqlite3_finalize(statement) == SQLITE_OK;
}

template <typename Record, typename Fields>
void Bare(benchmark::State& state, const char* table)
{
    if (!Filled()) {
        state.SkipWithError("the tables cannot be filled");
        return;
    }
    const BareConnection bare;
    const std::string sql = SelectText<Record, Fields>(table);
    for (auto _ : state) {
        std::vector<Record> records;
        if (!ReadBare<Record, Fields>(bare.Get(), sql, records) || records.size() != ROW_COUNT) {
            state.SkipWithError("rows are missing");
            return;
        }
    }
}

std::size_t HeapInUse()
{
    const struct mallinfo2 info = ::mallinfo2();
    return info.uordblks + info.hblkhd;
}

/// Memory that a result of `sql` holds, over the bytes of all its fields.
template <typename Record, typename Fields>
double MemoryPerText(const std::string& sql)
{
    const std::size_t before = HeapInUse();
    DBResult_tag* result = nullptr;
    if (VxDB::Execute(VxDB::DB_SYSTEM, sql, &result) != 0) {
        return 0;
    }
    const std::size_t held = HeapInUse() - before;
    std::size_t text = 0;
    for (unsigned row = 0; VxDBFetchRow(result, &row) == 0;) {
        Record::VisitTags([&]<Fields F>(std::integral_constant<Fields, F>) {
            text += VxDB::FetchFieldText(result, row, TaggedField<F>::COLUMN).size();
        });
    }
    VxDBFreeResult(result);
    return static_cast<double>(held) / static_cast<double>(text);
}

template <typename Record, typename Fields, typename Mapping>
void Mapped(benchmark::State& state, const char* table)
{
    if (!Filled()) {
        state.SkipWithError("the tables cannot be filled");
        return;
    }
    Mapping mapping(VxDB::DB_SYSTEM, table);
    for (auto _ : state) {
        std::vector<Record> records;
        if (mapping.Enum(records) != 0 || records.size() != ROW_COUNT) {
            state.SkipWithError("rows are missing");
            return;
        }
    }
    state.counters["memory_per_text"] = MemoryPerText<Record, Fields>(SelectText<Record, Fields>(table));
}

/// The argument is the number of columns.
void BM_SqlEnum_Floor(benchmark::State& state)
{
    if (state.range(0) == 11) {
        Bare<WebhookInfo, WEBHOOK_INFO_FIELDS>(state, gszTableWebhook);
    } else {
        Bare<WideRecord, WIDE_FIELD>(state, "bench_wide");
    }
}

void BM_SqlEnum_Ours(benchmark::State& state)
{
    if (state.range(0) == 11) {
        Mapped<WebhookInfo, WEBHOOK_INFO_FIELDS, WebhookMapping>(state, gszTableWebhook);
    } else {
        Mapped<WideRecord, WIDE_FIELD, WideMapping>(state, "bench_wide");
    }
}

BENCHMARK(BM_SqlEnum_Floor)->Arg(11)->Arg(46)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_SqlEnum_Ours)->Arg(11)->Arg(46)->Unit(benchmark::kMillisecond);

} // namespace
