// SPDX-License-Identifier: Apache-2.0
// tools/log_add.cpp - vx log add: entries of the logs, written by hand or from another program's output.
#include <CLI/CLI.hpp>
#include <fmt/format.h>
#include <json/value.h>

#include <iostream>
#include <memory>

#include "fail.h"
#include "log_rotate.h"
#include "package/db.h"
#include "package/json.h"
#include "package/monoclock.h"
#include "package/userlog.h"
#include "rule_common.h"
#include "table.h"
#include "time_text.h"
#include "vxdb.h"
#include "vxlogrotate.h"

namespace {

struct Options {
    std::string log;
    std::string text;
    std::string time;
    std::string name;
    std::string level = "info";
    int owner = 0;
    int category = 0;
    int server = 0;
    bool isStdin = false;
    bool json = false;
};

constexpr std::size_t BATCH_BYTES = std::size_t{1} << 20; ///< of statements that are one transaction

int LevelOf(const std::string& level)
{
    return level == "error" ? Vx_LOG_LEVEL_ERR : level == "warning" ? Vx_LOG_LEVEL_WARN : Vx_LOG_LEVEL_INFO;
}

std::string SystemArgs(const std::string& text)
{
    Json::Value args(Json::arrayValue);
    args.append(text);
    return JsonWrite(args);
}

/// The statement that adds an entry; what a log has no column for is left out.
std::string InsertSql(VX_ROTATED_LOG log, const LogTable& table, const Options& options, long long timestamp,
                      const std::string& text)
{
    VxDB::SqlBuilder::Insert insert(table.table);
    insert.Field(table.timeColumn, timestamp);
    switch (log) {
    case VX_ROTATED_LOG_SYSTEM:
        insert.Field("log_id", static_cast<long long>(Vx_LOG_ID_NOTE)).Field("level", LevelOf(options.level));
        insert.Field("user", VxDB::Value(options.name.empty() ? OperatorName() : options.name));
        insert.Field("args", VxDB::Value(SystemArgs(text)));
        break;
    case VX_ROTATED_LOG_EVENT:
        insert.Field("category", options.category).Field("server_id", options.server);
        insert.Field("name", VxDB::Value(options.name)).Field("description", VxDB::Value(text));
        break;
    case VX_ROTATED_LOG_IO_MODULE:
        insert.Field("iomodule_id", options.owner).Field("event", VxDB::Value(options.name));
        insert.Field("description", VxDB::Value(text));
        break;
    case VX_ROTATED_LOG_MESSAGE:
        insert.Field("sender", VxDB::Value(options.name)).Field("content", VxDB::Value(text));
        break;
    case VX_ROTATED_LOG_RULE_HISTORY:
        insert.Field("level", LevelOf(options.level)).Field("rule_name", VxDB::Value(text));
        break;
    case VX_ROTATED_LOG_BOOKMARK:
        insert.Field("event_id", options.owner).Field("name", VxDB::Value(options.name));
        insert.Field("comment", VxDB::Value(text));
        break;
    case VX_ROTATED_LOG_INTERCOM:
        insert.Field("intercom_id", options.owner).Field("description", VxDB::Value(text));
        break;
    case VX_ROTATED_LOG_ORVOCAM:
    case VX_ROTATED_LOG_DETECTION:
    case VX_ROTATED_LOG_COUNT:
        insert.Field("camera_id", options.owner).Field("description", VxDB::Value(text));
        break;
    }
    return insert.Expr().str();
}

void Store(const LogTable& table, const std::string& sql)
{
    if (!sql.empty() && VxDB::Execute(table.instance, sql) != 0) {
        Fail(EXIT_UNREACHABLE, "log add", "{}: it cannot be written; vx log tail says why",
             VxDB::GetDBPath(table.instance));
    }
}

void Add(const Options& options)
{
    const VX_ROTATED_LOG log = ParseLog("log add", options.log);
    if (options.isStdin != options.text.empty()) {
        Fail(EXIT_USAGE, "log add", "either TEXT or --stdin");
    }
    const LogTable& table = GetLogTable(log);
    const long long timestamp = options.time.empty() ? GetWallTimeSec() : ParseTime("log add", options.time);
    long long count = 0;
    std::string sql;
    std::string line = options.text;
    while (!options.isStdin || std::getline(std::cin, line)) {
        sql += InsertSql(log, table, options, timestamp, line);
        ++count;
        if (!options.isStdin) {
            break;
        }
        if (sql.size() > BATCH_BYTES) {
            Store(table, sql);
            sql.clear();
        }
    }
    Store(table, sql);
    if (options.json) {
        Json::Value json(Json::objectValue);
        json["added"] = static_cast<Json::Int64>(count);
        PrintJson(json);
    } else {
        fmt::print("{} {} added\n", count, count == 1 ? "entry" : "entries");
    }
}

} // namespace

void AddLogAdd(CLI::App& log)
{
    const auto options = std::make_shared<Options>();
    CLI::App* const verb = log.add_subcommand("add", "Add entries to a log");
    verb->add_option("LOG", options->log, "One of " + fmt::format("{}", fmt::join(LogWords(), ", ")))
        ->required();
    verb->add_option("TEXT", options->text, "The entry");
    verb->add_flag("--stdin", options->isStdin, "An entry each line of standard input");
    verb->add_option("--time", options->time, "\"2026-11-21 08:30\" or seconds since 1970; now without it");
    verb->add_option("--name", options->name, "Device, task, user or sender");
    verb->add_option("--level", options->level, "Of the system log and the history")
        ->check(CLI::IsMember({"info", "warning", "error"}));
    verb->add_option("--owner", options->owner,
                     "Id of the module, intercom, camera, or of a bookmark's recording");
    verb->add_option("--category", options->category,
                     "Of the event log: 0 system, 1 camera, 2 recording ...");
    verb->add_option("--server", options->server, "Of the event log: recording server, 0 for this box");
    verb->add_flag("--json", options->json, "Print JSON");
    verb->callback([options] { Add(*options); });
}
