// SPDX-License-Identifier: Apache-2.0
// tests/actionrule/actruleutils_test.cpp - rules on their real tables: saving, listing, deleting, telling.
#include "actruleutils.h"

#include <poll.h>

#include <algorithm>
#include <fstream>
#include <map>
#include <set>

#include "package/homemode.h"
#include "package/iokeys.h"
#include "package/json.h"
#include "rule_samples.h"
#include "support/log_capture.h"
#include "support/sql.h"
#include "support/temp_root.h"

namespace {

class ActRuleUtilsTest : public ::testing::Test {
protected:
    static std::string IdsOf(const char* table)
    {
        return Sql(std::string("SELECT id FROM ") + table + " ORDER BY id");
    }

    TempRoot m_root;
};

/// A rule with something in every field.
ActionRule MakeFullRule()
{
    Json::Value json = ActionRule().GetJson();
    int number = 2;
    for (const std::string& name : json.getMemberNames()) {
        Json::Value& value = json[name];
        if (value.isBool()) {
            value = !value.asBool();
        } else if (value.isInt()) {
            value = (++number % 2 == 0) ? -number : number;
        } else if (value.isString()) {
            value = name + " 'quoted' \xF0\x9F\x94\x94 100%\\";
        }
    }
    json["id"] = -1;
    json["multi_status"]["5"] = -3;
    json["multi_status"]["-7"] = 2147483647;
    json["act_dev_ids"].append(12);
    json["act_dev_ids"].append(3);
    json["schedule"] = "mon-fri 08:00-18:00";
    json["notify_schedule"] = "daily 22:00-06:00=3";
    json["multi_evt_ids"] = "";
    ActionRule rule;
    std::string error;
    EXPECT_EQ(rule.SetByJson(json, &error), 0) << error;
    return rule;
}

} // namespace

// Catches: a column that is read under another's name, cut, or forgotten in one of load, save and JSON.
TEST_F(ActRuleUtilsTest, EveryFieldComesBackFromTheDatabase)
{
    ActionRule rule = MakeFullRule();
    ASSERT_EQ(rule.Save(), 0);
    EXPECT_GT(rule.GetId(), 0);
    ActionRule loaded;
    ASSERT_EQ(loaded.Load(rule.GetId()), 0);
    EXPECT_EQ(JsonWrite(loaded.GetJson()), JsonWrite(rule.GetJson()));
    EXPECT_EQ(Sql("SELECT act_dev_ids FROM actionrule"), "3,12");
    EXPECT_EQ(Sql("SELECT multi_status FROM actionrule"), "-7:2147483647,5:-3");
    EXPECT_EQ(Sql("SELECT password FROM actionrule").find("quoted"), std::string::npos); // enciphered

    EXPECT_EQ("INSERT INTO actionrule (" +
                  Sql("SELECT group_concat(name) FROM pragma_table_info('actionrule') WHERE name <> 'id'") +
                  ")",
              rule.strSqlInsert().substr(0, rule.strSqlInsert().find("VALUES")));

    loaded.SetName("other");
    ASSERT_EQ(loaded.Save(), 0);
    EXPECT_EQ(Sql("SELECT COUNT(*) || name FROM actionrule"), "1other");

    // NULL everywhere is 0 and empty.
    Sql("INSERT INTO actionrule (id) VALUES (77)");
    ASSERT_EQ(loaded.Load(77), 0);
    EXPECT_EQ(loaded.GetEvtMinInterval(), 0);
    EXPECT_FALSE(loaded.IsEnabled());
    EXPECT_TRUE(loaded.GetActDevIds().empty());
    EXPECT_EQ(loaded.GetActiveSche(), WeeklySchedule());
}

