// SPDX-License-Identifier: Apache-2.0
// tools/rule_common.cpp - finding rules, reading JSON and times.
#include "rule_common.h"

#include <pwd.h>
#include <unistd.h>

#include <charconv>
#include <cstdlib>
#include <fstream>
#include <iostream>
#include <iterator>
#include <set>

#include "actruleutils.h"
#include "fail.h"
#include "package/db.h"
#include "package/idtext.h"
#include "package/json.h"
#include "package/monoclock.h"
#include "webhook_common.h"

namespace {

void Reach(std::string_view verb, const ActRuleFilterRule& filter)
{
    std::string count;
    if (VxDB::LoadFirstFieldFromDB(VxDB::DB_SYSTEM, GetActRuleCntSql(filter), count) != 0) {
        Fail(EXIT_UNREACHABLE, verb, "{}: the rules cannot be read; vx log tail says why",
             VxDB::GetDBPath(VxDB::DB_SYSTEM));
    }
}

} // namespace

void ReachRules(std::string_view verb)
{
    Reach(verb, {});
}

std::list<ActionRule> FindRules(std::string_view verb, const std::string& ids)
{
    std::set<int> wanted;
    if (StringToIdSet(ids, wanted) != 0) {
        Fail(EXIT_USAGE, verb, "[{}]: ids joined by commas are expected, such as 3,5", ids);
    }
    ActRuleFilterRule filter;
    if (!wanted.empty()) {
        filter.ids = ids;
    }
    Reach(verb, filter);
    std::list<ActionRule> rules = GetActRuleByFilter(filter);
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

Json::Value ReadJsonFile(std::string_view verb, const std::string& path)
{
    std::ifstream file;
    if (path != "-") {
        file.open(path);
        if (!file) {
            Fail(EXIT_UNREACHABLE, verb, "{}: cannot be read: {}", path, std::strerror(errno));
        }
    }
    std::istream& in = path == "-" ? std::cin : file;
    const std::string text{std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
    Json::Value json;
    std::string error;
    if (!JsonRead(text, json, error)) {
        Fail(EXIT_USAGE, verb, "{}: not JSON: {}", path, error);
    }
    return json;
}

std::time_t ParseTimeText(const std::string& text) noexcept
{
    if (text == "now") {
        return GetWallTimeSec();
    }
    long long number = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    if (error == std::errc() && end == text.data() + text.size() && number >= 0) {
        return static_cast<std::time_t>(number);
    }
    for (const char* const format :
         {"%Y-%m-%d %H:%M:%S", "%Y-%m-%dT%H:%M:%S", "%Y-%m-%d %H:%M", "%Y-%m-%dT%H:%M"}) {
        tm local{};
        local.tm_isdst = -1;
        const char* const rest = ::strptime(text.c_str(), format, &local);
        if (rest != nullptr && *rest == '\0') {
            return std::mktime(&local);
        }
    }
    return -1;
}

std::time_t ParseTime(std::string_view verb, const std::string& text)
{
    const std::time_t time = ParseTimeText(text);
    if (time < 0) {
        Fail(EXIT_USAGE, verb, "time [{}]: \"2026-11-21 08:30\", seconds since 1970 or \"now\" is expected",
             text);
    }
    return time;
}

std::string OperatorName()
{
    const passwd* const user = ::getpwuid(::geteuid());
    return user != nullptr ? user->pw_name : std::to_string(::geteuid());
}
