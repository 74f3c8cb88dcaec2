// SPDX-License-Identifier: Apache-2.0
// tools/event_sweep.cpp - vx event sweep, check and repair: rows and files that go, or do not fit.
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <fmt/format.h>

#include <algorithm>
#include <memory>
#include <set>

#include "agree.h"
#include "event_common.h"
#include "fail.h"
#include "package/dbadmin.h"
#include "package/event.h"
#include "package/reccheck.h"
#include "package/recsweep.h"
#include "stop_signal.h"
#include "table.h"
#include "webhook_common.h"

namespace {

constexpr int BATCH = 1000;

struct Options {
    bool dryRun = false;
    bool yes = false;
    bool json = false;
};

/// One database's marked records.
struct Marked {
    REC_KIND kind;
    int archTaskId;
    std::string name;
    long long count = 0;
    int deleted = 0;
};

std::vector<Marked> ListMarked()
{
    std::vector<Marked> found;
    for (int i = 0; i < REC_KIND_COUNT; ++i) {
        const auto kind = static_cast<REC_KIND>(i);
        found.push_back({kind, 0, RecTableOf(kind).name});
    }
    for (const std::string& path : VxDB::ListDatabases()) {
        if (const int taskId = ArchPullUtils::GetTaskId(path); taskId > 0) {
            found.push_back({REC_KIND_EVENT, taskId, fmt::format("archive {}", taskId)});
        }
    }
    for (Marked& marked : found) {
        const std::string dbPath = RecDBPath(marked.kind, marked.archTaskId);
        if (CountMarkedRecords(marked.kind, marked.archTaskId, marked.count) != 0) {
            FailOnEvents("event sweep", dbPath);
        }
        RefuseUnlessSame("event sweep", dbPath);
    }
    std::erase_if(found, [](const Marked& marked) { return marked.count == 0; });
    return found;
}

/// @return whether all went.
bool SweepOne(Marked& marked, const StopSignal& stop)
{
    long long afterId = 0;
    bool isWhole = true;
    for (long long seen = -1; seen != afterId && !stop.Stopped();) {
        seen = afterId;
        isWhole = DeleteMarkedRecords(marked.kind, marked.archTaskId, BATCH, afterId, marked.deleted) >= 0 &&
                  isWhole;
        if (::isatty(STDERR_FILENO) != 0) {
            fmt::print(stderr, "\r{}: {} of {}", marked.name, marked.deleted, marked.count);
        }
    }
    if (::isatty(STDERR_FILENO) != 0) {
        fmt::print(stderr, "\n");
    }
    return isWhole;
}

void PrintSwept(const std::vector<Marked>& all, bool asJson)
{
    Json::Value json(Json::arrayValue);
    Table table({"RECORDS", ">MARKED", ">DELETED"});
    for (const Marked& marked : all) {
        Json::Value& value = json.append(Json::Value(Json::objectValue));
        value["records"] = marked.name;
        value["marked"] = Json::Int64{marked.count};
        value["deleted"] = marked.deleted;
        table.AddRow({marked.name, std::to_string(marked.count), std::to_string(marked.deleted)});
    }
    asJson ? PrintJson(json) : table.Print();
}

void Sweep(const Options& options)
{
    std::vector<Marked> all = ListMarked();
    long long total = 0;
    for (const Marked& marked : all) {
        total += marked.count;
    }
    const bool go = !options.dryRun &&
                    (total == 0 ||
                     Agreed("event sweep", fmt::format("Delete {} marked record(s) with their files?", total),
                            options.yes));
    bool isWhole = true;
    bool isStopped = false;
    if (go) {
        const StopSignal stop;
        isWhole = RecoverRecorders() == 0;
        for (Marked& marked : all) {
            isWhole = SweepOne(marked, stop) && isWhole;
        }
        isStopped = stop.Stopped();
    }
    PrintSwept(all, options.json);
    if (isStopped && std::ranges::any_of(all, [](const Marked& one) { return one.deleted < one.count; })) {
        Fail(EXIT_FOUND, "event sweep", "told to stop before all were deleted; the next sweep goes on");
    }
    if (!isWhole) {
        Fail(EXIT_FOUND, "event sweep", "not all could be deleted; vx event check and vx log tail say why");
    }
}

Json::Value ViolationJson(const RecViolation& violation)
{
    Json::Value json(Json::objectValue);
    json["rule"] = "R" + std::to_string(violation.rule);
    json["object"] = violation.object;
    json["problem"] = violation.problem;
    json["remedy"] = violation.remedy;
    json["mended"] = violation.mended;
    return json;
}

/// Prints violations as they are found; JSON all at once.
void Check(const char* verb, bool repair, bool asJson)
{
    RecCheckCounts counts;
    Json::Value list(Json::arrayValue);
    std::set<int> rules;
    const int result = CheckRecords(repair, counts, [&](const RecViolation& violation) {
        if (!violation.mended) {
            rules.insert(violation.rule);
        }
        if (asJson) {
            list.append(ViolationJson(violation));
            return;
        }
        fmt::print("R{}  {}: {}{}\n", violation.rule, Printable(violation.object),
                   Printable(violation.problem),
                   violation.mended           ? "; mended: " + violation.remedy
                   : violation.remedy.empty() ? "; only you can mend that"
                   : repair                   ? "; could not be mended, see vx log tail"
                                              : "; repair: " + violation.remedy);
    });
    if (asJson) {
        Json::Value json(Json::objectValue);
        json["rows"] = Json::Int64{counts.rows};
        json["files"] = Json::Int64{counts.files};
        json["mended"] = Json::Int64{counts.mended};
        json["violations"] = list;
        PrintJson(json);
    } else {
        fmt::print("{} rows, {} files, {} violation(s), {} mended\n", counts.rows, counts.files,
                   counts.violations, counts.mended);
    }
    if (result != 0) {
        Fail(EXIT_UNREACHABLE, verb, "could not be finished; vx log tail says why");
    }
    if (rules.count(5) != 0) {
        Fail(EXIT_REFUSED, verb, "database and volume do not belong together: nothing is touched");
    }
    if (!rules.empty()) {
        Fail(EXIT_FOUND, verb, "{} violation(s) left; {}", counts.violations - counts.mended,
             repair ? "see above" : "vx event repair mends what can be mended");
    }
}

void Repair(const Options& options)
{
    const bool go =
        !options.dryRun &&
        Agreed("event repair",
               "Mark rows without a file, take in files without a row, correct sizes and counters?",
               options.yes);
    if (go || options.dryRun) {
        Check("event repair", go, options.json);
    }
}

} // namespace

