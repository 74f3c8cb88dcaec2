// SPDX-License-Identifier: Apache-2.0
// tests/actionrule/actrulekill_test.cpp - a process killed at any change that an operation on rules makes to a
// file, and two processes that edit one rule.
#include <random>

#include "actrulehistory.h"
#include "iter2string.h"
#include "package/homemode.h"
#include "rule_samples.h"
#include "support/kill_loop.h"
#include "support/sql.h"
#include "support/temp_root.h"

namespace {

ActionRule Rule(const std::string& name, const std::vector<ActionRuleEvent>& events)
{
    ActionRule rule;
    rule.SetName(name);
    rule.SetEvtList(events);
    return rule;
}

ActionRule Stored(int id)
{
    auto rules = GetActRuleMapByFilter({});
    return rules[id];
}

/// Two rules in one group with one event set, one by itself, home mode and a line of history.
void Fill()
{
    ActionRule first = Rule("first", {Event(1), Event(2)});
    ASSERT_EQ(SaveActRuleWhole(first), 0);
    ActionRule second = Rule("second", {});
    second.SetMultiRuleId(first.GetMultiRuleId());
    second.SetMultiEvtIds(first.GetMultiEvtIds());
    ASSERT_EQ(second.Save(), 0);
    ActionRule third = Rule("third", {Event(3)});
    ASSERT_EQ(SaveActRuleWhole(third), 0);
    ASSERT_EQ(HomeModeSetting::AddItems(HomeModeItem::ACTION_RULE, {1, 2, 3}), 0);
    ASSERT_EQ(RuleHistory(first, RULE_ACT_STATUS_STARTED).Save(), 0);
}

/// Every row of every table that an operation changes as a whole.
std::string Dump()
{
    std::string text;
    for (const char* const rows :
         {"id || name || enabled || multi_rule_id || '/' || multi_evt_ids FROM actionrule",
          "id || '/' || evt_item FROM actionrule_event", "id FROM actionrule_multirule",
          "key || entry_id FROM io_keys", "item_id FROM home_mode"}) {
        text += Sql(std::string("SELECT ") + rows + " ORDER BY 1") + "\n";
    }
    return text + Sql("SELECT id FROM actionrule_history", VxDB::DB_LOG);
}

struct Operation {
    const char* what;
    std::function<int()> run;
    const char* prepared = "SELECT 1"; ///< what the system's database is told before
};

const Operation OPERATIONS[] = {
    {"add",
     [] {
         ActionRule rule = Rule("new", {Event(7), Event(8)});
         return SaveActRuleWhole(rule);
     }},
    {"edit",
     [] {
         ActionRule rule = Stored(3);
         rule.SetName("edited");
         rule.SetEvtList({Event(3), Event(9)});
         rule.SetMultiRuleId(0); // leaves its group
         return SaveActRuleWhole(rule);
     }},
    {"edit one of a group",
     [] {
         ActionRule rule = Stored(1);
         rule.SetEvtList({Event(4)});
         return SaveActRuleWhole(rule);
     }},
    {"save events",
     [] {
         std::string ids;
         std::vector<ActionRuleEvent> events = {Event(5), Event(3)};
         return SaveMultiEvtAndGetIds(events, Stored(3).GetEvtList(), ids);
     }},
    {"delete one of a group", [] { return DelActRuleByFilter(ById("1"), "admin"); }},
    {"delete a group and one", [] { return DelActRuleByFilter(ById("1,2,3"), "admin"); }},
    {"restore",
     [] {
         std::list<ActionRule> rules = {Rule("a", {Event(1)}), Rule("b", {Event(2)})};
         return RestoreActRules(rules);
     }},
    {"update",
     [] {
         auto rules = GetActRuleMapByFilter({});
         for (auto& [id, rule] : rules) {
             rule.SetName("x");
         }
         return ActionRule::UpdateActRule({1, 2, 3}, rules);
     }},
    {"upgrade", [] { return ActRuleUpgrade::UpdateActRuleMultiActId(); },
     "UPDATE actionrule SET multi_rule_id = 0; DELETE FROM actionrule_multirule"},
    {"history",
     [] {
         std::list<RuleHistory> lines(5);
         return WriteRuleHistory(lines);
     }},
};

int Prepare(const Operation& operation)
{
    Fill();
    Sql(operation.prepared);
    return 0;
}

/// Every row, before an operation or behind it.
std::string Rows(const Operation& operation, bool isDone)
{
    const TempRoot root;
    Prepare(operation);
    EXPECT_TRUE(!isDone || operation.run() == 0) << operation.what;
    return Dump();
}

/// How many events no rule names, and how many groups.
std::string Orphans()
{
    return Sql("SELECT (SELECT count(*) FROM actionrule_event e WHERE NOT EXISTS (SELECT 1 FROM actionrule r "
               "WHERE ','||r.multi_evt_ids||',' LIKE '%,'||e.id||',%')), (SELECT count(*) FROM "
               "actionrule_multirule m WHERE NOT EXISTS (SELECT 1 FROM actionrule r WHERE r.multi_rule_id = "
               "m.id))");
}

} // namespace

