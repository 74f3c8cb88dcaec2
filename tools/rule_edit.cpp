// SPDX-License-Identifier: Apache-2.0
// tools/rule_edit.cpp - vx rule add and edit: a rule from options, from JSON, or from both.
#include <CLI/CLI.hpp>
#include <fmt/format.h>

#include <memory>

#include "actruleutils.h"
#include "actruleverdict.h"
#include "fail.h"
#include "numbers.h"
#include "package/json.h"
#include "rule_common.h"
#include "sensor_events.h"
#include "table.h"
#include "webhook_common.h"

namespace {

struct Options {
    const char* verb = "";
    int id = 0;
    std::string record; ///< JSON text
    std::string from;   ///< file with JSON, "-": standard input
    std::string name;
    std::string schedule;
    std::string event; ///< "motion" or a number
    int camera = 0;
    int item = 0;
    int action = 0;
    int minInterval = 0;
    bool json = false;
};

RULE_EVENT ParseEvent(const Options& options)
{
    const RULE_EVENT event = ParseEventName(options.event);
    if (event == RULE_EVENT_NONE) {
        std::string names;
        for (int i = RULE_EVENT_CONN_LOST; i <= RULE_EVENT_TIME_LAPSE; ++i) {
            names += (names.empty() ? "" : ", ") + std::string(RuleEventText(static_cast<RULE_EVENT>(i)));
        }
        Fail(EXIT_USAGE, options.verb, "event [{}]: one of {} is expected", options.event, names);
    }
    return event;
}

Json::Value GivenJson(const Options& options, const CLI::App& verb)
{
    Json::Value json(Json::objectValue);
    std::string error;
    if (!options.record.empty() && !JsonRead(options.record, json, error)) {
        Fail(EXIT_USAGE, options.verb, "--record: not JSON: {}", error);
    }
    if (!options.from.empty()) {
        json = ReadJsonFile(options.verb, options.from);
    }
    if (!json.isObject()) {
        Fail(EXIT_USAGE, options.verb, "one object is expected, as vx rule show --json prints it");
    }
    if (json.isMember("password") && json["password"].isString() &&
        json["password"].asString() == MASKED_SECRET) {
        json.removeMember("password"); // as it is
    }
    if (const std::string unknown = UnknownField(json); !unknown.empty()) {
        Fail(EXIT_USAGE, options.verb, "{}; nothing is saved", unknown);
    }
    json.removeMember("id");
    const auto take = [&](const char* option, const char* field, const Json::Value& value) {
        if (verb.count(option) != 0) {
            json[field] = value;
        }
    };
    take("--name", "name", options.name);
    take("--schedule", "schedule", options.schedule);
    take("--action", "act_id", options.action);
    take("--min-interval", "evt_min_interval", options.minInterval);
    return json;
}

void AddEventOption(const Options& options, const CLI::App& verb, ActionRule& rule)
{
    if (verb.count("--event") == 0) {
        return;
    }
    ActionRuleEvent event;
    event.SetEvtId(ParseEvent(options));
    event.SetEvtDevId(options.camera);
    event.SetEvtItem(options.item);
    rule.SetEvtList({event});
}

/// The columns of a rule's first event repeat it in the rule's own row.
void RepeatFirstEvent(ActionRule& rule)
{
    if (!rule.GetEvtList().empty()) {
        const ActionRuleEvent& first = rule.GetEvtList().front();
        rule.SetEvtSrc(first.GetEvtSrc());
        rule.SetEvtServerId(first.GetEvtServerId());
        rule.SetEvtDevId(first.GetEvtDevId());
        rule.SetEvtId(first.GetEvtId());
        rule.SetEvtItem(first.GetEvtItem());
    }
}

/// Ends the verb when it was to change a field that follows from the rule's events.
void RefuseLostChange(const Options& options, const Json::Value& given, const ActionRule& before,
                      const ActionRule& after)
{
    const Json::Value old = before.GetJson();
    Json::Value kept = after.GetJson();
    kept["multi_evt_ids"] = old["multi_evt_ids"];
    for (const char* const field :
         {"evt_source", "evt_server_id", "evt_device_id", "evt_id", "evt_item", "multi_evt_ids"}) {
        if (given.isMember(field) && given[field] != old[field] && given[field] != kept[field]) {
            Fail(EXIT_USAGE, options.verb,
                 "field \"{}\" follows from the rule's events: change those; nothing is saved", field);
        }
    }
}

void Save(const Options& options, const CLI::App& verb)
{
    const bool isNew = options.id == 0;
    const ActionRule before = isNew ? ActionRule() : FindRule(options.verb, options.id);
    const Json::Value given = GivenJson(options, verb);
    ActionRule rule = before;
    std::string error;
    if (rule.SetByJson(given, &error) != 0) {
        Fail(EXIT_USAGE, options.verb, "{}; nothing is saved", error);
    }
    AddEventOption(options, verb, rule);
    RepeatFirstEvent(rule);
    if (!isNew) {
        RefuseLostChange(options, given, before, rule);
    }
    if (rule.GetName().empty()) {
        Fail(EXIT_USAGE, options.verb, "name: a rule needs one; use --name");
    }
    if (isNew) {
        ReachRules(options.verb);
    }
    if (SaveActRuleWhole(rule) != 0) {
        Fail(EXIT_FOUND, options.verb, "\"{}\": cannot be saved; vx log tail says why", rule.GetName());
    }
    NotifyActRuleUpdate(rule.GetId(), isNew ? UPDATE_TYPE_ADD : UPDATE_TYPE_MODIFY);
    if (options.json) {
        PrintJson(RuleJson(rule, false));
    } else {
        fmt::print("{}\n", rule.GetId());
    }
}

void AddVerb(CLI::App& noun, const char* name, const char* what, bool isEdit)
{
    const auto options = std::make_shared<Options>();
    CLI::App* const verb = noun.add_subcommand(name, what);
    options->verb = isEdit ? "rule edit" : "rule add";
    if (isEdit) {
        verb->add_option("ID", options->id, "The rule")->required()->check(ABOVE_ZERO);
    }
    verb->add_option("--record", options->record,
                     "Fields as a JSON object, named as vx rule show prints them");
    verb->add_option("--from", options->from, "A file with that object; - for standard input");
    verb->add_option("--name", options->name, "Display name");
    verb->add_option("--schedule", options->schedule,
                     "When it is active: \"mon-fri 08:00-18:00; sat 10:00-14:00\"");
    CLI::Option* const event = verb->add_option("--event", options->event,
                                                "What triggers it: motion, \"digital input\", doorbell, ...");
    verb->add_option("--camera", options->camera, "Where: the camera's id, -1 for every camera")
        ->needs(event);
    verb->add_option("--item", options->item, "Which: the port, the application's or the task's id")
        ->needs(event);
    verb->add_option("--action", options->action, "What it does: the action's number");
    verb->add_option("--min-interval", options->minInterval, "Seconds between two triggers at least")
        ->check(FROM_ZERO);
    verb->add_flag("--json", options->json, "Print the stored rule as JSON");
    verb->callback([options, verb] { Save(*options, *verb); });
}

} // namespace

void AddRuleEditVerbs(CLI::App& rule)
{
    AddVerb(rule, "add", "Make a rule; prints its id", false);
    AddVerb(rule, "edit", "Change fields of a rule; what is not given stays", true);
}