bool HasDatabase(const std::string& dbPath)
{
    return ::access(dbPath.c_str(), F_OK) == 0;
}

void FailOnEvents(std::string_view verb, const std::string& dbPath)
{
    Fail(EXIT_UNREACHABLE, verb, "{}: the records cannot be read or changed; vx log tail says why", dbPath);
}

void RefuseUnlessSame(std::string_view verb, const std::string& dbPath)
{
    std::string why;
    switch (CheckRecVolume(dbPath, &why)) {
    case REC_VOLUME::SAME:
    case REC_VOLUME::UNBOUND:
    case REC_VOLUME::NEW_DB: // no rows, or none that anything below would touch
        return;
    case REC_VOLUME::UNREADABLE:
        Fail(EXIT_UNREACHABLE, verb, "{}", why);
    default:
        Fail(EXIT_REFUSED, verb, "{}", why);
    }
}

void AddEventSweepVerbs(CLI::App& event)
{
    const auto options = std::make_shared<Options>();
    const auto addFlags = [options](CLI::App& verb, const char* dryRun) {
        verb.add_flag("--dry-run", options->dryRun, dryRun);
        verb.add_flag("--yes", options->yes, "Do not ask");
        verb.add_flag("--json", options->json, "Print JSON");
    };
    CLI::App* const sweep =
        event.add_subcommand("sweep", "Delete what is marked: files first, rows last; events, archives, "
                                      "time-lapses, analytics, faces and alerts");
    addFlags(*sweep, "Only count");
    sweep->callback([options] { Sweep(*options); });
    CLI::App* const check = event.add_subcommand("check", "Compare all rows with all files");
    check->add_flag("--json", options->json, "Print JSON");
    check->callback([options] { Check("event check", false, options->json); });
    CLI::App* const repair = event.add_subcommand("repair", "Mend what check names; no recording is removed");
    addFlags(*repair, "Only say what would be done");
    repair->callback([options] { Repair(*options); });
}