// Catches: half a group, an event nobody names, a key or a home-mode entry of a rule that is gone: whatever remains
// of an operation whose process dies on the way.
TEST(ActRuleKillTest, EveryOperationIsWholeOrNotAtAll)
{
    for (const Operation& operation : OPERATIONS) {
        const std::string before = Rows(operation, false);
        const std::string after = Rows(operation, true);
        EXPECT_NE(after, before) << operation.what;
        const TempRoot root;
        const auto judge = [&] {
            const std::string now = Dump();
            return now == before || now == after ? "" : operation.what + (":\n" + now);
        };
        ASSERT_GT(KillAtEachPoint(
                      root.Path(), [&] { return Prepare(operation); }, operation.run, judge),
                  2)
            << operation.what << ": nothing was killed";
    }
}

// Catches: events, groups and ports that an earlier editor made and a later one leaves behind; an edit of a rule
// that is gone.
TEST(ActRuleKillTest, TwoEditorsLeaveNothingBehind)
{
    const TempRoot root;
    ActionRule rule = Rule("Gate", {Event(1)});
    ASSERT_EQ(SaveActRuleWhole(rule), 0);
    const auto edit = [&rule](unsigned seed) {
        return [&rule, seed](Channel&) {
            std::mt19937 random(seed);
            ActionRule mine = rule; // as it was read long ago
            for (int i = 0; i < 40; ++i) {
                std::vector<ActionRuleEvent> events;
                for (unsigned n = random() % 4; n > 0; --n) {
                    events.push_back(Event(static_cast<int>(random() % 5)));
                }
                mine.SetEvtList(events);
                mine.SetMultiRuleId(random() % 3 == 0 ? 0 : mine.GetMultiRuleId());
                if (SaveActRuleWhole(mine) != 0) {
                    return 1;
                }
            }
            return 0;
        };
    };
    ChildProcess one(edit(1));
    ChildProcess two(edit(2));
    EXPECT_EQ(one.Wait(), 0);
    EXPECT_EQ(two.Wait(), 0);
    EXPECT_EQ(Orphans(), "0/0");
    const std::set<std::string> keys = CreateIOKeys(Stored(1));
    EXPECT_EQ(Sql("SELECT key FROM io_keys ORDER BY key"), Iter2String(keys.begin(), keys.end(), " "));

    ASSERT_EQ(DelActRuleByFilter({}, "admin"), 0);
    EXPECT_EQ(SaveActRuleWhole(rule), -1);
    EXPECT_EQ(Orphans(), "0/0");
}

// Catches: a time or a memory that grows with the square of the rules, and a statement too long for the database.
TEST(ActRuleKillTest, FiftyThousandRules)
{
    const TempRoot root;
    Sql("CREATE TEMP TABLE n AS WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n WHERE i < "
        "50000) "
        "SELECT i FROM n;"
        "INSERT INTO actionrule_multirule (id) SELECT i FROM n;"
        "INSERT INTO actionrule_event (id,evt_source,evt_id,evt_item,evt_device_id) SELECT i,0,5,i%4,i FROM "
        "n;"
        "INSERT INTO actionrule (id,name,enabled,multi_rule_id,multi_evt_ids,schedule,evt_item) "
        "SELECT i,'Gate '||i,1,i,i,'mon-fri 08:00-18:00',i%10 FROM n;");
    const std::list<ActionRule> rules = GetActRuleByFilter({});
    ASSERT_EQ(rules.size(), 50000u);
    EXPECT_EQ(rules.back().GetEvtList().front().GetEvtDevId(), 50000);
    ActRuleFilterRule half;
    half.evtItems = "0,1,2,3,4";
    ASSERT_EQ(DelActRuleByFilter(half, "admin"), 0);
    EXPECT_EQ(Sql("SELECT (SELECT count(*) FROM actionrule), (SELECT count(*) FROM actionrule_event), "
                  "(SELECT count(*) FROM actionrule_multirule)"),
              "25000/25000/25000");
}