// Catches: a broken field in a row or in JSON that changes the rule, or is not named.
TEST_F(ActRuleUtilsTest, BrokenFieldsAreNamedAndChangeNothing)
{
    const std::pair<const char*, const char*> cases[] = {
        {"[]", "a rule is a JSON object"},
        {R"({"name":5})", "field \"name\" is not a text"},
        {R"({"name":"x","act_times":{}})", "field \"act_times\" is not an integer"},
        {R"({"act_times":4294967296})", "field \"act_times\" is not an integer"},
        {R"({"enabled":1})", "field \"enabled\" is neither"},
        {R"({"act_dev_ids":[1,"x"]})", "field \"act_dev_ids\" is not an array of ids"},
        {R"({"multi_status":{"x":1}})", "field \"multi_status\" is not an object"},
        {R"({"schedule":"mon"})", "schedule, column 4"},
        {R"({"events":[{"evt_item":"x"}]})", "event 1: field \"evt_item\""},
    };
    ActionRule rule = MakeFullRule();
    const std::string before = JsonWrite(rule.GetJson());
    for (const auto& [text, message] : cases) {
        Json::Value json;
        std::string error;
        ASSERT_TRUE(JsonRead(text, json, error)) << error;
        EXPECT_EQ(rule.SetByJson(json, &error), -1) << text;
        EXPECT_NE(error.find(message), std::string::npos) << error;
        EXPECT_EQ(JsonWrite(rule.GetJson()), before) << text;
    }
    ASSERT_EQ(rule.Save(), 0);
    for (const char* const change :
         {"act_dev_ids='1;2'", "multi_status='x'", "schedule='mon'", "password='x'"}) {
        Sql(std::string("UPDATE actionrule SET ") + change);
        LogCapture log;
        ActionRule loaded;
        EXPECT_EQ(loaded.Load(rule.GetId()), -1) << change;
        EXPECT_EQ(loaded.GetName(), rule.GetName());
        const std::string column(change, std::string_view(change).find('='));
        log.Expect({"column [" + column + "] is broken"}, "actionrule/actionrule");
        ASSERT_EQ(rule.Save(), 0);
    }
}

// Catches: a failing statement without its line, or one that loses the id.
TEST_F(ActRuleUtilsTest, FailingStatementsAreTold)
{
    ActionRule rule = MakeFullRule();
    ASSERT_EQ(rule.Save(), 0);
    LogCapture log;
    EXPECT_EQ(ActionRule().Load(4711), -1);
    EXPECT_EQ(log.TakeText("actionrule"), "actionrule/actionrule Load: Failed to get result.\n");
    Sql("DROP TABLE actionrule; DROP TABLE actionrule_multirule");
    ActionRule fresh;
    EXPECT_EQ(fresh.Save(), -1);
    EXPECT_EQ(fresh.GetId(), -1);
    EXPECT_EQ(
        log.TakeText("actionrule")
            .rfind("actionrule/actionrule Save: Failed to execute sql command [INSERT INTO actionrule (", 0),
        0u);
    EXPECT_EQ(GetNewMultiRuleId(), 0);
    EXPECT_EQ(log.TakeText("actionrule"),
              "actionrule/actruleutils GetNewMultiRuleId: Failed to get actionrule multi action id\n");
    EXPECT_EQ(SaveActRuleWhole(fresh), -1);
    EXPECT_EQ(ActRuleUpgrade::UpdateActRuleMultiActId(), -1);
    static_cast<void>(log.TakeText());
    EXPECT_TRUE(GetActRuleByFilter({}).empty());
    EXPECT_EQ(DelActRuleByFilter({}, "admin"), -1);
    EXPECT_EQ(
        log.TakeText("actionrule"),
        "actionrule/actruleutils GetActRuleByFilter: Failed to execute sql command [SELECT * FROM actionrule "
        "WHERE id > 0  ORDER BY id].\n"
        "actionrule/actruleutils DelActRuleByFilter: Failed to execute sql command [SELECT * FROM actionrule "
        "WHERE id > 0  ORDER BY id].\n");
}

// Catches: an event row that is lost, kept though nobody names it, or shared by two equal events.
TEST_F(ActRuleUtilsTest, EventsKeepTheirRowsAcrossAnEdit)
{
    std::vector<ActionRuleEvent> first = {Event(1), Event(2), Event(2)};
    std::string ids;
    ASSERT_EQ(SaveMultiEvtAndGetIds(first, {}, ids), 0);
    EXPECT_EQ(ids, "1,2,3");
    std::vector<ActionRuleEvent> second = {Event(9), Event(2), Event(1)};
    second[1].SetEvtStatus(5); // a status is no difference
    ASSERT_EQ(SaveMultiEvtAndGetIds(second, first, ids), 0);
    EXPECT_EQ(ids, "4,2,1");
    EXPECT_EQ(IdsOf(gszTableActionRuleEvent), "1 2 4");
    ASSERT_EQ(ActionRule::UpdateEventStatus({1, 4}, 6), 0);
    EXPECT_EQ(Sql("SELECT evt_status FROM actionrule_event"), "6 0 6");
}

