// SPDX-License-Identifier: Apache-2.0
// actionrule/actrulehistory.cpp - the history of what fired, on its table.
#include "actrulehistory.h"

#include "package/db.h"
#include "package/idtext.h"
#include "package/monoclock.h"
#include "ruledb_internal.h"
#include "vxdb.h"
#include "vxlog.h"

namespace {

constexpr VxDB::DB_INSTANCE HISTORY_DB = VxDB::DB_LOG;

Vx_LOG_LEVEL LevelOf(RULE_ACT_STATUS status) noexcept
{
    switch (static_cast<int>(status)) {
    case 3:
        return Vx_LOG_LEVEL_ERR;
    case 2:
    case 4:
        return Vx_LOG_LEVEL_WARN;
    default:
        return Vx_LOG_LEVEL_INFO;
    }
}

int Change(const ruledb::Place& place, const std::string& sql) noexcept
{
    if (VxDB::Execute(HISTORY_DB, sql) != 0) {
        VX_RULE_LOG_AT(place, "Failed to execute sql command [%s].\n", sql.c_str());
        return -1;
    }
    return 0;
}

int Read(const ruledb::Place& place, const std::string& sql, ruledb::Rows& rows) noexcept
{
    if (VxDB::Execute(HISTORY_DB, sql, rows.Out()) != 0) {
        VX_RULE_LOG_AT(place, "Failed to executed sql command [%s].\n", sql.c_str());
        return -1;
    }
    return 0;
}

} // namespace

RuleHistory::RuleHistory(const ActionRule& rule, RULE_ACT_STATUS status)
    : m_level(LevelOf(status)), m_timestamp(GetWallTimeSec()), m_ruleName(rule.GetName()),
      m_ruleType(rule.GetRuleType()), m_actStat(status)
{}

void RuleHistory::PutRowIntoObj(DBResult_tag* result, unsigned int row)
{
    const std::string_view name = VxDB::FetchFieldText(result, row, "rule_name");
    m_id = static_cast<int>(VxDB::FetchFieldAsNumber(result, row, "id"));
    m_level = static_cast<Vx_LOG_LEVEL>(VxDB::FetchFieldAsNumber(result, row, "level"));
    m_timestamp = static_cast<std::time_t>(VxDB::FetchFieldAsNumber(result, row, "timestamp"));
    m_ruleName.assign(name.data() != nullptr ? name : std::string_view());
    m_ruleType = static_cast<VxRULE_TYPE>(VxDB::FetchFieldAsNumber(result, row, "rule_type"));
    m_actStat = static_cast<RULE_ACT_STATUS>(VxDB::FetchFieldAsNumber(result, row, "act_status"));
}

std::string RuleHistory::strSqlInsert() const
{
    VxDB::SqlBuilder::Insert insert(gszTableActRuleHistory);
    insert.Field("level", static_cast<int>(m_level));
    insert.Field("timestamp", static_cast<long long>(m_timestamp));
    insert.Field("rule_name", VxDB::Value(m_ruleName));
    insert.Field("rule_type", static_cast<int>(m_ruleType));
    insert.Field("act_status", static_cast<int>(m_actStat));
    insert.m_returning << "id";
    return insert.Expr().str();
}

int RuleHistory::Save() noexcept
try {
    ruledb::Rows rows;
    unsigned int row = 0;
    const std::string sql = strSqlInsert();
    if (VxDB::Execute(HISTORY_DB, sql, rows.Out()) != 0) {
        VX_LOG(LOG_CATEG_IO_MODULE, LOG_LEVEL_ERR, "Failed to execute sql command [%s].\n", sql.c_str());
        return -1;
    }
    if (!rows.Next(row)) {
        VX_LOG(LOG_CATEG_IO_MODULE, LOG_LEVEL_ERR, "Failed to get result [%s].\n", sql.c_str());
        return -1;
    }
    m_id = static_cast<int>(VxDB::FetchFieldAsNumber(rows.Get(), row, "id"));
    return 0;
} catch (const std::exception& error) {
    VX_LOG(LOG_CATEG_IO_MODULE, LOG_LEVEL_ERR, "Failed to save a line of history [%s].\n", error.what());
    return -1;
}

