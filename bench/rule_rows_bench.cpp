// SPDX-License-Identifier: Apache-2.0
// bench/rule_rows_bench.cpp - rules on their tables: listing all of them beside a bare loop over the same rows,
// and counting, filtering and deleting a tenth of them.
#include <benchmark/benchmark.h>
#include <sqlite3.h>

#include <cstdlib>
#include <list>
#include <string>
#include <type_traits>
#include <vector>

#include "actruleutils.h"
#include "package/db.h"
#include "vxdb.h"

namespace {

constexpr int LOAD_COUNT = 10'000;

void Must(bool isDone)
{
    if (!isDone) {
        std::abort();
    }
}

ActionRuleEvent MakeEvent(int i)
{
    ActionRuleEvent event;
    event.SetEvtId(i % 2 == 0 ? RULE_EVENT_MOTION : RULE_EVENT_DIGITAL_INPUT);
    event.SetEvtDevId(1 + i % 64);
    event.SetEvtItem(i % 4);
    return event;
}

/// As an operator's rules are: one event, working hours, one or two devices; every tenth calls a webhook.
ActionRule MakeRule(int i)
{
    ActionRule rule;
    rule.SetName("Gate " + std::to_string(i) + ": record when somebody comes");
    rule.SetEvtList({MakeEvent(i)});
    rule.SetEvtMinInterval(10);
    rule.SetActDevIds(i % 2 == 0 ? std::set<int>{1 + i % 64} : std::set<int>{1 + i % 64, 70});
    rule.SetActId(i % 3 == 0 ? RULE_ACTION_BOOKMARK : RULE_ACTION_START_REC);
    rule.SetActTimeUnit(ACT_TIME_UNIT_MIN);
    rule.SetActTimeDur(5);
    rule.SetActItemId(i % 10);
    const char* const schedules[] = {"", "mon-fri 08:00-18:00; sat 10:00-14:00", "daily 22:00-06:00=2",
                                     "mon-fri 18:00-08:00; sat,sun 00:00-24:00"};
    Must(rule.SetActiveSche(schedules[i % 4]) == 0);
    if (i % 10 == 0) {
        rule.SetActSrc(DEVICE_SRC_WEBHOOK);
        rule.SetExtUrl("https://alarm.example.com/hook/" + std::to_string(i));
        rule.SetUserName("operator");
        rule.SetPassword("correct horse battery staple");
        rule.SetHttpBody(R"({"text":"Motion at the gate","camera":17})");
    }
    return rule;
}

/// Puts so many rules into emptied tables. Nothing is done when they hold as many already.
void FillRules(int count)
{
    static int filled = 0;
    if (filled == count) {
        return;
    }
    for (const char* const table :
         {gszTableActionRule, gszTableActionRuleEvent, gszTableActionRuleMultiRule, gszTableIOKeys}) {
        Must(VxDB::Execute(VxDB::DB_SYSTEM, std::string("DELETE FROM ") + table) == 0);
    }
    std::list<ActionRule> rules;
    for (int i = 1; i <= count; ++i) {
        rules.push_back(MakeRule(i));
    }
    Must(RestoreActRules(rules) == 0);
    filled = count;
}

// ---- all rules: floor and ours

/// Numbers stay numbers, everything else is text.
template <typename T>
using Plain = std::conditional_t<std::is_same_v<T, bool> || std::is_enum_v<T> || std::is_same_v<T, int>, T,
                                 std::string>;
using RuleStatusMap = ActionRule::RuleStatusMap;

#define VX_FIELD(type, getter, setter, member, column, start) Plain<type> member;
#define VX_OWN(type, member, column, start) Plain<type> member;
struct PlainRule {
    VX_ACTION_RULE_FIELDS(VX_FIELD, VX_OWN)
};
struct PlainEvent {
    VX_ACTION_RULE_EVENT_FIELDS(VX_FIELD)
};
#undef VX_FIELD
#undef VX_OWN

template <typename T>
void TakeColumn(sqlite3_stmt* pStmt, int column, T& member)
{
    if constexpr (std::is_same_v<T, std::string>) {
        const auto* const text = reinterpret_cast<const char*>(sqlite3_column_text(pStmt, column));
        member.assign(text != nullptr ? text : "",
                      static_cast<std::size_t>(sqlite3_column_bytes(pStmt, column)));
    } else {
        member = static_cast<T>(sqlite3_column_int(pStmt, column));
    }
}

void TakeRow(sqlite3_stmt* pStmt, PlainRule& rule)
{
    int i = 0;
#define VX_FIELD(type, getter, setter, member, column, start) TakeColumn(pStmt, i++, rule.member);
#define VX_OWN(type, member, column, start) TakeColumn(pStmt, i++, rule.member);
    VX_ACTION_RULE_FIELDS(VX_FIELD, VX_OWN)
#undef VX_FIELD
#undef VX_OWN
}

void TakeRow(sqlite3_stmt* pStmt, PlainEvent& event)
{
    int i = 0;
#define VX_FIELD(type, getter, setter, member, column, start) TakeColumn(pStmt, i++, event.member);
    VX_ACTION_RULE_EVENT_FIELDS(VX_FIELD)
#undef VX_FIELD
}

template <typename Record>
std::vector<Record> ReadBare(sqlite3* pDb, const char* table)
{
    std::vector<Record> records;
    sqlite3_stmt* pStmt = nullptr;
    const std::string sql = std::string("SELECT * FROM ") + table + " ORDER BY id";
    sqlite3_prepare_v2(pDb, sql.c_str(), -1, &pStmt, nullptr);
    while (sqlite3_step(pStmt) == SQLITE_ROW) {
        TakeRow(pStmt, records.emplace_back());
    }
    sqlite3_finalize(pStmt);
    return records;
}

void BM_RuleLoad_Floor(benchmark::State& state)
{
    FillRules(LOAD_COUNT);
    sqlite3* pDb = nullptr;
    sqlite3_open(VxDB::GetDBPath(VxDB::DB_SYSTEM).c_str(), &pDb);
    for (auto _ : state) {
        const auto rules = ReadBare<PlainRule>(pDb, gszTableActionRule);
        const auto events = ReadBare<PlainEvent>(pDb, gszTableActionRuleEvent);
        Must(rules.size() == LOAD_COUNT && events.size() == LOAD_COUNT);
    }
    sqlite3_close(pDb);
}

void BM_RuleLoad_Ours(benchmark::State& state)
{
    FillRules(LOAD_COUNT);
    for (auto _ : state) {
        const auto rules = GetActRuleByFilter({});
        Must(rules.size() == LOAD_COUNT && rules.back().GetEvtList().size() == 1);
    }
}
BENCHMARK(BM_RuleLoad_Floor)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_RuleLoad_Ours)->Unit(benchmark::kMillisecond);

