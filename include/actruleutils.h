// SPDX-License-Identifier: Apache-2.0
// actruleutils.h - listing, counting, changing and deleting action rules.
//
// Every function runs its statements on the caller's thread, logs what fails (category 28) and may be called
// from any thread. What takes several statements is one transaction: a process that dies in between leaves
// everything as it was.
#pragma once

#include <json/value.h>

#include <list>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "actionrule.h"
#include "actrulefilterrule.h"
#include "package/export.h"
#include "package/msgd.h"

/// A change of state for ActionRule::SaveActRuleSt(). What is not set stays.
struct ActRuleStateChange {
    std::optional<bool> enabled;
    std::optional<int> deviceId; ///< whose status bits change
    int setBits = 0;
    int clearBits = 0;
    std::optional<int> actItemId;
    std::optional<int> actRetPos;
};

/// Makes a new group of rules. @return its id; 0 (logged) on failure.
VX_API int GetNewMultiRuleId() noexcept;

/// Stores the events of an edited rule: one that equals an old event keeps that one's row and id, every other
/// becomes a new row; old events that nobody keeps are deleted.
///
/// @param newEvents  take their ids; @param idsText  receives them, joined by commas, in order
/// @return 0; -1 (logged): neither the table nor `newEvents` nor `idsText` has changed.
[[nodiscard]] VX_API int SaveMultiEvtAndGetIds(std::vector<ActionRuleEvent>& newEvents,
                                               const std::vector<ActionRuleEvent>& oldEvents,
                                               std::string& idsText) noexcept;

/// All events by id. @return 0; -1 (logged) and `events` is unchanged.
[[nodiscard]] VX_API int GetActionRuleEvtMap(std::map<int, ActionRuleEvent>& events) noexcept;

/// The rules that a filter means, by ascending id, with their events and devices.
///
/// @return empty also on failure (logged).
VX_API std::list<ActionRule> GetActRuleByFilter(const ActRuleFilterRule& filter) noexcept;
VX_API std::map<int, ActionRule> GetActRuleMapByFilter(const ActRuleFilterRule& filter) noexcept;

/// The statement that counts them; empty (logged) for a broken filter.
VX_API std::string GetActRuleCntSql(const ActRuleFilterRule& filter) noexcept;

/// The rules that are shown, by group: an array of objects with "multi_rule_id" and the rules under
/// "actions".
///
/// @param onlyEnabled  leaves out rules that are switched off
VX_API Json::Value GetActRuleCnt(bool onlyEnabled) noexcept;

/// Deletes the rules that a filter means with all that hangs on them: groups and events that no other rule
/// uses, I/O keys, home mode; then writes one entry a rule to the user log.
///
/// @return 0; -1 (logged): nothing is deleted. A user log that cannot be written is logged and is no failure.
[[nodiscard]] VX_API int DelActRuleByFilter(const ActRuleFilterRule& filter,
                                            const std::string& userName) noexcept;

/// Stores a rule with its events and I/O keys, in a group of its own when it has none; a new rule (id -1)
/// takes its ids. Events and keys that the stored rule has by now, and that no other rule of its group needs,
/// go: of two editors the later one holds, and nothing of the earlier one is left behind.
///
/// @return 0; -1 (logged), also for a rule that has been deleted meanwhile: neither the tables nor the rule
///         have changed.
[[nodiscard]] VX_API int SaveActRuleWhole(ActionRule& rule) noexcept;

/// Stores rules under the ids that they, their groups and their events have, as far as those are free; where
/// one is taken, a new one is given. All rules, or none. Rules of one group stay together and
/// share the events that are equal under one id.
///
/// @param rules  take the ids that they are stored under
/// @return 0; -1 (logged): neither the tables nor the rules have changed.
[[nodiscard]] VX_API int RestoreActRules(std::list<ActionRule>& rules) noexcept;

/// The keys of the digital inputs and outputs that a rule uses.
VX_API std::set<std::string> CreateIOKeys(const ActionRule& rule);

/// Tells the rule daemon which rules have changed. Ids as text ("3,5", nothing is sent for an empty or a
/// broken one), as a list, or one.
VX_API void NotifyActRuleUpdate(const std::string& ids, UPDATE_TYPE type) noexcept;
VX_API void NotifyActRuleUpdate(const std::list<int>& ids, UPDATE_TYPE type) noexcept;
VX_API void NotifyActRuleUpdate(int id, UPDATE_TYPE type) noexcept;

/// Whether the action of an edited rule differs so that running actions must start anew. Pure.
VX_API bool IsActionChanged(const ActionRule& newRule, const ActionRule& oldRule) noexcept;

namespace ActRuleUpgrade {

/// Makes every rule of an old database its own group; does nothing once rules have groups.
///
/// @return 0; -1 (logged).
[[nodiscard]] VX_API int UpdateActRuleMultiActId() noexcept;

} // namespace ActRuleUpgrade
