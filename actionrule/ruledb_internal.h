// SPDX-License-Identifier: Apache-2.0
// actionrule/ruledb_internal.h - running the statements of rules: one place for their messages. Never
// installed.
#pragma once

#include <list>
#include <memory>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "actionrule.h"
#include "package/dbrows.h"
#include "vxlog.h"

namespace ruledb {

using VxDB::Rows;

/// Whom a line of the log names: the caller, not the helper that runs its statement.
struct Place {
    const char* file;
    int line;
    const char* func;
};
#define VX_RULE_HERE (ruledb::Place{VX_LOG_FILE, __LINE__, __func__})

/// The logging step for a failure, under the names of a place.
#define VX_RULE_LOG_AT(place, ...)                                                                           \
    do {                                                                                                     \
        if (VxLogWanted(LOG_CATEG_IO_MODULE, LOG_LEVEL_ERR)) {                                               \
            const ErrnoKeeper errnoKeeper;                                                                   \
            VxPrintf(0, Enum2String<LOG_CATEG>(LOG_CATEG_IO_MODULE), Enum2String<LOG_LEVEL>(LOG_LEVEL_ERR),  \
                     (place).file, (place).line, (place).func, __VA_ARGS__);                                 \
        }                                                                                                    \
    } while (false)

/// Runs a statement, or several in one transaction, on the database of the rules.
///
/// @return 0; -1, logged as "Failed to execute sql command [%s].\n"
[[nodiscard]] int Run(const Place& place, const std::string& sql) noexcept;
[[nodiscard]] int Run(const Place& place, const std::string& sql, Rows& rows) noexcept;

/// Runs an INSERT that returns one row with the new "id".
///
/// @return 0 and `id` is set; -1 (logged) and it is unchanged.
[[nodiscard]] int InsertRow(const Place& place, const std::string& sql, int& id) noexcept;

/// Runs "DELETE FROM table WHERE id IN ids".
///
/// @return 0; -1 (logged).
[[nodiscard]] int DeleteIds(const Place& place, const char* table, const std::set<int>& ids);

/// The ids of a rule's events; a broken list is logged and names none.
std::vector<int> EventIdsOf(std::string_view text);

/// The rules that a filter means, as GetActRuleByFilter() lists them.
///
/// @return 0; -1 (logged), and `rules` is as it was.
[[nodiscard]] int ListRules(const Place& place, const ActRuleFilterRule& filter,
                            std::list<ActionRule>& rules);

/// What SaveMultiEvtAndGetIds() does. @param usedIds  old events that stay in any case: others use them
[[nodiscard]] int StoreEvents(const Place& place, std::vector<ActionRuleEvent>& newEvents,
                              const std::vector<ActionRuleEvent>& oldEvents, const std::set<int>& usedIds,
                              std::string& idsText);

/// Replaces the ports that the stored rule uses by those that the edited one does.
///
/// @return 0; -1 (logged).
[[nodiscard]] int ChangeIOKeys(const Place& place, const ActionRule& stored, const ActionRule& edited);

/// Reads the rows of one result as PutRowIntoObj() does.
class RuleReader {
public:
    explicit RuleReader(DBResult_tag* result);
    ~RuleReader();
    RuleReader(const RuleReader&) = delete;
    RuleReader& operator=(const RuleReader&) = delete;
    int Read(ActionRule& rule, unsigned int row);

private:
    struct Columns;
    std::unique_ptr<Columns> m_pColumns;
};
class EventReader {
public:
    explicit EventReader(DBResult_tag* result);
    ~EventReader();
    EventReader(const EventReader&) = delete;
    EventReader& operator=(const EventReader&) = delete;
    int Read(ActionRuleEvent& event, unsigned int row);

private:
    struct Columns;
    std::unique_ptr<Columns> m_pColumns;
};

} // namespace ruledb
