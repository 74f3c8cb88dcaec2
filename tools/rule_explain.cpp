// SPDX-License-Identifier: Apache-2.0
// tools/rule_explain.cpp - vx rule explain: why a rule fires or does not, at a time and in a state.
#include <CLI/CLI.hpp>
#include <fmt/format.h>

#include <memory>

#include "actruleverdict.h"
#include "fail.h"
#include "input_file.h"
#include "rule_common.h"
#include "sensor_events.h"
#include "table.h"
#include "time_text.h"

namespace {

struct Options {
    int id = 0;
    std::string at = "now";
    std::string state;
    std::string lastFired;
    bool json = false;
};

SensorCameras ReadState(const std::string& path)
{
    SensorCameras cameras;
    if (path.empty()) {
        return cameras;
    }
    InputFile file("rule explain", path);
    std::string line;
    for (int number = 1; file.NextLine(line); ++number) {
        SensorEvent event;
        std::string error = line.empty() ? "" : ParseSensorEvent(line, event);
        error = error.empty() && !line.empty() ? cameras.Apply(event) : error;
        if (!error.empty()) {
            Fail(EXIT_USAGE, "rule explain", "{}, line {}: {}", path, number, error);
        }
    }
    return cameras;
}

void Explain(const Options& options)
{
    ActionRule rule = FindRule("rule explain", options.id);
    const std::time_t at = ParseTime("rule explain", options.at);
    if (!options.lastFired.empty()) {
        rule.SetLastTrigTime(ParseTime("rule explain", options.lastFired));
    }
    const RuleVerdict verdict = JudgeRule(rule, ReadState(options.state).States(), at);
    const std::string sentence = ExplainVerdict(verdict, rule, at);
    if (!options.json) {
        fmt::print("{}\n", sentence);
        return;
    }
    Json::Value json(Json::objectValue);
    json["rule"] = rule.GetId();
    json["at"] = static_cast<Json::Int64>(at);
    json["reason"] = RuleReasonText(verdict.reason);
    json["fires"] = verdict.Fires();
    json["sentence"] = sentence;
    PrintJson(json);
}

} // namespace

void AddRuleExplainVerb(CLI::App& rule)
{
    const auto options = std::make_shared<Options>();
    CLI::App* const verb = rule.add_subcommand("explain", "Say why a rule fires, or why it does not");
    verb->add_option("ID", options->id, "The rule")->required();
    verb->add_option("--at", options->at,
                     "When: \"2026-11-21 08:30\" (local), seconds since 1970, now (the default)");
    verb->add_option("--state", options->state,
                     "Reports of sensors up to then, as vx rule watch reads them; - for standard input");
    verb->add_option("--last-fired", options->lastFired, "When it fired last, for its minimum interval");
    verb->add_flag("--json", options->json, "Print JSON");
    verb->callback([options] { Explain(*options); });
}