// Catches: a filter that lists another rule's events, and devices of "every camera" that are not there.
TEST_F(ActRuleUtilsTest, ListedRulesHaveTheirEventsAndDevices)
{
    Sql("INSERT INTO camera (id) VALUES (4),(6)");
    ActionRule rule;
    ActionRuleEvent event = Event(1);
    event.SetEvtDevId(RULE_ALL_DEVICES);
    rule.SetEvtList({Event(3), event});
    rule.SetActDevIds({RULE_ALL_DEVICES});
    ASSERT_EQ(SaveActRuleWhole(rule), 0);
    ActionRule other;
    other.SetEnabled(false);
    ASSERT_EQ(SaveActRuleWhole(other), 0);

    const std::list<ActionRule> rules = GetActRuleByFilter({});
    ASSERT_EQ(rules.size(), 2u);
    EXPECT_EQ(rules.front().GetEvtList().size(), 2u);
    EXPECT_EQ(rules.front().GetEvtList()[0].GetEvtItem(), 3);
    EXPECT_EQ(rules.front().GetEvtAllDevIds(), (std::set<int>{1, 4, 6}));
    EXPECT_EQ(rules.front().GetActAllDevIds(), (std::set<int>{4, 6}));
    ActionRule moved = rules.front();
    moved.AddDevIntoAllDev(8);
    moved.DelDevFromAllDev(4);
    moved.RemoveActDevId(6);
    EXPECT_EQ(moved.GetEvtAllDevIds(), (std::set<int>{1, 6, 8}));
    EXPECT_EQ(moved.GetActAllDevIds(), (std::set<int>{8}));
    moved.SetActDevIds({2, 3});
    moved.RemoveActDevId(2);
    EXPECT_EQ(moved.GetActAllDevIds(), (std::set<int>{3}));
    EXPECT_TRUE(rules.back().GetEvtList().empty());
    EXPECT_EQ(GetActRuleMapByFilter(ById("2")).count(2), 1u);
    EXPECT_EQ(GetActRuleCntSql(ById("2")),
              "SELECT COUNT(*) AS count, multi_rule_id, id, multi_evt_ids FROM actionrule "
              "WHERE id > 0  AND ((id)IN(2))");
    EXPECT_EQ(GetActRuleCnt(false).size(), 2u);
    EXPECT_EQ(GetActRuleCnt(true)[0]["actions"].size(), 1u);
    other.SetEvtSrc(static_cast<DEVICE_SRC>(7));
    ASSERT_EQ(other.Save(), 0);
    ActionRule mixed;
    mixed.SetEvtList({ActionRuleEvent(), ActionRuleEvent()});
    mixed.GetEvtList()[1].SetEvtSrc(static_cast<DEVICE_SRC>(7));
    ASSERT_EQ(SaveActRuleWhole(mixed), 0);
    EXPECT_EQ(GetActRuleCnt(false).size(), 3u);
    std::filesystem::create_directories(m_root.Path() / "etc");
    std::ofstream(m_root.Path() / "etc" / "services.off") << "16\n"; // what source 7 needs
    EXPECT_EQ(GetActRuleCnt(false).size(), 1u);
    EXPECT_EQ(Sql("SELECT key FROM io_keys"), "di:0:0:-1:1 di:0:0:1:3");
}

// Catches: a group, an event or a key that outlives its last rule, or goes while a rule still uses it.
// Every way to spread up to four rules over groups and every choice of those that go, against the obvious answer.
TEST_F(ActRuleUtilsTest, DeletionLeavesExactlyWhatIsUsed)
{
    for (const std::string shape :
         {"0000", "0001", "0010", "0100", "0111", "0011", "0101", "0110", "0012", "0102", "0120", "0112",
          "0121", "0122", "0123"}) { // the group of each rule
        for (unsigned goes = 0; goes < 16; ++goes) {
            ActionRule groups[4];
            std::string deleted = "0";
            std::set<int> staying[2]; // groups; rules
            for (int i = 0; i < 4; ++i) {
                ActionRule& group = groups[shape[static_cast<std::size_t>(i)] - '0'];
                ActionRule rule;
                rule.SetMultiRuleId(group.GetMultiRuleId());
                rule.SetMultiEvtIds(group.GetMultiEvtIds()); // one event set, several actions
                if (group.GetId() == -1) {
                    rule.SetEvtList({Event(i), Event(9)});
                    ASSERT_EQ(SaveActRuleWhole(rule), 0);
                    group = rule;
                }
                ASSERT_EQ(rule.Save(), 0);
                if ((goes >> i & 1) != 0) {
                    deleted += "," + std::to_string(rule.GetId());
                } else {
                    staying[0].insert(rule.GetMultiRuleId());
                    staying[1].insert(rule.GetId());
                }
            }
            ASSERT_EQ(DelActRuleByFilter(ById(deleted), "admin"), 0);
            EXPECT_EQ(Sql("SELECT (SELECT COUNT(*) FROM actionrule) || '/' || (SELECT COUNT(*) FROM "
                          "actionrule_multirule) || '/' || (SELECT COUNT(*) FROM actionrule_event)"),
                      std::to_string(staying[1].size()) + "/" + std::to_string(staying[0].size()) + "/" +
                          std::to_string(2 * staying[0].size()))
                << shape << " without " << deleted;
            ASSERT_EQ(DelActRuleByFilter({}, "admin"), 0);
            EXPECT_EQ(IdsOf("actionrule") + IdsOf("actionrule_multirule") + IdsOf("actionrule_event"), "");
            EXPECT_EQ(Sql("SELECT COUNT(*) FROM io_keys"), "0");
        }
    }
}

