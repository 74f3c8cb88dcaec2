// SPDX-License-Identifier: Apache-2.0
// tools/log_rotate.cpp - vx log rotate: trimming the logs, once or again and again.
#include "log_rotate.h"

#include <CLI/CLI.hpp>
#include <fmt/format.h>
#include <json/value.h>

#include <algorithm>
#include <memory>

#include "fail.h"
#include "numbers.h"
#include "package/timetext.h"
#include "reach.h"
#include "stop_signal.h"
#include "table.h"
#include "vxlogrotate.h"

namespace {

struct RotateOptions {
    std::vector<std::string> logs;
    bool once = false;
    bool plan = false;
    bool json = false;
    int everySec = 3600;
};

std::string BoundText(int bound)
{
    return Time2Str(bound, "%Y-%m-%d %H:%M:%S");
}

/// What one rotater is about to do, and whether it did it.
struct Outcome {
    std::string word;
    std::string owner;
    bool isRead = true; ///< whether the log and its settings could be read
    bool isOn = false;
    int bound = 0;
    long long rows = 0;
    bool isDone = false;
    bool isStopped = false; ///< it was not reached, or not all of it, before the program was told to stop
};

Json::Value JsonOf(const Outcome& outcome, bool plan)
{
    Json::Value json(Json::objectValue);
    json["log"] = outcome.word;
    if (!outcome.owner.empty()) {
        json["owner"] = std::stoi(outcome.owner);
    }
    json["readable"] = outcome.isRead;
    json["enabled"] = outcome.isOn;
    if (outcome.isOn) {
        json["before"] = outcome.bound;
        json["rows"] = static_cast<Json::Int64>(outcome.rows);
    }
    if (!plan) {
        json["done"] = outcome.isDone;
        json["stopped"] = outcome.isStopped;
    }
    return json;
}

const char* StateOf(const Outcome& outcome, bool plan)
{
    if (outcome.isStopped) {
        return "told to stop; the next rotation goes on";
    }
    if (!outcome.isRead) {
        return "cannot be read; vx log tail says why";
    }
    if (!outcome.isOn) {
        return "kept for ever";
    }
    return plan ? "would go" : outcome.isDone ? "gone" : "failed; vx log tail says why";
}

void Print(const std::vector<Outcome>& outcomes, bool plan, bool json)
{
    Json::Value list(Json::arrayValue);
    Table table({"LOG", "OWNER", "BEFORE", ">ROWS", "STATE"});
    for (const Outcome& outcome : outcomes) {
        list.append(JsonOf(outcome, plan));
        table.AddRow({outcome.word, outcome.owner, outcome.isOn ? BoundText(outcome.bound) : "",
                      outcome.isOn ? std::to_string(outcome.rows) : "", StateOf(outcome, plan)});
    }
    if (json) {
        PrintJson(list);
    } else {
        table.Print();
    }
    std::fflush(stdout);
}

/// Looks at one rotater, and runs it unless it is only planned or the program was told to stop.
Outcome RunOne(VxLogRotaterBase& rotater, bool plan, const StopSignal& stop)
{
    Outcome outcome;
    outcome.word = LogWords()[static_cast<std::size_t>(rotater.Table().log)];
    if (const auto* const pOwned = dynamic_cast<const VxOwnedLogRotater*>(&rotater); pOwned != nullptr) {
        outcome.owner = std::to_string(pOwned->OwnerId());
    }
    outcome.isStopped = stop.Stopped();
    if (outcome.isStopped) {
        return outcome;
    }
    outcome.isRead = rotater.LoadSettings() == 0;
    outcome.isOn = outcome.isRead && rotater.Settings().IsRotationWanted();
    if (outcome.isOn) {
        outcome.bound = rotater.GetTimeUPB();
        outcome.rows = rotater.CountRotated(outcome.bound);
        outcome.isRead = outcome.rows >= 0;
    }
    if (!plan && outcome.isRead) {
        rotater.SetRunFlag(stop.RunFlag());
        outcome.isDone = rotater.Run() == 0;
        outcome.isStopped =
            outcome.isDone && outcome.isOn && stop.Stopped() && rotater.CountRotated(outcome.bound) > 0;
        outcome.isDone = outcome.isDone && !outcome.isStopped;
    }
    return outcome;
}

/// One log that cannot be read keeps no other one from being trimmed.
std::vector<Outcome> RunAll(const std::vector<VX_ROTATED_LOG>& logs, bool plan, const StopSignal& stop)
{
    std::vector<Outcome> outcomes;
    for (const VX_ROTATED_LOG log : logs) {
        std::vector<std::unique_ptr<VxLogRotaterBase>> rotaters;
        if (MakeLogRotaters(log, rotaters) != 0) {
            outcomes.emplace_back().word = LogWords()[static_cast<std::size_t>(log)];
            outcomes.back().isRead = false;
        }
        for (const auto& rotater : rotaters) {
            outcomes.push_back(RunOne(*rotater, plan, stop));
        }
    }
    return outcomes;
}

void FailUnlessDone(const std::vector<Outcome>& outcomes, bool plan)
{
    if (std::ranges::any_of(outcomes, &Outcome::isStopped)) {
        Fail(EXIT_FOUND, "log rotate",
             "told to stop before all logs were rotated; the next vx log rotate goes on with them");
    }
    if (!std::ranges::all_of(outcomes, &Outcome::isRead)) {
        Fail(EXIT_UNREACHABLE, "log rotate",
             "a log or its settings cannot be read; vx log tail says why, vx log keep sets them anew");
    }
    if (!plan && !std::ranges::all_of(outcomes, &Outcome::isDone)) {
        Fail(EXIT_FOUND, "log rotate", "not everything could be archived or removed; vx log tail says why");
    }
}

void Rotate(const RotateOptions& options)
{
    ReachDatabases("log rotate");
    std::vector<VX_ROTATED_LOG> logs;
    for (const std::string& word : options.logs.empty() ? LogWords() : options.logs) {
        logs.push_back(ParseLog("log rotate", word));
    }
    const StopSignal stop;
    bool isOver = false;
    while (!isOver) {
        const std::vector<Outcome> outcomes = RunAll(logs, options.plan, stop);
        Print(outcomes, options.plan, options.json);
        if (options.plan || options.once) {
            FailUnlessDone(outcomes, options.plan);
        }
        isOver = options.plan || options.once || stop.WaitFor(std::chrono::seconds(options.everySec));
    }
}

} // namespace

