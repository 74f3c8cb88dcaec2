// SPDX-License-Identifier: Apache-2.0
// tools/rule_common.cpp - finding rules, reading JSON.
#include "rule_common.h"

#include <pwd.h>
#include <unistd.h>

#include <set>

#include "actruleutils.h"
#include "fail.h"
#include "input_file.h"
#include "package/db.h"
#include "package/idtext.h"
#include "package/json.h"
#include "webhook_common.h"

namespace {

[[noreturn]] void FailToRead(std::string_view verb)
{
    Fail(EXIT_UNREACHABLE, verb, "{}: the rules cannot be read; vx log tail says why",
         VxDB::GetDBPath(VxDB::DB_SYSTEM));
}

/// How many rules a filter means.
std::string Count(std::string_view verb, const ActRuleFilterRule& filter)
{
    std::string count;
    if (VxDB::LoadFirstFieldFromDB(VxDB::DB_SYSTEM, GetActRuleCntSql(filter), count) != 0) {
        FailToRead(verb);
    }
    return count;
}

std::list<ActionRule> ReadRules(std::string_view verb, const ActRuleFilterRule& filter)
{
    const std::string count = Count(verb, filter);
    std::list<ActionRule> rules = GetActRuleByFilter(filter);
    if (rules.empty() && count != "0") { // a listing that failed looks like no rules
        FailToRead(verb);
    }
    return rules;
}

} // namespace

void ReachRules(std::string_view verb)
{
    static_cast<void>(Count(verb, {}));
}

std::list<ActionRule> AllRules(std::string_view verb)
{
    return ReadRules(verb, {});
}

std::list<ActionRule> FindRules(std::string_view verb, const std::string& ids)
{
    std::set<int> wanted;
    if (StringToIdSet(ids, wanted) != 0 || wanted.empty()) {
        Fail(EXIT_USAGE, verb, "[{}]: ids joined by commas are expected, such as 3,5", ids);
    }
    ActRuleFilterRule filter;
    filter.ids = ids;
    std::list<ActionRule> rules = ReadRules(verb, filter);
    for (const ActionRule& rule : rules) {
        wanted.erase(rule.GetId());
    }
    if (!wanted.empty()) {
        Fail(EXIT_FOUND, verb, "{}: there is no such rule; see vx rule list", *wanted.begin());
    }
    return rules;
}

ActionRule FindRule(std::string_view verb, int id)
{
    return FindRules(verb, std::to_string(id)).front();
}

Json::Value RuleJson(const ActionRule& rule, bool withSecrets)
{
    Json::Value json = rule.GetJson();
    if (!withSecrets && !rule.GetPassword().empty()) {
        json["password"] = MASKED_SECRET;
    }
    return json;
}

std::string UnknownField(const Json::Value& json)
{
    static const Json::Value RULE = ActionRule().GetJson();
    static const Json::Value EVENT = ActionRuleEvent().GetJson();
    const auto find = [](const Json::Value& given, const Json::Value& known) {
        for (const std::string& name :
             given.isObject() ? given.getMemberNames() : std::vector<std::string>()) {
            if (!known.isMember(name)) {
                return "there is no field \"" + name + "\"";
            }
        }
        return std::string();
    };
    std::string unknown = find(json, RULE);
    const Json::Value events = json.isObject() ? json["events"] : Json::Value();
    for (Json::ArrayIndex i = 0; unknown.empty() && events.isArray() && i < events.size(); ++i) {
        unknown = find(events[i], EVENT);
        unknown = unknown.empty() ? unknown : "event " + std::to_string(i + 1) + ": " + unknown;
    }
    return unknown;
}

Json::Value ReadJsonFile(std::string_view verb, const std::string& path)
{
    Json::Value json;
    std::string error;
    if (!JsonRead(InputFile(verb, path).ReadAll(), json, error)) {
        Fail(EXIT_USAGE, verb, "{}: not JSON: {}", path, error);
    }
    return json;
}

std::string OperatorName()
{
    const passwd* const user = ::getpwuid(::geteuid());
    return user != nullptr ? user->pw_name : std::to_string(::geteuid());
}
