// SPDX-License-Identifier: Apache-2.0
// tools/rule_watch.cpp - vx rule watch: reports of sensors in, verdicts out. Nothing happens outside of this
// process but lines of history. All times are those of the reports, so a replay gives the same answers.
#include <CLI/CLI.hpp>
#include <fmt/format.h>

#include <memory>

#include "actrulehistory.h"
#include "actruleutils.h"
#include "actruleverdict.h"
#include "fail.h"
#include "input_file.h"
#include "package/db.h"
#include "rule_common.h"
#include "sensor_events.h"
#include "table.h"

namespace {

struct Options {
    std::string path = "-";
    bool json = false;
    bool noHistory = false;
    bool firesOnly = false;
};

/// Whether a rule listens to a report: its verdict can change with it.
bool Concerns(const ActionRule& rule, const SensorEvent& event) noexcept
{
    const auto isMeant = [&event](DEVICE_SRC source, RULE_EVENT id, int item, bool hasDevice) {
        const bool hasItem = id == RULE_EVENT_DIGITAL_INPUT || id == RULE_EVENT_EXTERNAL_INPUT ||
                             id == RULE_EVENT_APPLICATION || id == RULE_EVENT_TIME_LAPSE;
        return source == DEVICE_SRC_CAMERA && id == event.event && hasDevice &&
               (!hasItem || item == event.item || item == -1);
    };
    if (rule.GetEvtList().empty()) {
        return isMeant(rule.GetEvtSrc(), rule.GetEvtId(), rule.GetEvtItem(),
                       rule.GetEvtDevId() == event.camera);
    }
    for (const ActionRuleEvent& wanted : rule.GetEvtList()) {
        if (isMeant(wanted.GetEvtSrc(), wanted.GetEvtId(), wanted.GetEvtItem(),
                    wanted.IsAllDevices() || wanted.HasDevice(event.camera))) {
            return true;
        }
    }
    return false;
}

class Watcher {
public:
    explicit Watcher(const Options& options) : m_options(options), m_rules(AllRules("rule watch")) {}

    /// Applies one line. @return what is wrong with it; empty when it was judged
    std::string Judge(const std::string& line)
    {
        SensorEvent event;
        std::string error = ParseSensorEvent(line, event);
        error = error.empty() ? m_cameras.Apply(event) : error;
        if (!error.empty()) {
            return error;
        }
        std::list<RuleHistory> fired;
        for (ActionRule& rule : m_rules) {
            if (Concerns(rule, event)) {
                JudgeOne(rule, event.time, fired);
            }
        }
        if (!m_options.noHistory && WriteRuleHistory(fired) != 0) {
            Fail(EXIT_FOUND, "rule watch", "the history cannot be written; vx log tail says why");
        }
        return {};
    }

    long long FireCount() const noexcept { return m_fireCount; }

private:
    void JudgeOne(ActionRule& rule, std::time_t time, std::list<RuleHistory>& fired)
    {
        const RuleVerdict verdict = JudgeRule(rule, m_cameras.States(), time);
        Print(rule, verdict, time);
        if (verdict.Fires()) {
            ++m_fireCount;
            rule.SetLastTrigTime(time);
            fired.emplace_back(rule, RULE_ACT_STATUS_STARTED).SetTimeStamp(time);
        }
    }

    void Print(const ActionRule& rule, const RuleVerdict& verdict, std::time_t time) const
    {
        if (m_options.firesOnly && !verdict.Fires()) {
            return;
        }
        const std::string sentence = ExplainVerdict(verdict, rule, time);
        if (!m_options.json) {
            fmt::print("{}\n", sentence);
            std::fflush(stdout);
            return;
        }
        Json::Value json(Json::objectValue);
        json["time"] = static_cast<Json::Int64>(time);
        json["rule"] = rule.GetId();
        json["reason"] = RuleReasonText(verdict.reason);
        json["fires"] = verdict.Fires();
        json["sentence"] = sentence;
        PrintJsonLine(json);
    }

    const Options& m_options;
    std::list<ActionRule> m_rules;
    SensorCameras m_cameras;
    long long m_fireCount = 0;
};

void Watch(const Options& options)
{
    Watcher watcher(options);
    if (!options.noHistory && GetAllRuleHistoryCnt() < 0) {
        Fail(EXIT_UNREACHABLE, "rule watch", "{}: the history cannot be written; vx log tail says why",
             VxDB::GetDBPath(VxDB::DB_LOG));
    }
    InputFile file("rule watch", options.path);
    std::string line;
    int broken = 0;
    for (int number = 1; file.NextLine(line); ++number) {
        const std::string error = line.empty() ? "" : watcher.Judge(line);
        if (!error.empty()) {
            ++broken;
            fmt::print(stderr, "vx rule watch: {}, line {}: {}; passed over\n", options.path, number, error);
        }
    }
    if (broken != 0) {
        Fail(EXIT_FOUND, "rule watch", "{}: {} line(s) could not be read", options.path, broken);
    }
}

} // namespace

void AddRuleWatchVerb(CLI::App& rule)
{
    const auto options = std::make_shared<Options>();
    CLI::App* const verb = rule.add_subcommand(
        "watch", "Judge the rules by reports of sensors; writes history, fires nothing else");
    verb->add_option("FILE", options->path,
                     "Reports, one JSON object a line; - (the default) for standard input");
    verb->add_flag("--fires-only", options->firesOnly, "Print only rules that fire");
    verb->add_flag("--no-history", options->noHistory, "Write no history");
    verb->add_flag("--json", options->json, "Print one JSON object a verdict");
    verb->callback([options] { Watch(*options); });
}
