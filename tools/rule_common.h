// SPDX-License-Identifier: Apache-2.0
// tools/rule_common.h - what the verbs of vx rule share.
#pragma once

#include <json/value.h>

#include <list>
#include <string>
#include <string_view>

#include "actionrule.h"
#include "nouns.h"

/// Ends the verb when the database of the rules cannot be reached.
void ReachRules(std::string_view verb);

/// Ends the verb when they cannot be read.
std::list<ActionRule> AllRules(std::string_view verb);
/// The rules with these ids; ends the verb when there is no id, or one is broken or unknown.
std::list<ActionRule> FindRules(std::string_view verb, const std::string& ids);
ActionRule FindRule(std::string_view verb, int id);

/// The rule as --json prints it. The password: plain with `withSecrets`, else masked.
Json::Value RuleJson(const ActionRule& rule, bool withSecrets);

/// What is said of the first member, of a rule or of one of its events, that no field has; empty for none.
std::string UnknownField(const Json::Value& json);

/// All JSON of a file, "-" for standard input; ends the verb when it cannot be read or is no JSON.
Json::Value ReadJsonFile(std::string_view verb, const std::string& path);

/// The user that the user log names.
std::string OperatorName();

void AddRuleEditVerbs(CLI::App& rule);
void AddRuleTransferVerbs(CLI::App& rule);
void AddRuleExplainVerb(CLI::App& rule);
void AddRuleWatchVerb(CLI::App& rule);