// ---- a tenth of them; the argument is how many that is

ActRuleFilterRule Tenth(const benchmark::State& state)
{
    FillRules(static_cast<int>(state.range(0)) * 10);
    ActRuleFilterRule filter;
    filter.actItemIds = "3";
    return filter;
}

void BM_RuleCount_Ours(benchmark::State& state)
{
    const std::string sql = GetActRuleCntSql(Tenth(state));
    for (auto _ : state) {
        std::string count;
        Must(VxDB::LoadFirstFieldFromDB(VxDB::DB_SYSTEM, sql, count) == 0 &&
             count == std::to_string(state.range(0)));
    }
}

void BM_RuleFilter_Ours(benchmark::State& state)
{
    const ActRuleFilterRule filter = Tenth(state);
    for (auto _ : state) {
        Must(static_cast<long long>(GetActRuleByFilter(filter).size()) == state.range(0));
    }
}

void BM_RuleDelete_Ours(benchmark::State& state)
{
    const ActRuleFilterRule filter = Tenth(state);
    for (auto _ : state) {
        VxDB::Transaction undone(VxDB::DB_SYSTEM); // the next round finds the rules again
        Must(undone.Begin() == 0 && DelActRuleByFilter(filter, "bench") == 0);
    }
}
BENCHMARK(BM_RuleCount_Ours)->Arg(100)->Arg(1000)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_RuleFilter_Ours)->Arg(100)->Arg(1000)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_RuleDelete_Ours)->Arg(100)->Arg(1000)->Unit(benchmark::kMillisecond);

} // namespace
