// SPDX-License-Identifier: Apache-2.0
// actionrule/actruleutils.cpp - listing, counting, saving and deleting rules with all that hangs on them.
#include "actruleutils.h"

#include <algorithm>
#include <string_view>

#include "actrulepredicates.h"
#include "package/camera.h"
#include "package/homemode.h"
#include "package/idtext.h"
#include "package/iokeys.h"
#include "package/userlog.h"
#include "ruledb_internal.h"
#include "rulefield_internal.h"
#include "vxdb.h"
#include "vxlog.h"

namespace {

using VxDB::SqlExpr;
using VxDB::SqlExprAdapt::InImpl;

int FieldInt(const ruledb::Rows& rows, unsigned int row, const char* column) noexcept
{
    return static_cast<int>(VxDB::FetchFieldAsNumber(rows.Get(), row, column));
}

void AttachEvents(ActionRule& rule, const std::map<int, ActionRuleEvent>& events)
{
    std::vector<ActionRuleEvent> list;
    for (const int id : ruledb::EventIdsOf(rule.GetMultiEvtIds())) {
        if (const auto found = events.find(id); found != events.end()) {
            list.push_back(found->second);
        }
    }
    rule.SetEvtList(std::move(list));
}

/// The cameras that there are, read when the first rule asks for every camera.
class Cameras {
public:
    void ExpandDevices(ActionRule& rule)
    {
        const bool isAsked = rule.IsAllCamEvt() || rule.IsAllCamAct();
        if (isAsked && !m_isRead) {
            m_isRead = true;
            static_cast<void>(GetAllCameraIds(m_ids)); // logged there; without cameras "every" means none
        }
        rule.UpdateAllCamIdSetByGivenData(isAsked ? m_ids : m_none);
    }

private:
    bool m_isRead = false;
    std::set<int> m_ids;
    const std::set<int> m_none{};
};

/// What goes when rules go.
struct DeletionPlan {
    std::set<int> ruleIds;
    std::set<int> multiRuleIds;
    std::set<int> eventIds;
};

DeletionPlan PlanDeletion(const std::list<ActionRule>& rules)
{
    DeletionPlan plan;
    for (const ActionRule& rule : rules) {
        plan.ruleIds.insert(rule.GetId());
        plan.multiRuleIds.insert(rule.GetMultiRuleId());
        const std::vector<int> ids = ruledb::EventIdsOf(rule.GetMultiEvtIds());
        plan.eventIds.insert(ids.begin(), ids.end());
    }
    return plan;
}

/// Takes out of the plan the events that a result's rows name under "multi_evt_ids".
void KeepEvents(const ruledb::Rows& rows, unsigned int row, DeletionPlan& plan)
{
    for (const int id : ruledb::EventIdsOf(VxDB::FetchFieldText(rows.Get(), row, "multi_evt_ids"))) {
        plan.eventIds.erase(id);
    }
}

/// The same for all rules of some groups: the rules of a group may have been given events of their own.
int KeepEventsOf(const ruledb::Place& place, const std::set<int>& multiRuleIds, DeletionPlan& plan)
{
    SqlExpr sql;
    sql << "SELECT multi_evt_ids FROM " << gszTableActionRule << " WHERE "
        << InImpl<SqlExpr>("multi_rule_id", multiRuleIds);
    ruledb::Rows rows;
    if (ruledb::Run(place, sql.str(), rows) != 0) {
        return -1;
    }
    for (unsigned int row = 0; rows.Next(row);) {
        KeepEvents(rows, row, plan);
    }
    return 0;
}

/// Takes out of the plan what rules that stay still use.
int KeepWhatIsUsed(const ruledb::Place& place, DeletionPlan& plan)
{
    SqlExpr sql;
    sql << "SELECT COUNT(*) as count, multi_rule_id, multi_evt_ids FROM " << gszTableActionRule << " WHERE "
        << InImpl<SqlExpr>("multi_rule_id", plan.multiRuleIds) << " GROUP BY multi_rule_id;";
    ruledb::Rows rows;
    if (ruledb::Run(place, sql.str(), rows) != 0) {
        return -1;
    }
    std::set<int> largeGroups; // of their rules the row above shows one
    for (unsigned int row = 0; rows.Next(row);) {
        const int multiRuleId = FieldInt(rows, row, "multi_rule_id");
        plan.multiRuleIds.erase(multiRuleId);
        KeepEvents(rows, row, plan);
        if (FieldInt(rows, row, "count") > 1) {
            largeGroups.insert(multiRuleId);
        }
    }
    return largeGroups.empty() ? 0 : KeepEventsOf(place, largeGroups, plan);
}

int RemoveIOKeys(const std::list<ActionRule>& rules)
{
    for (const ActionRule& rule : rules) {
        if (IOKeys::RemoveEntryId(CreateIOKeys(rule), rule.GetId()) != 0) {
            return -1;
        }
    }
    return 0;
}

void LogDeletion(const std::list<ActionRule>& rules, const std::string& userName)
{
    std::vector<UserLogEntry> entries;
    for (const ActionRule& rule : rules) {
        entries.push_back({Vx_LOG_ID_RULE_DELETED,
                           Vx_LOG_LEVEL_INFO,
                           userName,
                           {userName, std::to_string(rule.GetId()), rule.GetName()}});
    }
    if (VxLog(entries) != 0) {
        VX_LOG(LOG_CATEG_IO_MODULE, LOG_LEVEL_NOTICE, "The user log lacks [%zu] deleted rules.\n",
               entries.size());
    }
}

bool ApplyChange(ActionRule& rule, const ActRuleStateChange& change)
{
    bool isChanged = false;
    const auto apply = [&isChanged](const auto& now, const auto& wanted, auto set) {
        if (wanted && now != *wanted) {
            set(*wanted);
            isChanged = true;
        }
    };
    apply(rule.IsEnabled(), change.enabled, [&](bool value) { rule.SetEnabled(value); });
    apply(rule.GetActItemId(), change.actItemId, [&](int value) { rule.SetActItemId(value); });
    apply(rule.GetActRetPos(), change.actRetPos, [&](int value) { rule.SetActRetPos(value); });
    if (change.deviceId) {
        const auto before = rule.GetMultiStatus();
        rule.SetStatus(*change.deviceId, change.setBits);
        rule.ClearStatus(*change.deviceId, change.clearBits);
        isChanged = isChanged || rule.GetMultiStatus() != before;
    }
    return isChanged;
}

} // namespace