// Catches: an edit that takes another rule's events, or leaves a port, an event or a group that nobody uses.
TEST_F(ActRuleUtilsTest, EditLeavesExactlyWhatIsUsed)
{
    ActionRule first;
    first.SetEvtList({Event(1), Event(2)});
    ASSERT_EQ(SaveActRuleWhole(first), 0);
    ActionRule second = first;
    second.SetId(-1);
    ASSERT_EQ(second.Save(), 0);
    first.SetEvtList({Event(2), Event(3)});
    ASSERT_EQ(SaveActRuleWhole(first), 0);
    EXPECT_EQ(first.GetMultiEvtIds(), "2,3");
    EXPECT_EQ(IdsOf("actionrule_event"), "1 2 3"); // the second rule still has the first event
    EXPECT_EQ(Sql("SELECT key FROM io_keys"), "di:0:0:1:2 di:0:0:1:3");
    for (ActionRule third : {first, second}) { // one has the events 2 and 3, the other 1 and 2
        third.SetId(-1);
        ASSERT_EQ(third.Save(), 0);
        ASSERT_EQ(DelActRuleByFilter(ById(std::to_string(third.GetId())), "admin"), 0);
        EXPECT_EQ(IdsOf("actionrule_event"), "1 2 3");
    }
    second.SetMultiRuleId(77);
    second.SetEvtList({});
    ASSERT_EQ(SaveActRuleWhole(second), 0);
    EXPECT_EQ(IdsOf("actionrule_multirule"), "1 77");
    EXPECT_EQ(IdsOf("actionrule_event"), "2 3");
    second.SetMultiRuleId(0);
    ASSERT_EQ(SaveActRuleWhole(second), 0);
    EXPECT_EQ(IdsOf("actionrule_multirule"), "1 78");
}

// Catches: a deletion that is half done, home mode that still names a rule, a deletion nobody can trace.
TEST_F(ActRuleUtilsTest, DeletionIsWholeAndWrittenDown)
{
    ActionRule rule;
    rule.SetName("Gate 'A'");
    rule.SetEvtList({Event(1)});
    ASSERT_EQ(SaveActRuleWhole(rule), 0);
    ASSERT_EQ(HomeModeSetting::AddItems(HomeModeItem::ACTION_RULE, {rule.GetId(), 99}), 0);
    const struct {
        std::string table; ///< that is missing
        const char* line;
    } cases[] = {
        {"actionrule_event",
         "actionrule/actruleutils GetActionRuleEvtMap: Failed to execute sql command [SELECT * FROM "
         "actionrule_event].\n"},
        {"actionrule_multirule",
         "actionrule/actruleutils DelActRuleByFilter: Failed to execute sql command [DELETE "
         "FROM actionrule_multirule WHERE ((id)IN(1))].\n"},
        {"home_mode", ""}, // its last statement; told by the settings themselves
    };
    for (const auto& [table, line] : cases) {
        Sql("ALTER TABLE " + table + " RENAME TO aside");
        LogCapture log;
        EXPECT_EQ(DelActRuleByFilter({}, "admin"), -1);
        EXPECT_EQ(log.TakeText("actionrule"), line);
        Sql("ALTER TABLE aside RENAME TO " + table);
        EXPECT_EQ(IdsOf("actionrule") + IdsOf("actionrule_multirule") + IdsOf("actionrule_event"), "111")
            << table;
        EXPECT_EQ(Sql("SELECT COUNT(*) FROM io_keys"), "1");
    }

    ASSERT_EQ(DelActRuleByFilter({}, "admin"), 0);
    std::set<int> items;
    ASSERT_EQ(HomeModeSetting::GetItems(HomeModeItem::ACTION_RULE, items), 0);
    EXPECT_EQ(items, std::set<int>{99});
    EXPECT_EQ(Sql("SELECT log_id || args FROM log", VxDB::DB_LOG),
              std::to_string(0x1330009e) + R"(["admin","1","Gate 'A'"])");
    ActRuleFilterRule broken;
    broken.ids = "1,";
    EXPECT_EQ(DelActRuleByFilter(broken, "admin"), -1);
}