const std::vector<std::string>& LogWords()
{
    static constexpr const char* WORDS[] = {"system",   "event",    "io-module",       "message",  "history",
                                            "bookmark", "intercom", "recorder-camera", "detection"};
    static_assert(std::size(WORDS) == VX_ROTATED_LOG_COUNT);
    static const std::vector<std::string> words(std::begin(WORDS), std::end(WORDS));
    return words;
}

VX_ROTATED_LOG ParseLog(std::string_view verb, const std::string& word)
{
    const auto found = std::ranges::find(LogWords(), word);
    if (found == LogWords().end()) {
        Fail(EXIT_USAGE, verb, "'{}' is no log; one of {}", word, fmt::join(LogWords(), ", "));
    }
    return static_cast<VX_ROTATED_LOG>(found - LogWords().begin());
}

void AddLogRotate(CLI::App& log)
{
    const auto options = std::make_shared<RotateOptions>();
    CLI::App* const verb = log.add_subcommand(
        "rotate", "Archive and remove what logs hold beyond their limits, again and again");
    verb->add_option("LOG", options->logs,
                     "Only these logs: " + fmt::format("{}", fmt::join(LogWords(), ", ")));
    verb->add_flag("--once", options->once, "Once, and end");
    verb->add_flag("--plan", options->plan, "Show what would go, and change nothing");
    verb->add_option("--every", options->everySec, "Seconds between two rotations")
        ->check(ABOVE_ZERO)
        ->capture_default_str();
    verb->add_flag("--json", options->json, "Print JSON");
    verb->callback([options] { Rotate(*options); });
}
