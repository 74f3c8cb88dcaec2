// SPDX-License-Identifier: Apache-2.0
// tools/rule.cpp - vx rule list, show, enable, disable and rm: the rules that there are.
#include <CLI/CLI.hpp>
#include <fmt/format.h>

#include <memory>

#include "actruleutils.h"
#include "actruleverdict.h"
#include "agree.h"
#include "fail.h"
#include "package/json.h"
#include "rule_common.h"
#include "table.h"
#include "webhook_common.h"

namespace {

struct Options {
    std::string ids;
    int id = 0;
    bool json = false;
    bool showSecrets = false;
    bool yes = false;
    bool dryRun = false;
};

std::string EventsText(const ActionRule& rule)
{
    std::string text;
    for (const ActionRuleEvent& event : rule.GetEvtList()) {
        text += (text.empty() ? "" : ", ") + RuleEventPhrase(event.GetEvtSrc(), event.GetEvtId());
    }
    return text.empty() && rule.GetEvtId() != RULE_EVENT_NONE
               ? RuleEventPhrase(rule.GetEvtSrc(), rule.GetEvtId())
               : text;
}

Json::Value RulesJson(const std::list<ActionRule>& rules, bool withSecrets)
{
    Json::Value array(Json::arrayValue);
    for (const ActionRule& rule : rules) {
        array.append(RuleJson(rule, withSecrets));
    }
    return array;
}

void List(const Options& options)
{
    const std::list<ActionRule> rules = AllRules("rule list");
    if (options.json) {
        PrintJson(RulesJson(rules, options.showSecrets));
        return;
    }
    Table table({">ID", ">GROUP", "ENABLED", "NAME", "EVENTS", ">ACTION", "SCHEDULE"});
    for (const ActionRule& rule : rules) {
        table.AddRow({std::to_string(rule.GetId()), std::to_string(rule.GetMultiRuleId()),
                      rule.IsEnabled() ? "yes" : "no", Printable(rule.GetName()), EventsText(rule),
                      std::to_string(rule.GetActId()), rule.GetActiveSche().ToText()});
    }
    if (table.Empty()) {
        fmt::print("No rules; vx rule add makes one.\n");
    } else {
        table.Print();
    }
}

void Show(const Options& options)
{
    const ActionRule rule = FindRule("rule show", options.id);
    const Json::Value json = RuleJson(rule, options.showSecrets);
    if (options.json) {
        PrintJson(json);
        return;
    }
    Table table({"FIELD", "VALUE"});
    for (const std::string& name : json.getMemberNames()) {
        if (name != "events") {
            const Json::Value& value = json[name];
            table.AddRow({name, Printable(value.isString() ? value.asString() : JsonWrite(value))});
        }
    }
    table.Print();
    for (const Json::Value& event : json["events"]) {
        fmt::print("event {}\n", JsonWrite(event));
    }
}

void SetEnabled(const Options& options, const char* verb, bool enabled)
{
    static_cast<void>(FindRules(verb, options.ids)); // ends the verb where there is none
    ActRuleFilterRule filter;
    filter.ids = options.ids;
    ActRuleStateChange change;
    change.enabled = enabled;
    if (ActionRule::SaveActRuleSt(filter, change, OperatorName()) != 0) {
        Fail(EXIT_FOUND, verb, "{}: cannot be saved; vx log tail says why", options.ids);
    }
    NotifyActRuleUpdate(options.ids, UPDATE_TYPE_MODIFY);
    if (options.json) {
        PrintJson(RulesJson(FindRules(verb, options.ids), false));
    }
}

void Remove(const Options& options)
{
    const std::list<ActionRule> rules = FindRules("rule rm", options.ids);
    for (const ActionRule& rule : rules) {
        if (!options.json) {
            fmt::print("{} rule {} \"{}\"\n",
                       options.dryRun ? "Would remove" : "To be removed:", rule.GetId(),
                       Printable(rule.GetName()));
        }
    }
    const bool go =
        !options.dryRun && Agreed("rule rm", fmt::format("Remove {} rule(s)?", rules.size()), options.yes);
    ActRuleFilterRule filter;
    filter.ids = options.ids;
    if (go && DelActRuleByFilter(filter, OperatorName()) != 0) {
        Fail(EXIT_FOUND, "rule rm", "{}: cannot be removed; vx log tail says why", options.ids);
    }
    if (go) {
        NotifyActRuleUpdate(options.ids, UPDATE_TYPE_DELETE);
    }
    if (options.json) {
        Json::Value json;
        json["rules"] = RulesJson(rules, false);
        json["removed"] = go;
        PrintJson(json);
    }
}

CLI::App* AddVerb(CLI::App& noun, const char* name, const char* what, std::function<void()> run,
                  const std::shared_ptr<Options>& options)
{
    CLI::App* const verb = noun.add_subcommand(name, what);
    verb->add_flag("--json", options->json, "Print JSON");
    verb->callback(std::move(run));
    return verb;
}

} // namespace

void AddRuleNoun(CLI::App& vx)
{
    CLI::App* const noun = vx.add_subcommand("rule", "Action rules: what happens when");
    noun->require_subcommand(1);
    const auto options = std::make_shared<Options>();
    const char* const secrets = "Print passwords, too";
    const char* const ids = "Their ids, joined by commas";
    AddVerb(
        *noun, "list", "List the rules", [options] { List(*options); }, options)
        ->add_flag("--show-secrets", options->showSecrets, secrets);
    CLI::App* const show = AddVerb(
        *noun, "show", "Show one rule", [options] { Show(*options); }, options);
    show->add_option("ID", options->id, "Its id, as list prints it")->required();
    show->add_flag("--show-secrets", options->showSecrets, secrets);
    AddVerb(
        *noun, "enable", "Switch rules on", [options] { SetEnabled(*options, "rule enable", true); }, options)
        ->add_option("IDS", options->ids, ids)
        ->required();
    AddVerb(
        *noun, "disable", "Switch rules off", [options] { SetEnabled(*options, "rule disable", false); },
        options)
        ->add_option("IDS", options->ids, ids)
        ->required();
    CLI::App* const remove = AddVerb(
        *noun, "rm", "Remove rules", [options] { Remove(*options); }, options);
    remove->add_option("IDS", options->ids, ids)->required();
    remove->add_flag("--yes", options->yes, "Do not ask");
    remove->add_flag("--dry-run", options->dryRun, "Only say what would be removed");
    AddRuleEditVerbs(*noun);
    AddRuleTransferVerbs(*noun);
    AddRuleExplainVerb(*noun);
    AddRuleWatchVerb(*noun);
}