// Catches: a change of state that touches other rules, or is saved though nothing changed.
TEST_F(ActRuleUtilsTest, ChangeOfStateIsSavedForTheRulesMeant)
{
    for (int i = 0; i < 3; ++i) {
        ActionRule rule;
        ASSERT_EQ(rule.Save(), 0);
    }
    ActRuleStateChange change;
    change.enabled = false;
    change.deviceId = 5;
    change.setBits = 6;
    change.clearBits = 2;
    ASSERT_EQ(ActionRule::SaveActRuleSt(ById("1,3"), change, "admin"), 0);
    EXPECT_EQ(Sql("SELECT enabled, multi_status FROM actionrule"), "0/5:4 1/ 0/5:4");
    ASSERT_EQ(ActionRule::SaveActRuleSt(ById("1,3"), change, "admin"), 0); // nothing new
    EXPECT_EQ(Sql("SELECT COUNT(*) FROM log", VxDB::DB_LOG), "2");

    std::map<int, ActionRule> rules = GetActRuleMapByFilter({});
    rules[1].SetName("one");
    rules[2].SetName("two");
    ASSERT_EQ(ActionRule::UpdateActRule({2, 9}, rules), 0);
    EXPECT_EQ(Sql("SELECT id, name FROM actionrule"), "1/ 2/two 3/");
}

// Catches: an upgrade that regroups rules which have groups already.
TEST_F(ActRuleUtilsTest, OldRulesBecomeGroupsOnce)
{
    Sql("INSERT INTO actionrule (id, multi_rule_id) VALUES (4,0),(6,NULL)");
    ASSERT_EQ(ActRuleUpgrade::UpdateActRuleMultiActId(), 0);
    EXPECT_EQ(Sql("SELECT multi_rule_id FROM actionrule"), "4 6");
    EXPECT_EQ(IdsOf("actionrule_multirule"), "4 6");
    Sql("UPDATE actionrule SET multi_rule_id = 4");
    ASSERT_EQ(ActRuleUpgrade::UpdateActRuleMultiActId(), 0);
    EXPECT_EQ(Sql("SELECT multi_rule_id FROM actionrule"), "4 4");
}

// Catches: an announcement that is lost, changed, or blocks and kills its sender without a listener.
TEST_F(ActRuleUtilsTest, ChangesAreAnnounced)
{
    NotifyActRuleUpdate("3,5", UPDATE_TYPE_MODIFY); // nobody listens
    MsgDListener listener;
    ASSERT_EQ(listener.Open(), 0);
    NotifyActRuleUpdate("3,5", UPDATE_TYPE_MODIFY);
    NotifyActRuleUpdate("", UPDATE_TYPE_MODIFY);
    NotifyActRuleUpdate("3,", UPDATE_TYPE_MODIFY);
    NotifyActRuleUpdate(7, UPDATE_TYPE_DELETE);
    std::string text;
    for (const char* const message : {R"({"flag":0,"ids":[3,5],"kind":30,"list":[],"text":"","type":1})",
                                      R"({"flag":0,"ids":[7],"kind":30,"list":[],"text":"","type":2})"}) {
        ASSERT_EQ(listener.Receive(text), 0);
        EXPECT_EQ(text, message);
    }
    EXPECT_EQ(listener.Receive(text), -1);

    NotifyActRuleUpdate(std::list<int>(9000, 123456789), UPDATE_TYPE_ADD); // more than one datagram holds
    int ids = 0;
    while (listener.Receive(text) == 0) {
        ids += static_cast<int>(std::ranges::count(text, ',')) - 4;
    }
    EXPECT_EQ(ids, 9000);
}
