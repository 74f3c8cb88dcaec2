// SPDX-License-Identifier: Apache-2.0
// actrulehistory.h - what fired: one line for each change of state of a rule's action.
//
// Functions run their statements on the caller's thread and log what fails with the statement (category 28);
// they may be called from any thread.
#pragma once

#include <cstdint>
#include <ctime>
#include <list>
#include <string>

#include "actionrule.h"
#include "package/export.h"
#include "package/userlog.h"

struct DBResult_tag;

/// One line of the history. The name is the rule's at that moment; renaming the rule does not change it.
class VX_API RuleHistory {
public:
    RuleHistory() noexcept = default;
    /// The line for a rule that reaches a state now. Status 3 is an error, 2 and 4 are warnings.
    RuleHistory(const ActionRule& rule, RULE_ACT_STATUS status);

    int GetId() const noexcept { return m_id; }
    void SetId(int id) noexcept { m_id = id; }
    Vx_LOG_LEVEL GetLevel() const noexcept { return m_level; }
    void SetLevel(Vx_LOG_LEVEL level) noexcept { m_level = level; }
    std::time_t GetTimeStamp() const noexcept { return m_timestamp; }
    void SetTimeStamp(std::time_t timestamp) noexcept { m_timestamp = timestamp; }
    const std::string& GetRuleName() const noexcept { return m_ruleName; }
    void SetRuleName(const std::string& name) { m_ruleName = name; }
    VxRULE_TYPE GetRuleType() const noexcept { return m_ruleType; }
    void SetRuleType(VxRULE_TYPE type) noexcept { m_ruleType = type; }
    RULE_ACT_STATUS GetActStat() const noexcept { return m_actStat; }
    void SetActStat(RULE_ACT_STATUS status) noexcept { m_actStat = status; }

    /// Reads one row; NULL is 0.
    void PutRowIntoObj(DBResult_tag* result, unsigned int row);

    /// The statement that inserts the line and returns its "id"; the id column is left to the database.
    std::string strSqlInsert() const;
    std::string GetSqlInsertCmd() const { return strSqlInsert(); }
    /// Inserts the line and takes its id. @return 0; -1 (logged), the id is as it was.
    [[nodiscard]] int Save() noexcept;
    std::string strSqlDelete() const;
    /// @return 0, also when there is no such line; -1 (logged).
    [[nodiscard]] int Delete() noexcept;

private:
    int m_id = -1;
    Vx_LOG_LEVEL m_level = Vx_LOG_LEVEL_INFO;
    std::time_t m_timestamp = 0;
    std::string m_ruleName;
    VxRULE_TYPE m_ruleType = VxRULE_TYPE_TRIGGERED;
    RULE_ACT_STATUS m_actStat = RULE_ACT_STATUS_IDLE;
};

/// Which lines are meant. For listing, offset and limit count; for deleting, ids and time bound.
struct VX_API RuleHistoryFilterRule {
    int offset = 0;             ///< lines to skip; without a limit it does not count
    int limit = 0;              ///< lines at most; below 1: all
    std::list<int> ids;         ///< empty: any
    std::int64_t timestamp = 0; ///< not after, seconds since 1970-01-01 UTC; 0: any

    /// " LIMIT n", with " OFFSET n" behind it; empty without a limit.
    std::string GetSqlStr() const;
    /// " WHERE ..."; empty when nothing is set, which means every line.
    std::string GetWhereSqlStr() const;
};

/// Inserts lines as one batch: all of them, or none. Nothing to do for an empty list.
///
/// @return 0; -1 (logged).
[[nodiscard]] VX_API int WriteRuleHistory(std::list<RuleHistory>& list) noexcept;

/// How many lines there are. @return -1 (logged) on failure.
VX_API int GetAllRuleHistoryCnt() noexcept;

/// A page of the history, newest first; of equal times the higher id first.
///
/// @return empty also on failure (logged).
VX_API std::list<RuleHistory> GetAllRuleHistory(const RuleHistoryFilterRule& filter) noexcept;

/// Deletes the lines that a filter means. One that sets nothing deletes the whole history, by design.
///
/// @return 0; -1 (logged): nothing is deleted.
[[nodiscard]] VX_API int DelRuleHistoryByFileter(const RuleHistoryFilterRule& filter) noexcept;

/// Deletes the lines with these ids, joined by commas. A text without ids is a filter that sets nothing: the
/// whole history goes.
///
/// @return 0; -1 (logged), also for a broken text: nothing is deleted.
[[nodiscard]] VX_API int DeleteRuleHistory(const std::string& ids) noexcept;
