// SPDX-License-Identifier: Apache-2.0
// tools/history.cpp - vx history list and rm: what fired, and when.
#include <CLI/CLI.hpp>
#include <fmt/format.h>

#include <cstdlib>
#include <limits>
#include <memory>
#include <set>

#include "actrulehistory.h"
#include "agree.h"
#include "fail.h"
#include "numbers.h"
#include "package/dbrows.h"
#include "package/idtext.h"
#include "package/monoclock.h"
#include "table.h"
#include "time_text.h"
#include "webhook_common.h"

namespace {

struct Options {
    int limit = 50;
    int offset = 0;
    std::string ids;
    std::string before;
    int olderThanDays = 0;
    bool all = false;
    bool yes = false;
    bool dryRun = false;
    bool json = false;
};

const char* LevelText(Vx_LOG_LEVEL level) noexcept
{
    switch (level) {
    case Vx_LOG_LEVEL_ERR:
        return "error";
    case Vx_LOG_LEVEL_WARN:
        return "warning";
    default:
        return "info";
    }
}

[[noreturn]] void FailToRead(std::string_view verb)
{
    Fail(EXIT_UNREACHABLE, verb, "{}: the history cannot be read; vx log tail says why",
         VxDB::GetDBPath(VxDB::DB_LOG));
}

void List(const Options& options)
{
    const int count = GetAllRuleHistoryCnt();
    if (count < 0) {
        FailToRead("history list");
    }
    RuleHistoryFilterRule filter;
    filter.limit = options.limit > 0 ? options.limit : std::numeric_limits<int>::max(); // 0 drops the offset
    filter.offset = options.offset;
    Json::Value lines(Json::arrayValue);
    Table table({">ID", "TIME", "LEVEL", ">STATUS", "RULE"});
    for (const RuleHistory& line : GetAllRuleHistory(filter)) {
        Json::Value& json = lines.append(Json::Value(Json::objectValue));
        json["id"] = line.GetId();
        json["timestamp"] = static_cast<Json::Int64>(line.GetTimeStamp());
        json["level"] = LevelText(line.GetLevel());
        json["rule_name"] = line.GetRuleName();
        json["rule_type"] = static_cast<int>(line.GetRuleType());
        json["act_status"] = static_cast<int>(line.GetActStat());
        table.AddRow({std::to_string(line.GetId()), LocalTimeText(line.GetTimeStamp()),
                      LevelText(line.GetLevel()), std::to_string(line.GetActStat()),
                      Printable(line.GetRuleName())});
    }
    if (options.json) {
        Json::Value json(Json::objectValue);
        json["count"] = count;
        json["lines"] = lines;
        PrintJson(json);
        return;
    }
    table.Print();
    fmt::print("{} of {} lines\n", lines.size(), count);
}

RuleHistoryFilterRule FilterOf(const Options& options)
{
    RuleHistoryFilterRule filter;
    if (StringToIdList(options.ids, filter.ids) != 0) {
        Fail(EXIT_USAGE, "history rm", "[{}]: ids joined by commas are expected, such as 3,5", options.ids);
    }
    if (options.olderThanDays > 0) {
        filter.timestamp =
            static_cast<std::int64_t>(GetWallTimeSec()) - options.olderThanDays * std::int64_t{86400};
    } else if (!options.before.empty()) {
        filter.timestamp = ParseTime("history rm", options.before);
    }
    if (filter.ids.empty() && filter.timestamp == 0 && !options.all) {
        Fail(EXIT_USAGE, "history rm", "which lines: IDS, --before, --older-than or --all");
    }
    return filter;
}

/// Ends the verb when one of the ids is no line's.
void CheckIds(const std::list<int>& ids)
{
    if (ids.empty()) {
        return;
    }
    std::set<int> absent(ids.begin(), ids.end());
    RuleHistoryFilterRule filter;
    filter.ids = ids;
    VxDB::Rows rows;
    if (VxDB::Execute(VxDB::DB_LOG,
                      std::string("SELECT id FROM ") + gszTableActRuleHistory + filter.GetWhereSqlStr(),
                      rows.Out()) != 0) {
        FailToRead("history rm");
    }
    for (unsigned int row = 0; rows.Next(row);) {
        absent.erase(std::atoi(VxDBFetchField(rows.Get(), row, "id")));
    }
    if (!absent.empty()) {
        Fail(EXIT_FOUND, "history rm", "{}: there is no such line, nothing is removed; see vx history list",
             *absent.begin());
    }
}

long long CountOf(const RuleHistoryFilterRule& filter)
{
    std::string count;
    if (VxDB::LoadFirstFieldFromDB(VxDB::DB_LOG,
                                   std::string("SELECT COUNT(*) FROM ") + gszTableActRuleHistory +
                                       filter.GetWhereSqlStr(),
                                   count) != 0) {
        FailToRead("history rm");
    }
    return std::atoll(count.c_str());
}

void Remove(const Options& options)
{
    const RuleHistoryFilterRule filter = FilterOf(options);
    CheckIds(filter.ids);
    const long long count = CountOf(filter);
    if (!options.json) {
        fmt::print("{} {} line(s)\n", options.dryRun ? "Would remove" : "To be removed:", count);
    }
    const bool go = !options.dryRun && count > 0 && Agreed("history rm", "Remove them?", options.yes);
    if (go && DelRuleHistoryByFileter(filter) != 0) {
        Fail(EXIT_FOUND, "history rm", "cannot be removed; vx log tail says why");
    }
    if (options.json) {
        Json::Value json(Json::objectValue);
        json["count"] = static_cast<Json::Int64>(count);
        json["removed"] = go;
        PrintJson(json);
    }
}

} // namespace

void AddHistoryNoun(CLI::App& vx)
{
    CLI::App* const noun = vx.add_subcommand("history", "What rules did");
    noun->require_subcommand(1);
    const auto options = std::make_shared<Options>();
    CLI::App* const list = noun->add_subcommand("list", "List the history, newest first");
    list->add_option("--limit", options->limit, "Lines of the page; 0 for all")
        ->check(FROM_ZERO)
        ->capture_default_str();
    list->add_option("--offset", options->offset, "Lines to skip")->check(FROM_ZERO);
    list->add_flag("--json", options->json, "Print JSON");
    list->callback([options] { List(*options); });
    CLI::App* const remove = noun->add_subcommand("rm", "Remove lines");
    remove->add_option("IDS", options->ids, "Their ids, joined by commas");
    remove->add_option("--before", options->before,
                       "Not after this time: \"2026-11-21 08:30\" or seconds since 1970");
    remove->add_option("--older-than", options->olderThanDays, "Older than so many days")
        ->check(ABOVE_ZERO)
        ->excludes("--before");
    remove->add_flag("--all", options->all, "The whole history");
    remove->add_flag("--yes", options->yes, "Do not ask");
    remove->add_flag("--dry-run", options->dryRun, "Only count them");
    remove->add_flag("--json", options->json, "Print JSON");
    remove->callback([options] { Remove(*options); });
}
