// SPDX-License-Identifier: Apache-2.0
// tests/actionrule/actrulechange_test.cpp - what counts as another action, and what the numbers mean.
#include <gtest/gtest.h>
#include <json/value.h>

#include <algorithm>
#include <map>
#include <set>
#include <string>

#include "actrulepredicates.h"
#include "actruleutils.h"
#include "package/json.h"

namespace {

/// The ways in which two rules may differ: a field and what it is not in a new rule.
constexpr const char* DIFFERENCES = R"({
    "act_server_id":9, "act_device_id":9, "act_dev_ids":[9], "ext_url":"x", "headers":"x", "username":"x",
    "password":"x", "webhook_req_method":2, "http_content_type":2, "http_body":"x", "host_access_url":"x",
    "ifttt_key":"x", "ifttt_event":"x", "param1":"x", "param2":"x", "param3":"x", "act_return_pos":9,
    "act_item_id":9, "act_item_ids":"9", "bmk_name":"x", "bmk_comment":"x", "bmk_lock":true,
    "bmk_show_osd":true, "condition":true, "condition_unit":9, "condition_value":"x", "act_times":9,
    "act_time_unit":3, "act_time_duration":9, "name":"x", "enabled":false, "evt_id":3})";

ActionRule Edited(ActionRule rule, const std::string& field, const Json::Value& value)
{
    Json::Value change;
    change[field] = value;
    std::string error;
    EXPECT_EQ(rule.SetByJson(change, &error), 0) << error;
    return rule;
}

const std::set<std::string> DEVICE = {"act_server_id", "act_device_id", "act_dev_ids"};
const std::set<std::string> WEBHOOK = {
    "ext_url",           "headers",   "username",       "password", "webhook_req_method",
    "http_content_type", "http_body", "host_access_url"};
const std::set<std::string> IFTTT = {"ifttt_key", "ifttt_event", "param1", "param2", "param3"};

/// What counts by action id, written down as one line for each family. T: counts for a triggered rule only.
struct Family {
    std::set<int> actions;
    std::set<std::string> fields;
};
const Family FAMILIES[] = {
    {{-2, -1, 4, 18, 19, 20, 22}, {"act_times T", "act_time_unit", "act_time_duration"}},
    {{3, 25}, {"act_time_unit T", "act_time_duration T"}},
    {{5}, {"act_return_pos", "act_item_id", "act_time_unit T", "act_time_duration T"}},
    {{6}, {"act_return_pos", "act_item_id", "act_times", "act_time_unit", "act_time_duration"}},
    {{7, 8}, {"act_return_pos", "act_time_unit T", "act_time_duration T"}},
    {{9, 11, 12, 17}, {"act_item_id", "act_times T", "act_time_unit", "act_time_duration"}},
    {{10, 14}, {"act_item_id", "act_time_unit T", "act_time_duration T"}},
    {{26}, {"act_item_ids"}},
    {{27}, {"bmk_name", "bmk_comment", "bmk_lock", "bmk_show_osd", "act_time_duration T"}},
    {{28}, {"condition", "act_time_duration T"}},
};

bool Counts(int source, int action, bool isTriggered, const std::string& name)
{
    if ((source == 4 && action == 22) || std::set<int>{0, 2, 7, 9, 10, 11, 14}.count(source) != 0) {
        if (DEVICE.count(name) != 0) {
            return true;
        }
    } else if ((source == 1 && WEBHOOK.count(name) != 0) || (source == 12 && IFTTT.count(name) != 0)) {
        return true;
    }
    return std::ranges::any_of(FAMILIES, [&](const Family& family) {
        return family.actions.contains(action) &&
               (family.fields.contains(name) || (isTriggered && family.fields.contains(name + " T")));
    });
}

} // namespace

// Catches: a running action that goes on with old settings, and one that starts anew for nothing.
TEST(ActRuleChangeTest, EveryDifferenceOfEveryActionAndSource)
{
    Json::Value differences;
    std::string error;
    ASSERT_TRUE(JsonRead(DIFFERENCES, differences, error)) << error;
    for (int source = -1; source <= 15; ++source) {
        for (int action = -3; action <= 30; ++action) {
            for (const bool isTriggered : {true, false}) {
                ActionRule rule;
                rule.SetActSrc(static_cast<DEVICE_SRC>(source));
                rule.SetActId(static_cast<RULE_ACTION>(action));
                rule.SetRuleType(isTriggered ? VxRULE_TYPE_TRIGGERED : VxRULE_TYPE_SCHEDULED);
                EXPECT_FALSE(IsActionChanged(rule, rule));
                for (const std::string& field : differences.getMemberNames()) {
                    const ActionRule edited = Edited(rule, field, differences[field]);
                    ASSERT_EQ(IsActionChanged(edited, rule), Counts(source, action, isTriggered, field))
                        << field << " of action " << action << ", source " << source << ", triggered "
                        << isTriggered;
                }
            }
        }
    }
}

