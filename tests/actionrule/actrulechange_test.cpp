// SPDX-License-Identifier: Apache-2.0
// tests/actionrule/actrulechange_test.cpp - what counts as another action, and what the numbers mean.
#include <gtest/gtest.h>

#include <functional>
#include <map>
#include <set>
#include <string>

#include "actrulepredicates.h"
#include "actruleutils.h"

namespace {

/// One way in which two rules may differ.
struct Difference {
    const char* name;
    std::function<void(ActionRule&)> make;
};

const Difference DIFFERENCES[] = {
    {"server", [](ActionRule& rule) { rule.SetActServerId(9); }},
    {"device", [](ActionRule& rule) { rule.SetActDevId(9); }},
    {"devices", [](ActionRule& rule) { rule.SetActDevIds({9}); }},
    {"url", [](ActionRule& rule) { rule.SetExtUrl("x"); }},
    {"headers", [](ActionRule& rule) { rule.SetHeaders("x"); }},
    {"user", [](ActionRule& rule) { rule.SetUserName("x"); }},
    {"password", [](ActionRule& rule) { rule.SetPassword("x"); }},
    {"method", [](ActionRule& rule) { rule.SetWebhookReqMethod(WEBHOOK_REQ_PUT); }},
    {"content", [](ActionRule& rule) { rule.SetHttpContentType(HTTP_CONTENT_TEXT); }},
    {"body", [](ActionRule& rule) { rule.SetHttpBody("x"); }},
    {"host", [](ActionRule& rule) { rule.SetHostAccessUrl("x"); }},
    {"iftttKey", [](ActionRule& rule) { rule.SetIFTTTKey("x"); }},
    {"iftttEvent", [](ActionRule& rule) { rule.SetIFTTTEvent("x"); }},
    {"param1", [](ActionRule& rule) { rule.SetParam1("x"); }},
    {"param2", [](ActionRule& rule) { rule.SetParam2("x"); }},
    {"param3", [](ActionRule& rule) { rule.SetParam3("x"); }},
    {"returnPos", [](ActionRule& rule) { rule.SetActRetPos(9); }},
    {"item", [](ActionRule& rule) { rule.SetActItemId(9); }},
    {"items", [](ActionRule& rule) { rule.SetActItemIds("9"); }},
    {"bmkName", [](ActionRule& rule) { rule.SetBmkName("x"); }},
    {"bmkComment", [](ActionRule& rule) { rule.SetBmkComment("x"); }},
    {"bmkLock", [](ActionRule& rule) { rule.SetBmkLock(true); }},
    {"bmkOsd", [](ActionRule& rule) { rule.SetBmkShowOsd(true); }},
    {"condition", [](ActionRule& rule) { rule.SetCondition(true); }},
    {"conditionUnit", [](ActionRule& rule) { rule.SetConditionUnit(9); }},
    {"conditionValue", [](ActionRule& rule) { rule.SetConditionValue("x"); }},
    {"times", [](ActionRule& rule) { rule.SetActTimes(9); }},
    {"unit", [](ActionRule& rule) { rule.SetActTimeUnit(ACT_TIME_UNIT_HOUR); }},
    {"duration", [](ActionRule& rule) { rule.SetActTimeDur(9); }},
    {"name", [](ActionRule& rule) { rule.SetName("x"); }},
    {"enabled", [](ActionRule& rule) { rule.SetEnabled(false); }},
    {"event", [](ActionRule& rule) { rule.SetEvtId(RULE_EVENT_AUDIO); }},
};

const std::set<std::string> DEVICE = {"server", "device", "devices"};
const std::set<std::string> WEBHOOK = {"url",    "headers", "user", "password",
                                       "method", "content", "body", "host"};
const std::set<std::string> IFTTT = {"iftttKey", "iftttEvent", "param1", "param2", "param3"};

/// What counts by action id, written down as one line for each family. T: counts for a triggered rule only.
const std::map<int, std::set<std::string>> BY_ACTION = {
    {-2, {"times T", "unit", "duration"}},
    {-1, {"times T", "unit", "duration"}},
    {3, {"unit T", "duration T"}},
    {4, {"times T", "unit", "duration"}},
    {5, {"returnPos", "item", "unit T", "duration T"}},
    {6, {"returnPos", "item", "times", "unit", "duration"}},
    {7, {"returnPos", "unit T", "duration T"}},
    {8, {"returnPos", "unit T", "duration T"}},
    {9, {"item", "times T", "unit", "duration"}},
    {10, {"item", "unit T", "duration T"}},
    {11, {"item", "times T", "unit", "duration"}},
    {12, {"item", "times T", "unit", "duration"}},
    {14, {"item", "unit T", "duration T"}},
    {17, {"item", "times T", "unit", "duration"}},
    {18, {"times T", "unit", "duration"}},
    {19, {"times T", "unit", "duration"}},
    {20, {"times T", "unit", "duration"}},
    {22, {"times T", "unit", "duration"}},
    {25, {"unit T", "duration T"}},
    {26, {"items"}},
    {27, {"bmkName", "bmkComment", "bmkLock", "bmkOsd", "duration T"}},
    {28, {"condition", "duration T"}},
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
    const auto found = BY_ACTION.find(action);
    return found != BY_ACTION.end() &&
           (found->second.count(name) != 0 || (isTriggered && found->second.count(name + " T") != 0));
}

} // namespace

// Catches: a running action that goes on with old settings, and one that starts anew for nothing.
TEST(ActRuleChangeTest, EveryDifferenceOfEveryActionAndSource)
{
    for (int source = -1; source <= 15; ++source) {
        for (int action = -3; action <= 30; ++action) {
            for (const bool isTriggered : {true, false}) {
                ActionRule rule;
                rule.SetActSrc(static_cast<DEVICE_SRC>(source));
                rule.SetActId(static_cast<RULE_ACTION>(action));
                rule.SetRuleType(isTriggered ? VxRULE_TYPE_TRIGGERED : VxRULE_TYPE_SCHEDULED);
                EXPECT_FALSE(IsActionChanged(rule, rule));
                for (const Difference& difference : DIFFERENCES) {
                    ActionRule edited = rule;
                    difference.make(edited);
                    ASSERT_EQ(IsActionChanged(edited, rule),
                              Counts(source, action, isTriggered, difference.name))
                        << difference.name << " of action " << action << ", source " << source
                        << ", triggered " << isTriggered;
                }
            }
        }
    }
}

// Catches: a change of what or where that is not seen, and a condition compared though it is off.
TEST(ActRuleChangeTest, SourceActionAndConditionItself)
{
    ActionRule rule;
    ActionRule other = rule;
    other.SetActSrc(static_cast<DEVICE_SRC>(5));
    EXPECT_TRUE(IsActionChanged(other, rule));
    other = rule;
    other.SetActId(RULE_ACTION_START_REC);
    EXPECT_TRUE(IsActionChanged(other, rule));

    rule.SetActId(static_cast<RULE_ACTION>(28));
    rule.SetCondition(true);
    for (const char* const value : {"", "x"}) {
        other = rule;
        other.SetConditionValue(value);
        EXPECT_EQ(IsActionChanged(other, rule), *value != '\0');
    }
    other = rule;
    other.SetConditionUnit(3);
    EXPECT_TRUE(IsActionChanged(other, rule));
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