// ---- what several operations do

std::vector<int> ruledb::EventIdsOf(std::string_view text)
{
    std::vector<int> ids;
    if (StringToIdVector(text, ids) != 0) {
        VX_LOG(LOG_CATEG_IO_MODULE, LOG_LEVEL_ERR, "Broken event ids [%.*s].\n",
               static_cast<int>(text.size()), text.data());
    }
    return ids;
}

int ruledb::ListRules(const Place& place, const ActRuleFilterRule& filter, std::list<ActionRule>& rules)
{
    std::string where;
    std::map<int, ActionRuleEvent> events;
    ruledb::Rows rows;
    if (filter.GetWhereStr(where) != 0 ||
        ruledb::Run(place, std::string("SELECT * FROM ") + gszTableActionRule + where + " ORDER BY id",
                    rows) != 0 ||
        GetActionRuleEvtMap(events) != 0) {
        return -1;
    }
    Cameras cameras;
    ruledb::RuleReader reader(rows.Get());
    std::list<ActionRule> found;
    for (unsigned int row = 0; rows.Next(row);) {
        ActionRule& rule = found.emplace_back();
        reader.Read(rule, row); // what is broken is logged; the rest of it counts
        AttachEvents(rule, events);
        cameras.ExpandDevices(rule);
    }
    rules = std::move(found);
    return 0;
}

int ruledb::DeleteIds(const Place& place, const char* table, const std::set<int>& ids)
{
    SqlExpr sql;
    sql << "DELETE FROM " << table << " WHERE " << InImpl<SqlExpr>("id", ids);
    return ruledb::Run(place, sql.str());
}

// ---- groups and events

int GetNewMultiRuleId() noexcept
try {
    ruledb::Rows rows;
    unsigned int row = 0;
    const std::string sql = std::string("INSERT INTO ") + gszTableActionRuleMultiRule + " DEFAULT VALUES;" +
                            VxDB::GetReturnIdStatement();
    if (VxDB::Execute(VxDB::DB_SYSTEM, sql, rows.Out()) != 0 || !rows.Next(row)) {
        VX_LOG(LOG_CATEG_IO_MODULE, LOG_LEVEL_ERR, "Failed to get actionrule multi action id\n");
        return 0;
    }
    return FieldInt(rows, row, "id");
} catch (const std::exception&) {
    VX_LOG(LOG_CATEG_IO_MODULE, LOG_LEVEL_ERR, "Failed to get actionrule multi action id\n");
    return 0;
}

int SaveMultiEvtAndGetIds(std::vector<ActionRuleEvent>& newEvents,
                          const std::vector<ActionRuleEvent>& oldEvents, std::string& idsText) noexcept
