// SPDX-License-Identifier: Apache-2.0
// tests/actionrule/actrulehistory_test.cpp - the history on its real table.
#include "actrulehistory.h"

#include "support/fake_clock.h"
#include "support/log_capture.h"
#include "support/sql.h"
#include "support/temp_root.h"

namespace {

class ActRuleHistoryTest : public ::testing::Test {
protected:
    /// Writes one line at a time; the clock stays there.
    static int Write(const std::string& name, std::time_t time,
                     RULE_ACT_STATUS status = RULE_ACT_STATUS_STARTED)
    {
        ActionRule rule;
        rule.SetName(name);
        g_fakeWallSec = time;
        RuleHistory history(rule, status);
        EXPECT_EQ(history.Save(), 0);
        return history.GetId();
    }
    static std::string Names(const RuleHistoryFilterRule& filter)
    {
        std::string names;
        for (const RuleHistory& history : GetAllRuleHistory(filter)) {
            names += history.GetRuleName();
        }
        return names;
    }

    TempRoot m_root;
};

} // namespace

// Catches: an order that changes between pages, a page that overlaps the next, a name that is changed.
TEST_F(ActRuleHistoryTest, NewestFirstInPages)
{
    Write("a", 100);
    Write("b", 300);
    Write("c", 200);
    Write("d", 300); // same time as b, later id
    Write("o'e", 50);
    EXPECT_EQ(Names({}), "dbcao'e");
    EXPECT_EQ(Names({0, 2, {}, 0}), "db");
    EXPECT_EQ(Names({2, 2, {}, 0}), "ca");
    EXPECT_EQ(Names({10, 0, {}, 0}), "dbcao'e"); // without a limit the offset does not count
    EXPECT_EQ(GetAllRuleHistoryCnt(), 5);
    // An index gives the order: nothing is sorted.
    const std::string plan =
        Sql("EXPLAIN QUERY PLAN SELECT * FROM actionrule_history ORDER BY timestamp DESC, id DESC LIMIT 50",
            VxDB::DB_LOG);
    EXPECT_TRUE(plan.ends_with("/SCAN actionrule_history USING INDEX actionrule_history_timestamp")) << plan;
}

// Catches: a severity that does not follow the state.
TEST_F(ActRuleHistoryTest, LevelFollowsTheState)
{
    const int levels[] = {1, 1, 2, 3, 2, 1};
    for (int status = 0; status <= 5; ++status) {
        const RuleHistory history(ActionRule(), static_cast<RULE_ACT_STATUS>(status));
        EXPECT_EQ(history.GetLevel(), levels[status]) << status;
    }
}

// Catches: a deletion that takes more or less than it names; a broken list that means everything.
TEST_F(ActRuleHistoryTest, DeletionTakesWhatItNames)
{
    const int first = Write("a", 100);
    Write("b", 200);
    const int third = Write("c", 300);
    Write("d", 400);
    EXPECT_EQ(DeleteRuleHistory(std::to_string(first) + "," + std::to_string(third)), 0);
    EXPECT_EQ(Names({}), "db");
    EXPECT_EQ(DeleteRuleHistory("1,x"), -1);
    EXPECT_EQ(Names({}), "db");
    EXPECT_EQ(DelRuleHistoryByFileter({0, 0, {}, 200}), 0); // the bound itself goes too
    EXPECT_EQ(Names({}), "d");
    EXPECT_EQ(DelRuleHistoryByFileter({0, 0, {first}, 900}), 0); // both conditions
    EXPECT_EQ(Names({}), "d");
    EXPECT_EQ(DelRuleHistoryByFileter({}), 0);
    EXPECT_EQ(GetAllRuleHistoryCnt(), 0);
    Write("e", 500);
    EXPECT_EQ(DeleteRuleHistory(""), 0); // no id is no condition
    EXPECT_EQ(GetAllRuleHistoryCnt(), 0);
}

// Catches: texts of the statements that drift, and half a batch after one bad line.
TEST_F(ActRuleHistoryTest, StatementsToTheLetterAndFailuresTold)
{
    EXPECT_EQ(RuleHistoryFilterRule({10, 0, {}, 0}).GetSqlStr(), "");
    EXPECT_EQ(RuleHistoryFilterRule({0, 20, {}, 0}).GetSqlStr(), " LIMIT 20");
    EXPECT_EQ(RuleHistoryFilterRule({5, 20, {}, 0}).GetSqlStr(), " LIMIT 20 OFFSET 5");
    EXPECT_EQ(RuleHistoryFilterRule({0, 0, {3, 5}, 7}).GetWhereSqlStr(),
              " WHERE ((id)IN(3,5)) AND timestamp <= 7");
    std::list<RuleHistory> lines(3);
    EXPECT_EQ(WriteRuleHistory(lines), 0);
    EXPECT_EQ(GetAllRuleHistoryCnt(), 3);

    Sql(std::string("DROP TABLE ") + gszTableActRuleHistory, VxDB::DB_LOG);
    LogCapture log;
    RuleHistory history;
    EXPECT_EQ(history.Save(), -1);
    EXPECT_EQ(history.GetId(), -1);
    EXPECT_EQ(GetAllRuleHistoryCnt(), -1);
    EXPECT_TRUE(GetAllRuleHistory({}).empty());
    EXPECT_EQ(DelRuleHistoryByFileter({}), -1);
    const std::string lost = log.TakeText("actionrule/actrulehistory");
    for (const char* const line :
         {"Save: Failed to execute sql command [INSERT INTO actionrule_history (level,",
          "GetAllRuleHistoryCnt: Failed to executed sql command [SELECT COUNT(*) AS count FROM "
          "actionrule_history;].\n",
          "GetAllRuleHistory: Failed to executed sql command [SELECT * FROM actionrule_history ORDER BY "
          "timestamp DESC, id DESC].\n",
          "DelRuleHistoryByFileter: Failed to execute sql command [DELETE FROM actionrule_history].\n"}) {
        EXPECT_NE(lost.find(std::string("actionrule/actrulehistory ") + line), std::string::npos)
            << line << " in " << lost;
    }
}
