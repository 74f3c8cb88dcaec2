// SPDX-License-Identifier: Apache-2.0
// actionrule/actionrule.cpp - a rule as a row: loading, saving, JSON; the statements of rules.
#include "actionrule.h"

#include "ruledb_internal.h"
#include "rulefield_internal.h"
#include "vxlog.h"

/// Visits every column of a rule: visit(member, column).
struct ActionRuleFields {
    template <typename Rule, typename Visit>
    static void ForEach(Rule& rule, Visit visit)
    {
#define VX_FIELD(type, getter, setter, member, column, start) visit(rule.member, column);
#define VX_OWN(type, member, column, start) visit(rule.member, column);
        VX_ACTION_RULE_FIELDS(VX_FIELD, VX_OWN)
#undef VX_FIELD
#undef VX_OWN
    }
};

namespace {

std::string ReadEvents(const Json::Value& json, std::vector<ActionRuleEvent>& events)
{
    if (!json.isArray()) {
        return "field \"events\" is not an array";
    }
    for (const Json::Value& item : json) {
        std::string error;
        if (events.emplace_back().SetByJson(item, &error) != 0) {
            return "event " + std::to_string(events.size()) + ": " + error;
        }
    }
    return {};
}

} // namespace

// ---- statements

namespace {

int Execute(const ruledb::Place& place, const std::string& sql, ruledb::Rows* pRows) noexcept
{
    if (VxDB::Execute(VxDB::DB_SYSTEM, sql, pRows != nullptr ? pRows->Out() : nullptr) != 0) {
        VX_RULE_LOG_AT(place, "Failed to execute sql command [%s].\n", sql.c_str());
        return -1;
    }
    return 0;
}

} // namespace

int ruledb::Run(const Place& place, const std::string& sql) noexcept
{
    return Execute(place, sql, nullptr);
}

int ruledb::Run(const Place& place, const std::string& sql, Rows& rows) noexcept
{
    return Execute(place, sql, &rows);
}

int ruledb::InsertRow(const Place& place, const std::string& sql, int& id) noexcept
{
    Rows rows;
    unsigned int row = 0;
    if (Run(place, sql, rows) != 0) {
        return -1;
    }
    if (rows.Count() != 1) {
        VX_RULE_LOG_AT(place, "Failed to get result.\n");
        return -1;
    }
    if (!rows.Next(row)) {
        VX_RULE_LOG_AT(place, "Failed to get id.\n");
        return -1;
    }
    id = static_cast<int>(VxDB::FetchFieldAsNumber(rows.Get(), row, rulefield::ID_COLUMN));
    return 0;
}

// ---- password

std::string ActionRule::GetSealedPassword() const noexcept
try {
    std::string sealed = m_password.sealed;
    if (sealed.empty() && EncryptDBPasswd(m_password.plain, sealed) != 0) {
        sealed.clear(); // logged there
    }
    return sealed;
} catch (const std::exception& error) {
    VX_LOG(LOG_CATEG_IO_MODULE, LOG_LEVEL_ERR, "Rule [%d]: [%s].\n", m_id, error.what());
    return {};
}

int ActionRule::SetSealedPassword(const std::string& sealed) noexcept
try {
    RuleSecret taken{{}, sealed};
    if (DecryptDBPasswd(sealed, taken.plain) != 0) {
        return -1; // logged there
    }
    m_password = std::move(taken);
    return 0;
} catch (const std::exception& error) {
    VX_LOG(LOG_CATEG_IO_MODULE, LOG_LEVEL_ERR, "Rule [%d]: [%s].\n", m_id, error.what());
    return -1;
}

// ---- row

int ActionRule::Load(int id) noexcept
try {
    ruledb::Rows rows;
    unsigned int row = 0;
    const std::string sql =
        std::string("SELECT * FROM ") + gszTableActionRule + " WHERE " + "id = " + std::to_string(id);
    if (ruledb::Run(VX_RULE_HERE, sql, rows) != 0) {
        return -1;
    }
    if (!rows.Next(row)) {
        VX_LOG(LOG_CATEG_IO_MODULE, LOG_LEVEL_ERR, "Failed to get result.\n");
        return -1;
    }
    ActionRule loaded;
    const int result = loaded.PutRowIntoObj(rows.Get(), row);
    *this = std::move(loaded);
    return result;
} catch (const std::exception& error) {
    VX_LOG(LOG_CATEG_IO_MODULE, LOG_LEVEL_ERR, "Failed to load rule [%d]: [%s].\n", id, error.what());
    return -1;
}

int ActionRule::PutRowIntoObj(DBResult_tag* result, unsigned int row) noexcept
try {
    return ruledb::RuleReader(result).Read(*this, row);
} catch (const std::exception& error) {
    VX_LOG(LOG_CATEG_IO_MODULE, LOG_LEVEL_ERR, "Failed to read a rule [%s].\n", error.what());
    return -1;
}