// Catches: a change of what or where that is not seen, and a condition compared though it is off.
TEST(ActRuleChangeTest, SourceActionAndConditionItself)
{
    ActionRule rule;
    EXPECT_TRUE(IsActionChanged(Edited(rule, "act_source", 5), rule));
    EXPECT_TRUE(IsActionChanged(Edited(rule, "act_id", 3), rule));
    rule.SetActId(static_cast<RULE_ACTION>(28));
    rule.SetCondition(true);
    EXPECT_FALSE(IsActionChanged(Edited(rule, "condition_value", ""), rule));
    EXPECT_TRUE(IsActionChanged(Edited(rule, "condition_value", "x"), rule));
    EXPECT_TRUE(IsActionChanged(Edited(rule, "condition_unit", 3), rule));
}

// Catches: a number that is taken for another one's family. Every value around the listed ones is asked.
TEST(ActRulePredicateTest, FamiliesHoldExactlyTheirNumbers)
{
    for (int value = -5; value <= 40; ++value) {
        const auto action = static_cast<RULE_ACTION>(value);
        const auto isIn = [value](const std::set<int>& values) { return values.count(value) != 0; };
        EXPECT_EQ(IsDeviceEnableAct(action), isIn({1, 2})) << value;
        EXPECT_EQ(IsRecordAct(action), isIn({3, 13})) << value;
        EXPECT_EQ(IsLensAct(action), isIn({5, 6, 7, 8})) << value;
        EXPECT_EQ(IsAudioOutAct(action), isIn({9, 11, 12})) << value;
        EXPECT_EQ(IsDOAct(action), isIn({10, 14})) << value;
        EXPECT_EQ(IsCheckActItemAsSameRule(action), isIn({5, 6, 10, 14})) << value;
        for (int source = -1; source <= 16; ++source) {
            ActionRuleEvent event;
            event.SetEvtSrc(static_cast<DEVICE_SRC>(source));
            event.SetEvtId(static_cast<RULE_EVENT>(value));
            EXPECT_EQ(IsEnableRelateEvt(event),
                      isIn({1, 2}) && (std::set<int>{0, 7, 9, 11, 14}.count(source) != 0));
        }
        const std::map<int, int> units = {{-2, 0}, {2, 60}, {3, 3600}};
        EXPECT_EQ(TimeUnit2Sec(value), units.count(value) != 0 ? units.at(value) : 1) << value;
        const std::map<int, int> services = {{2, 5}, {3, 5}, {6, 3}, {7, 16}, {8, 7}, {9, 9}, {10, 9}};
        EXPECT_EQ(SourceDependentService(static_cast<DEVICE_SRC>(value)),
                  services.count(value) != 0 ? services.at(value) : 0)
            << value;
    }
}

// Catches: a table that is shifted by one.
TEST(ActRulePredicateTest, EventNamesOfEverySource)
{
    const std::map<int, std::map<int, int>> names = {
        {0, {{48, 17}, {49, 2}, {50, 18}, {57, 3}, {58, 4}, {59, 5}}},
        {11,
         {{1, 6}, {2, 7}, {22, 1}, {31, 8}, {33, 8}, {42, 2}, {43, 3}, {44, 4}, {45, 5}, {46, 9}, {47, 9}}},
        {14, {{1, 6}, {2, 7}, {34, 13}, {35, 12}, {36, 14}, {37, 11}, {38, 10}, {39, 15}, {40, 16}}},
    };
    for (int source = -1; source <= 16; ++source) {
        for (int event = -2; event <= 70; ++event) {
            const auto bySource = names.find(source);
            const bool isNamed = bySource != names.end() && bySource->second.count(event) != 0;
            EXPECT_EQ(GetEventName(static_cast<RULE_EVENT>(event), static_cast<DEVICE_SRC>(source)),
                      isNamed ? bySource->second.at(event) : 0)
                << source << "/" << event;
        }
    }
}
