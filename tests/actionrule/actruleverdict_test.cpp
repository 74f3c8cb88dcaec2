// SPDX-License-Identifier: Apache-2.0
// tests/actionrule/actruleverdict_test.cpp - why a rule fires or does not.
#include "actruleverdict.h"

#include <gtest/gtest.h>

#include <string>

#include "support/allocation.h"

namespace {

constexpr std::time_t MONDAY_NOON = 1795435200; // 2026-11-23 12:00 UTC

EVENT_STATUS At(std::uint32_t sec, bool trigger)
{
    return {trigger, sec, 0};
}

class ActRuleVerdictTest : public ::testing::Test {
protected:
    ActRuleVerdictTest()
    {
        ::setenv("TZ", "UTC", 1);
        ::tzset();
        for (const int camId : {1, 2}) {
            m_cameras[camId].InitDIStatus(2, true);
        }
        m_rule.SetId(7);
        m_rule.SetName("Gate");
    }
    ~ActRuleVerdictTest() override { ::unsetenv("TZ"); }

    static ActionRuleEvent Event(RULE_EVENT id, int camId, int item = 0)
    {
        ActionRuleEvent event;
        event.SetEvtId(id);
        event.SetEvtDevId(camId);
        event.SetEvtItem(item);
        return event;
    }
    RuleReason Reason(std::time_t instant = MONDAY_NOON) const
    {
        return JudgeRule(m_rule, m_cameras, instant).reason;
    }
    /// What is said of the rule, behind its name and number.
    std::string Sentence() const
    {
        const std::string name = "Rule \"Gate\" (7) ";
        const std::string sentence =
            ExplainVerdict(JudgeRule(m_rule, m_cameras, MONDAY_NOON), m_rule, MONDAY_NOON);
        EXPECT_TRUE(sentence.starts_with(name)) << sentence;
        return sentence.substr(name.size());
    }

    CameraStates m_cameras;
    ActionRule m_rule;
};

} // namespace

// Catches: reasons asked in another order, so that a person is told the wrong one; a sentence that is wrong.
TEST_F(ActRuleVerdictTest, FirstReasonThatHoldsIsTheAnswer)
{
    m_rule.SetEnabled(false);
    ASSERT_EQ(m_rule.SetActiveSche("sun 00:00-24:00"), 0);
    m_rule.SetEvtMinInterval(60);
    m_rule.SetCondition(true);
    m_rule.SetConditionUnit(RULE_EVENT_MOTION);
    m_rule.SetConditionValue("2");
    m_rule.SetEvtList({Event(RULE_EVENT_DIGITAL_INPUT, 1, 1)});
    m_rule.SetLastTrigTime(MONDAY_NOON - 59);

    EXPECT_EQ(Sentence(), "does not fire: it is switched off.");
    m_rule.SetEnabled(true);
    EXPECT_EQ(Sentence(), "does not fire: its schedule is off at Mon 2026-11-23 12:00:00 UTC "
                          "(sun 00:00-24:00).");
    ASSERT_EQ(m_rule.SetActiveSche("mon 12:00-12:30"), 0);
    EXPECT_EQ(Sentence(), "does not fire: its source is at rest (digital input on camera 1).");
    m_cameras[1].SetDIStatus(1, At(1, true));
    m_cameras[1].SetDIStatus(1, At(2, true));
    EXPECT_EQ(Sentence(), "does not fire: digital input on camera 1 is still active; nothing new "
                          "has happened.");
    m_cameras[1].SetDIStatus(1, At(3, false));
    m_cameras[1].SetDIStatus(1, At(4, true));
    EXPECT_EQ(Sentence(), "does not fire: it has fired before and waits 1 more seconds of its "
                          "minimum interval of 60.");
    m_rule.SetLastTrigTime(MONDAY_NOON - 60);
    EXPECT_EQ(Sentence(), "does not fire: its condition does not hold (motion on camera 2).");
    m_cameras[2].SetMDStatus(At(1, true));
    EXPECT_EQ(Sentence(), "fires at Mon 2026-11-23 12:00:00 UTC: digital input on camera 1.");
    EXPECT_EQ(Reason(MONDAY_NOON + 1800), RuleReason::OUTSIDE_SCHEDULE);
}

// Catches: "all events" that fires on some, "any" that needs all, an edge that is asked of each.
TEST_F(ActRuleVerdictTest, EventsCombineAsTheRuleSays)
{
    m_rule.SetEvtList({Event(RULE_EVENT_DIGITAL_INPUT, 1, 0), Event(RULE_EVENT_DIGITAL_INPUT, 2, 0)});
    for (const auto setting : {MULTI_EVT_SETTING_ANY, MULTI_EVT_SETTING_ALL}) {
        m_rule.SetMultiEvtSetting(setting);
        for (int states = 0; states < 9; ++states) { // rest, held or new, of either camera
            const int first = states % 3;
            const int second = states / 3;
            for (const auto& [camId, state] : {std::pair{1, first}, std::pair{2, second}}) {
                m_cameras[camId].InitDIStatus(2, true);
                m_cameras[camId].SetDIStatus(0, At(1, state > 0));
                if (state == 1) {
                    m_cameras[camId].SetDIStatus(0, At(2, true));
                }
            }
            const bool isTriggered =
                setting == MULTI_EVT_SETTING_ALL ? first > 0 && second > 0 : first + second > 0;
            const bool isNew = first == 2 || second == 2;
            const RuleReason expected =
                !isTriggered ? RuleReason::NOT_TRIGGERED : (isNew ? RuleReason::FIRES : RuleReason::NO_EDGE);
            EXPECT_EQ(Reason(), expected) << setting << ": " << first << second;
        }
    }
}

