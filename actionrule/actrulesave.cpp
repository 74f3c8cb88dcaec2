// SPDX-License-Identifier: Apache-2.0
// actionrule/actrulesave.cpp - a rule is stored as a whole: with its events, its group and its ports.
#include <set>
#include <string>
#include <vector>

#include "actrulepredicates.h"
#include "actruleutils.h"
#include "package/iokeys.h"
#include "ruledb_internal.h"
#include "vxdb.h"
#include "vxlog.h"

namespace {

/// Takes the first of the old events that equals `event` and was not taken before.
bool TakeOldId(ActionRuleEvent& event, const std::vector<ActionRuleEvent>& oldEvents, std::set<int>& kept)
{
    for (const ActionRuleEvent& old : oldEvents) {
        if (old == event && kept.insert(old.GetId()).second) {
            event.SetId(old.GetId());
            return true;
        }
    }
    return false;
}

/// What the other rules of a stored rule's group need.
struct GroupNeeds {
    bool isGroup = false; ///< there are others
    std::set<int> eventIds;
};

int FindNeeds(const ActionRule& stored, GroupNeeds& needs)
{
    ruledb::Rows rows;
    if (ruledb::Run(VX_RULE_HERE,
                    std::string("SELECT multi_evt_ids FROM ") + gszTableActionRule +
                        " WHERE multi_rule_id = " + std::to_string(stored.GetMultiRuleId()) + " AND id <> " +
                        std::to_string(stored.GetId()),
                    rows) != 0) {
        return -1;
    }
    for (unsigned int row = 0; rows.Next(row);) {
        needs.isGroup = true;
        for (const int id : ruledb::EventIdsOf(VxDB::FetchFieldText(rows.Get(), row, "multi_evt_ids"))) {
            needs.eventIds.insert(id);
        }
    }
    return 0;
}

/// Gives a rule a group of its own when it has none; makes the one it names; removes the one it has left.
int ChangeGroup(const ActionRule& stored, const GroupNeeds& needs, ActionRule& edited)
{
    const std::string table = gszTableActionRuleMultiRule;
    const int left = stored.GetMultiRuleId();
    std::string sql;
    if (edited.GetMultiRuleId() == 0) {
        edited.SetMultiRuleId(GetNewMultiRuleId());
    } else if (edited.GetMultiRuleId() != left) {
        sql = "INSERT OR IGNORE INTO " + table + " (id) VALUES (" + std::to_string(edited.GetMultiRuleId()) +
              ");";
    }
    if (left != 0 && left != edited.GetMultiRuleId() && !needs.isGroup) {
        sql += "DELETE FROM " + table + " WHERE id = " + std::to_string(left) + ";";
    }
    return edited.GetMultiRuleId() == 0 || (!sql.empty() && ruledb::Run(VX_RULE_HERE, sql) != 0) ? -1 : 0;
}

/// The rule as it is stored now, which another editor may have changed since the caller read it.
int FindStored(int id, ActionRule& stored)
{
    ActRuleFilterRule filter;
    filter.ids = std::to_string(id);
    std::list<ActionRule> rules;
    if (ruledb::ListRules(VX_RULE_HERE, filter, rules) != 0) {
        return -1;
    }
    if (rules.empty()) {
        VX_LOG(LOG_CATEG_IO_MODULE, LOG_LEVEL_ERR, "Rule [%d] is gone: it is not saved.\n", id);
        return -1;
    }
    stored = std::move(rules.front());
    return 0;
}

} // namespace

int ruledb::StoreEvents(const Place& place, std::vector<ActionRuleEvent>& newEvents,
                        const std::vector<ActionRuleEvent>& oldEvents, const std::set<int>& usedIds,
                        std::string& idsText)
{
    std::vector<ActionRuleEvent> events = newEvents;
    std::set<int> kept = usedIds;
    std::set<int> taken;
    std::list<int> ids;
    VxDB::Transaction transaction(VxDB::DB_SYSTEM);
    if (transaction.Begin() != 0) {
        return -1;
    }
    for (ActionRuleEvent& event : events) {
        if (!TakeOldId(event, oldEvents, taken)) {
            int id = -1;
            event.SetId(id);
            if (InsertRow(place, event.GetSaveSql(), id) != 0) {
                return -1;
            }
            event.SetId(id);
        }
        ids.push_back(event.GetId());
    }
    kept.merge(taken);
    std::set<int> gone;
    for (const ActionRuleEvent& old : oldEvents) {
        if (kept.count(old.GetId()) == 0) {
            gone.insert(old.GetId());
        }
    }
    if ((!gone.empty() && DeleteIds(place, gszTableActionRuleEvent, gone) != 0) ||
        transaction.Commit() != 0) {
        return -1;
    }
    idsText = Iter2String(ids.begin(), ids.end(), ",");
    newEvents = std::move(events);
    return 0;
}

std::set<std::string> CreateIOKeys(const ActionRule& rule)
{
    std::set<std::string> keys;
    for (const ActionRuleEvent& event : rule.GetEvtList()) {
        if (event.GetEvtId() == RULE_EVENT_DIGITAL_INPUT) {
            for (const int deviceId : event.GetEvtDevIds(false)) {
                keys.insert(MakeIOKey(IOKeyKind::DI, event.GetEvtSrc(), event.GetEvtServerId(), deviceId,
                                      event.GetEvtItem()));
            }
        }
    }
    if (IsDOAct(rule.GetActId())) {
        for (const int deviceId :
             rule.GetActDevIds().empty() ? std::set<int>{rule.GetActDevId()} : rule.GetActDevIds()) {
            keys.insert(MakeIOKey(IOKeyKind::DO, rule.GetActSrc(), rule.GetActServerId(), deviceId,
                                  rule.GetActItemId()));
        }
    }
    return keys;
}

int ruledb::ChangeIOKeys(const Place& place, const ActionRule& stored, const ActionRule& edited)
{
    const std::set<std::string> before = CreateIOKeys(stored);
    const std::set<std::string> after = CreateIOKeys(edited);
    if (before == after) {
        return 0;
    }
    const std::string sql = IOKeys::AddEntrySql(after, edited.GetId());
    return IOKeys::RemoveEntryId(before, edited.GetId()) != 0 || (!sql.empty() && Run(place, sql) != 0) ? -1
                                                                                                        : 0;
}

int SaveActRuleWhole(ActionRule& rule) noexcept
try {
    ActionRule saved = rule;
    ActionRule stored;
    GroupNeeds needs;
    std::string eventIds;
    VxDB::Transaction transaction(VxDB::DB_SYSTEM);
    if (transaction.Begin() != 0) {
        return -1;
    }
    if (rule.GetId() != -1 && (FindStored(rule.GetId(), stored) != 0 || FindNeeds(stored, needs) != 0)) {
        return -1;
    }
    if (ChangeGroup(stored, needs, saved) != 0 ||
        ruledb::StoreEvents(VX_RULE_HERE, saved.GetEvtList(), stored.GetEvtList(), needs.eventIds,
                            eventIds) != 0) {
        return -1;
    }
    saved.SetMultiEvtIds(eventIds);
    if (saved.Save() != 0 || ruledb::ChangeIOKeys(VX_RULE_HERE, stored, saved) != 0 ||
        transaction.Commit() != 0) {
        return -1;
    }
    rule = std::move(saved);
    return 0;
} catch (const std::exception& error) {
    VX_LOG(LOG_CATEG_IO_MODULE, LOG_LEVEL_ERR, "Failed to save rule [%d]: [%s].\n", rule.GetId(),
           error.what());
    return -1;
}