try {
    return ruledb::StoreEvents(VX_RULE_HERE, newEvents, oldEvents, {}, idsText);
} catch (const std::exception& error) {
    VX_LOG(LOG_CATEG_IO_MODULE, LOG_LEVEL_ERR, "Failed to save events [%s].\n", error.what());
    return -1;
}

int GetActionRuleEvtMap(std::map<int, ActionRuleEvent>& events) noexcept
try {
    ruledb::Rows rows;
    if (ruledb::Run(VX_RULE_HERE, std::string("SELECT * FROM ") + gszTableActionRuleEvent, rows) != 0) {
        return -1;
    }
    ruledb::EventReader reader(rows.Get());
    std::map<int, ActionRuleEvent> found;
    for (unsigned int row = 0; rows.Next(row);) {
        ActionRuleEvent event;
        reader.Read(event, row); // what is broken is logged; the rest of it counts
        found.emplace_hint(found.end(), event.GetId(), std::move(event));
    }
    events = std::move(found);
    return 0;
} catch (const std::exception& error) {
    VX_LOG(LOG_CATEG_IO_MODULE, LOG_LEVEL_ERR, "Failed to list events [%s].\n", error.what());
    return -1;
}

// ---- listing and counting

std::list<ActionRule> GetActRuleByFilter(const ActRuleFilterRule& filter) noexcept
try {
    std::list<ActionRule> rules;
    static_cast<void>(
        ruledb::ListRules(VX_RULE_HERE, filter, rules)); // logged there; an empty list tells the caller
    return rules;
} catch (const std::exception& error) {
    VX_LOG(LOG_CATEG_IO_MODULE, LOG_LEVEL_ERR, "Failed to list rules [%s].\n", error.what());
    return {};
}

std::map<int, ActionRule> GetActRuleMapByFilter(const ActRuleFilterRule& filter) noexcept
try {
    std::map<int, ActionRule> map;
    for (ActionRule& rule : GetActRuleByFilter(filter)) {
        const int id = rule.GetId();
        map.emplace_hint(map.end(), id, std::move(rule));
    }
    return map;
} catch (const std::exception& error) {
    VX_LOG(LOG_CATEG_IO_MODULE, LOG_LEVEL_ERR, "Failed to list rules [%s].\n", error.what());
    return {};
}

std::string GetActRuleCntSql(const ActRuleFilterRule& filter) noexcept
try {
    std::string where;
    if (filter.GetWhereStr(where) != 0) {
        return {};
    }
    return std::string("SELECT COUNT(*) AS count, multi_rule_id, id, multi_evt_ids FROM ") +
           gszTableActionRule + where;
} catch (const std::exception& error) {
    VX_LOG(LOG_CATEG_IO_MODULE, LOG_LEVEL_ERR, "Failed to count rules [%s].\n", error.what());
    return {};
}

Json::Value GetActRuleCnt(bool onlyEnabled) noexcept
try {
    std::map<int, Json::Value> actionsOf;
    for (const ActionRule& rule : GetActRuleByFilter(ActRuleFilterRule())) {
        if (rule.IsCurrentlyVisible() && (!onlyEnabled || rule.IsEnabled())) {
            actionsOf[rule.GetMultiRuleId()].append(rule.GetJson());
        }
    }
    Json::Value groups(Json::arrayValue);
    for (auto& [multiRuleId, actions] : actionsOf) {
        Json::Value& group = groups.append(Json::Value(Json::objectValue));
        group["multi_rule_id"] = multiRuleId;
        group["actions"].swap(actions);
    }
    return groups;
} catch (const std::exception& error) {
    VX_LOG(LOG_CATEG_IO_MODULE, LOG_LEVEL_ERR, "Failed to count rules [%s].\n", error.what());
    return {};
}

// ---- saving

int ActionRule::SaveActRuleSt(const ActRuleFilterRule& filter, const ActRuleStateChange& change,
                              const std::string& userName) noexcept
try {
    std::list<ActionRule> rules;
    if (ruledb::ListRules(VX_RULE_HERE, filter, rules) != 0) {
        return -1;
    }
    for (ActionRule& rule : rules) {
        const ActionRule before = rule;
        if (!ApplyChange(rule, change)) {
            continue;
        }
        VxDB::Transaction transaction(VxDB::DB_SYSTEM);
        if (transaction.Begin() != 0 || rule.Save() != 0 ||
            ruledb::ChangeIOKeys(VX_RULE_HERE, before, rule) != 0 || transaction.Commit() != 0) {
            return -1;
        }
        static_cast<void>(
            VxLog({{Vx_LOG_ID_RULE_CHANGED,
                    Vx_LOG_LEVEL_INFO,
                    userName,
                    {userName, std::to_string(rule.GetId()), rule.GetName()}}})); // logged there
    }
    return 0;
} catch (const std::exception& error) {
    VX_LOG(LOG_CATEG_IO_MODULE, LOG_LEVEL_ERR, "Failed to change rules [%s].\n", error.what());
    return -1;
}