// Catches: a rule for every camera that misses one, or for some that fires on another.
TEST_F(ActRuleVerdictTest, DevicesOfAnEventAreTheOnesNamed)
{
    m_cameras[2].SetMDStatus(At(1, true));
    ActionRuleEvent event = Event(RULE_EVENT_MOTION, RULE_ALL_DEVICES);
    m_rule.SetEvtList({event});
    EXPECT_EQ(JudgeRule(m_rule, m_cameras, MONDAY_NOON).deviceId, 2);
    event.SetStoredDevIds({1, 3});
    event.SetEvtDevId(1);
    m_rule.SetEvtList({event});
    EXPECT_EQ(Reason(), RuleReason::NOT_TRIGGERED);
    event.SetStoredDevIds({1, 2});
    m_rule.SetEvtList({event});
    EXPECT_EQ(Reason(), RuleReason::FIRES);
    m_rule.SetEvtList({}); // its own columns
    m_rule.SetEvtId(RULE_EVENT_MOTION);
    m_rule.SetEvtDevId(2);
    EXPECT_EQ(Reason(), RuleReason::FIRES);
    m_rule.SetEvtSrc(static_cast<DEVICE_SRC>(3)); // nobody reports that source
    EXPECT_EQ(Reason(), RuleReason::NOT_TRIGGERED);
    EXPECT_EQ(Sentence(), "does not fire: no camera reports its source (event 3 of source 3).");
    event.SetStoredDevIds({1, 3});
    m_rule.SetEvtList({event, Event(static_cast<RULE_EVENT>(33), RULE_ALL_DEVICES)});
    EXPECT_EQ(Sentence(), "does not fire: its source is at rest (motion on cameras 1, 3; event "
                          "33 on any camera).");
    m_rule.SetEvtList({});
    m_rule.SetEvtId(RULE_EVENT_NONE);
    EXPECT_EQ(Sentence(), "does not fire: it names no event.");
}

// Catches: a rule for any input that never fires, or fires again while an input is held; an application likewise.
TEST_F(ActRuleVerdictTest, AnyInputAndApplicationsFireOnTheirEdges)
{
    m_rule.SetEvtList({Event(RULE_EVENT_DIGITAL_INPUT, 1, -1)});
    EXPECT_EQ(Reason(), RuleReason::NOT_TRIGGERED);
    m_cameras[1].SetDIStatus(0, At(1, true));
    EXPECT_EQ(Reason(), RuleReason::FIRES);
    m_cameras[1].SetDIStatus(0, At(2, true));
    EXPECT_EQ(Reason(), RuleReason::NO_EDGE);
    m_cameras[1].SetDIStatus(1, At(3, true));
    EXPECT_EQ(Reason(), RuleReason::FIRES);
    m_rule.SetEvtList({Event(RULE_EVENT_APPLICATION, 1, 4)});
    m_cameras[1].SetAppStatus(4, At(1, true));
    EXPECT_EQ(Reason(), RuleReason::FIRES);
    m_cameras[1].SetAppStatus(4, At(2, true));
    EXPECT_EQ(Reason(), RuleReason::NO_EDGE);
}

// Catches: a clock that is set back and silences a rule for ever; a broken condition that lets everything
// pass.
TEST_F(ActRuleVerdictTest, OddTimesAndConditionsAreOnTheSafeSide)
{
    m_cameras[1].SetMDStatus(At(1, true));
    m_rule.SetEvtList({Event(RULE_EVENT_MOTION, 1)});
    m_rule.SetEvtMinInterval(60);
    m_rule.SetLastTrigTime(MONDAY_NOON + 5000);
    EXPECT_EQ(Reason(), RuleReason::FIRES);
    m_rule.SetLastTrigTime(0);
    m_rule.SetCondition(true);
    m_rule.SetConditionUnit(RULE_EVENT_MOTION);
    for (const char* const value : {"", "x", "1:", "1:x", "1 ", "99", "99999999999"}) {
        m_rule.SetConditionValue(value);
        EXPECT_EQ(Reason(), RuleReason::CONDITION_NOT_MET) << value;
        EXPECT_EQ(Sentence().find("names no camera") == std::string::npos, std::string(value) == "99")
            << value;
    }
    m_rule.SetConditionValue("1:0");
    EXPECT_EQ(Reason(), RuleReason::FIRES);
}

// Catches: an allocation in the path that a daemon takes for every rule and every event.
TEST_F(ActRuleVerdictTest, VerdictAllocatesNothing)
{
    m_rule.SetEvtList({Event(RULE_EVENT_MOTION, RULE_ALL_DEVICES), Event(RULE_EVENT_DIGITAL_INPUT, 1, 1)});
    m_rule.SetCondition(true);
    m_rule.SetConditionValue("2:1");
    static_cast<void>(Reason()); // the tz database is read once
    const long before = AllocationCount();
    for (int i = 0; i < 100; ++i) {
        static_cast<void>(Reason());
    }
    EXPECT_EQ(AllocationCount(), before);
}