std::string RuleHistory::strSqlDelete() const
{
    return std::string("DELETE FROM ") + gszTableActRuleHistory + " WHERE " + "id = " + std::to_string(m_id);
}

int RuleHistory::Delete() noexcept
try {
    return Change(VX_RULE_HERE, strSqlDelete());
} catch (const std::exception& error) {
    VX_LOG(LOG_CATEG_IO_MODULE, LOG_LEVEL_ERR, "Failed to delete a line of history [%s].\n", error.what());
    return -1;
}

std::string RuleHistoryFilterRule::GetSqlStr() const
{
    if (limit < 1) {
        return {};
    }
    return " LIMIT " + std::to_string(limit) + (offset >= 1 ? " OFFSET " + std::to_string(offset) : "");
}

std::string RuleHistoryFilterRule::GetWhereSqlStr() const
{
    VxDB::SqlExpr where;
    const char* lead = " WHERE ";
    if (!ids.empty()) {
        where << lead << VxDB::SqlExprAdapt::InImpl<VxDB::SqlExpr>("id", ids);
        lead = " AND ";
    }
    if (timestamp != 0) {
        where << lead << "timestamp <= " << static_cast<long long>(timestamp);
    }
    return where.str();
}

int WriteRuleHistory(std::list<RuleHistory>& list) noexcept
try {
    std::string script;
    for (const RuleHistory& history : list) {
        script += history.GetSqlInsertCmd();
    }
    return script.empty() ? 0 : Change(VX_RULE_HERE, script);
} catch (const std::exception& error) {
    VX_LOG(LOG_CATEG_IO_MODULE, LOG_LEVEL_ERR, "Failed to write history [%s].\n", error.what());
    return -1;
}

int GetAllRuleHistoryCnt() noexcept
try {
    ruledb::Rows rows;
    unsigned int row = 0;
    const std::string sql = std::string("SELECT COUNT(*) AS count FROM ") + gszTableActRuleHistory + ";";
    if (Read(VX_RULE_HERE, sql, rows) != 0) {
        return -1;
    }
    return rows.Next(row) ? static_cast<int>(VxDB::FetchFieldAsNumber(rows.Get(), row, "count")) : 0;
} catch (const std::exception& error) {
    VX_LOG(LOG_CATEG_IO_MODULE, LOG_LEVEL_ERR, "Failed to count history [%s].\n", error.what());
    return -1;
}

std::list<RuleHistory> GetAllRuleHistory(const RuleHistoryFilterRule& filter) noexcept
try {
    ruledb::Rows rows;
    std::list<RuleHistory> list;
    const std::string sql = std::string("SELECT * FROM ") + gszTableActRuleHistory +
                            " ORDER BY timestamp DESC, " + "id DESC" + filter.GetSqlStr();
    if (Read(VX_RULE_HERE, sql, rows) != 0) {
        return list;
    }
    for (unsigned int row = 0; rows.Next(row);) {
        list.emplace_back().PutRowIntoObj(rows.Get(), row);
    }
    return list;
} catch (const std::exception& error) {
    VX_LOG(LOG_CATEG_IO_MODULE, LOG_LEVEL_ERR, "Failed to list history [%s].\n", error.what());
    return {};
}

int DelRuleHistoryByFileter(const RuleHistoryFilterRule& filter) noexcept
try {
    const std::string sql = std::string("DELETE FROM ") + gszTableActRuleHistory + filter.GetWhereSqlStr();
    return Change(VX_RULE_HERE, sql);
} catch (const std::exception& error) {
    VX_LOG(LOG_CATEG_IO_MODULE, LOG_LEVEL_ERR, "Failed to delete history [%s].\n", error.what());
    return -1;
}

int DeleteRuleHistory(const std::string& ids) noexcept
try {
    RuleHistoryFilterRule filter;
    if (StringToIdList(ids, filter.ids) != 0) {
        VX_LOG(LOG_CATEG_IO_MODULE, LOG_LEVEL_ERR, "Broken history ids [%s].\n", ids.c_str());
        return -1;
    }
    return DelRuleHistoryByFileter(filter);
} catch (const std::exception& error) {
    VX_LOG(LOG_CATEG_IO_MODULE, LOG_LEVEL_ERR, "Failed to delete history [%s].\n", error.what());
    return -1;
}