struct ruledb::RuleReader::Columns : rulefield::RowReader<ActionRuleFields, ActionRule> {
    using RowReader::RowReader;
};

ruledb::RuleReader::RuleReader(DBResult_tag* result) : m_pColumns(std::make_unique<Columns>(result)) {}

ruledb::RuleReader::~RuleReader() = default;

int ruledb::RuleReader::Read(ActionRule& rule, unsigned int row)
{
    const auto broken = m_pColumns->Read(rule, row);
    for (const char* const column : broken) {
        VX_LOG(LOG_CATEG_IO_MODULE, LOG_LEVEL_ERR, "Rule [%d]: column [%s] is broken.\n", rule.GetId(),
               column);
    }
    rule.UpdateActAllDevIdSet();
    return broken.empty() ? 0 : -1;
}

std::string ActionRule::strSqlInsert() const
try {
    return rulefield::InsertSql<ActionRuleFields>(gszTableActionRule, *this);
} catch (const std::exception& error) {
    VX_LOG(LOG_CATEG_IO_MODULE, LOG_LEVEL_ERR, "Rule [%d] has no statement: %s.\n", m_id, error.what());
    return {};
}

std::string ActionRule::strSqlUpdate() const
try {
    return rulefield::UpdateSql<ActionRuleFields>(gszTableActionRule, *this);
} catch (const std::exception& error) {
    VX_LOG(LOG_CATEG_IO_MODULE, LOG_LEVEL_ERR, "Rule [%d] has no statement: %s.\n", m_id, error.what());
    return {};
}

int ActionRule::Save() noexcept
try {
    const std::string sql = GetSaveSql();
    if (sql.empty()) {
        return -1;
    }
    return m_id == -1 ? ruledb::InsertRow(VX_RULE_HERE, sql, m_id) : ruledb::Run(VX_RULE_HERE, sql);
} catch (const std::exception& error) {
    VX_LOG(LOG_CATEG_IO_MODULE, LOG_LEVEL_ERR, "Failed to save rule [%d]: [%s].\n", m_id, error.what());
    return -1;
}

// ---- JSON

Json::Value ActionRule::GetJson() const
{
    Json::Value json = rulefield::RecordToJson<ActionRuleFields>(*this);
    Json::Value& events = json["events"] = Json::Value(Json::arrayValue);
    for (const ActionRuleEvent& event : m_evtList) {
        events.append(event.GetJson());
    }
    return json;
}

int ActionRule::SetByJson(const Json::Value& json, std::string* pError) noexcept
try {
    ActionRule changed = *this;
    std::string error = rulefield::SetFields<ActionRuleFields>(changed, json, "a rule");
    if (error.empty() && json.isMember("events")) {
        std::vector<ActionRuleEvent> events;
        error = ReadEvents(json["events"], events);
        changed.m_evtList = std::move(events);
    }
    if (error.empty()) {
        changed.UpdateActAllDevIdSet();
        *this = std::move(changed);
        return 0;
    }
    VX_LOG(LOG_CATEG_IO_MODULE, LOG_LEVEL_ERR, "Failed to set rule [%d]: %s.\n", m_id, error.c_str());
    if (pError != nullptr) {
        *pError = error;
    }
    return -1;
} catch (const std::exception& error) {
    VX_LOG(LOG_CATEG_IO_MODULE, LOG_LEVEL_ERR, "Failed to set rule [%d]: [%s].\n", m_id, error.what());
    return -1;
}

// ---- several rows

int ActionRule::UpdateActRule(const std::set<int>& ids, const std::map<int, ActionRule>& rules) noexcept
try {
    std::string script;
    for (const auto& [id, rule] : rules) {
        if (ids.count(id) != 0) {
            const std::string sql = rule.strSqlUpdate();
            if (sql.empty()) {
                return -1;
            }
            script += sql;
        }
    }
    return script.empty() ? 0 : ruledb::Run(VX_RULE_HERE, script);
} catch (const std::exception& error) {
    VX_LOG(LOG_CATEG_IO_MODULE, LOG_LEVEL_ERR, "Failed to update rules [%s].\n", error.what());
    return -1;
}

int ActionRule::UpdateEventStatus(const std::set<int>& ids, int status) noexcept
try {
    if (ids.empty()) {
        return 0;
    }
    VxDB::SqlExpr sql;
    sql << "UPDATE " << gszTableActionRuleEvent << " SET evt_status = " << status << " WHERE "
        << VxDB::SqlExprAdapt::InImpl<VxDB::SqlExpr>("id", ids);
    return ruledb::Run(VX_RULE_HERE, sql.str());
} catch (const std::exception& error) {
    VX_LOG(LOG_CATEG_IO_MODULE, LOG_LEVEL_ERR, "Failed to update events [%s].\n", error.what());
    return -1;
}
