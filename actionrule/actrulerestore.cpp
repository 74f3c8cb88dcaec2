// SPDX-License-Identifier: Apache-2.0
// actionrule/actrulerestore.cpp - a set of rules comes back under its own ids.
#include <map>
#include <string>
#include <utility>

#include "actruleutils.h"
#include "package/iokeys.h"
#include "ruledb_internal.h"
#include "vxdb.h"
#include "vxlog.h"

namespace {

/// Makes an empty row under an id when that is free, else under a new one.
///
/// @return 0 and `id` is the row's; -1 (logged).
int MakeRow(const char* table, int& id)
{
    ruledb::Rows rows;
    const std::string name = table;
    const std::string wanted = std::to_string(id);
    if (id > 0 && ruledb::Run(VX_RULE_HERE,
                              "INSERT OR IGNORE INTO " + name + " (id) VALUES (" + wanted + ") " +
                                  VxDB::GetReturnColumnsStatement("id"),
                              rows) != 0) {
        return -1;
    }
    if (id > 0 && rows.Count() == 1) {
        return 0;
    }
    return ruledb::InsertRow(
        VX_RULE_HERE, "INSERT INTO " + name + " DEFAULT VALUES " + VxDB::GetReturnColumnsStatement("id"), id);
}

/// Which new group and events stand for those that the set names.
struct Renaming {
    std::map<int, int> groups;
    std::map<std::pair<int, int>, ActionRuleEvent> events; ///< as stored, by new group and old id
};

/// Rules of one group share an event, as they do in the tables; an id that another group or another event has
/// as well is only a number.
int RestoreEvents(ActionRule& rule, Renaming& renaming)
{
    std::string ids;
    for (ActionRuleEvent& event : rule.GetEvtList()) {
        const std::pair key(rule.GetMultiRuleId(), event.GetId());
        const auto known = renaming.events.find(key);
        if (event.GetId() > 0 && known != renaming.events.end() && known->second == event) {
            event.SetId(known->second.GetId());
        } else {
            int id = event.GetId();
            if (MakeRow(gszTableActionRuleEvent, id) != 0) {
                return -1;
            }
            event.SetId(id);
            if (event.Save() != 0) {
                return -1;
            }
            renaming.events[key] = event;
        }
        ids += (ids.empty() ? "" : ",") + std::to_string(event.GetId());
    }
    rule.SetMultiEvtIds(ids);
    return 0;
}

int RestoreGroup(ActionRule& rule, Renaming& renaming)
{
    const int oldId = rule.GetMultiRuleId();
    const auto known = oldId > 0 ? renaming.groups.find(oldId) : renaming.groups.end();
    int id = known != renaming.groups.end() ? known->second : oldId;
    if (known == renaming.groups.end() && MakeRow(gszTableActionRuleMultiRule, id) != 0) {
        return -1;
    }
    renaming.groups[oldId] = id;
    rule.SetMultiRuleId(id);
    return 0;
}

int RestoreRule(ActionRule& rule, Renaming& renaming)
{
    int id = rule.GetId();
    if (RestoreGroup(rule, renaming) != 0 || RestoreEvents(rule, renaming) != 0 ||
        MakeRow(gszTableActionRule, id) != 0) {
        return -1;
    }
    rule.SetId(id);
    const std::string keys = IOKeys::AddEntrySql(CreateIOKeys(rule), id);
    return rule.Save() != 0 || (!keys.empty() && ruledb::Run(VX_RULE_HERE, keys) != 0) ? -1 : 0;
}

} // namespace

int RestoreActRules(std::list<ActionRule>& rules) noexcept
try {
    std::list<ActionRule> restored = rules;
    Renaming renaming;
    VxDB::Transaction transaction(VxDB::DB_SYSTEM);
    if (transaction.Begin() != 0) {
        return -1;
    }
    for (ActionRule& rule : restored) {
        if (RestoreRule(rule, renaming) != 0) {
            return -1;
        }
    }
    if (transaction.Commit() != 0) {
        return -1;
    }
    rules = std::move(restored);
    return 0;
} catch (const std::exception& error) {
    VX_LOG(LOG_CATEG_IO_MODULE, LOG_LEVEL_ERR, "Failed to restore rules [%s].\n", error.what());
    return -1;
}