// ---- deleting

int DelActRuleByFilter(const ActRuleFilterRule& filter, const std::string& userName) noexcept
try {
    std::string where;
    std::list<ActionRule> rules;
    VxDB::Transaction transaction(VxDB::DB_SYSTEM);
    if (filter.GetWhereStr(where) != 0 || transaction.Begin() != 0 ||
        ruledb::ListRules(VX_RULE_HERE, filter, rules) != 0) {
        return -1;
    }
    if (rules.empty()) {
        return transaction.Commit();
    }
    DeletionPlan plan = PlanDeletion(rules);
    if (RemoveIOKeys(rules) != 0 ||
        ruledb::Run(VX_RULE_HERE, std::string("DELETE FROM ") + gszTableActionRule + where) != 0 ||
        KeepWhatIsUsed(VX_RULE_HERE, plan) != 0 ||
        ruledb::DeleteIds(VX_RULE_HERE, gszTableActionRuleMultiRule, plan.multiRuleIds) != 0 ||
        ruledb::DeleteIds(VX_RULE_HERE, gszTableActionRuleEvent, plan.eventIds) != 0 ||
        HomeModeSetting::UpdateWhenDeleteItems(HomeModeItem::ACTION_RULE, plan.ruleIds) != 0 ||
        transaction.Commit() != 0) {
        return -1;
    }
    LogDeletion(rules, userName);
    return 0;
} catch (const std::exception& error) {
    VX_LOG(LOG_CATEG_IO_MODULE, LOG_LEVEL_ERR, "Failed to delete rules [%s].\n", error.what());
    return -1;
}

// ---- telling

void NotifyActRuleUpdate(const std::string& ids, UPDATE_TYPE type) noexcept
try {
    std::list<int> list;
    if (ids.empty()) {
        return;
    }
    if (StringToIdList(ids, list) != 0) {
        VX_LOG(LOG_CATEG_IO_MODULE, LOG_LEVEL_ERR, "Broken rule ids [%s].\n", ids.c_str());
        return;
    }
    NotifyActRuleUpdate(list, type);
} catch (const std::exception& error) {
    VX_LOG(LOG_CATEG_IO_MODULE, LOG_LEVEL_ERR, "Failed to tell of changed rules [%s].\n", error.what());
}

void NotifyActRuleUpdate(const std::list<int>& ids, UPDATE_TYPE type) noexcept
{
    SendUpdateMsgToMsgD(MSGD_KIND_ACTION_RULE, ids, type, 0, "", {});
}

void NotifyActRuleUpdate(int id, UPDATE_TYPE type) noexcept
try {
    NotifyActRuleUpdate(std::list<int>{id}, type);
} catch (const std::exception& error) {
    VX_LOG(LOG_CATEG_IO_MODULE, LOG_LEVEL_ERR, "Failed to tell of a changed rule [%s].\n", error.what());
}

// ---- upgrade

int ActRuleUpgrade::UpdateActRuleMultiActId() noexcept
try {
    ruledb::Rows rows;
    unsigned int row = 0;
    std::string sql = std::string("SELECT multi_rule_id FROM ") + gszTableActionRule + " LIMIT 1;";
    const bool isRead = VxDB::Execute(VxDB::DB_SYSTEM, sql, rows.Out()) == 0;
    if (isRead && rows.Next(row) && FieldInt(rows, row, "multi_rule_id") != 0) {
        return 0;
    }
    if (isRead) {
        sql = std::string("UPDATE ") + gszTableActionRule + " SET multi_rule_id = id;" + "INSERT INTO " +
              gszTableActionRuleMultiRule + " SELECT id FROM actionrule;";
    }
    if (!isRead || VxDB::Execute(VxDB::DB_SYSTEM, sql) != 0) {
        VX_LOG(LOG_CATEG_IO_MODULE, LOG_LEVEL_ERR, "Failed to execute sql [%s].\n", sql.c_str());
        return -1;
    }
    return 0;
} catch (const std::exception& error) {
    VX_LOG(LOG_CATEG_IO_MODULE, LOG_LEVEL_ERR, "Failed to upgrade rules [%s].\n", error.what());
    return -1;
}
