// SPDX-License-Identifier: Apache-2.0
// tests/camera/cameventexecparam_test.cpp - states, edges and the recording decision of one camera.
#include "cameventexecparam.h"

#include <gtest/gtest.h>

#include <functional>
#include <set>
#include <string>

#include "support/fake_clock.h"
#include "support/log_capture.h"
#include "vxlog.h"

namespace {

constexpr auto MAIN = CAM_REC_GROUP_CONTINUOUS;
constexpr auto SECOND = CAM_REC_GROUP_EVENT;
constexpr auto CUSTOM_1 = CustomFlags::CUSTOM_1;
constexpr auto CUSTOM_2 = CustomFlags::CUSTOM_2;

EVENT_STATUS At(std::uint32_t sec, bool trigger)
{
    return {trigger, sec, 0};
}

/// A camera with two inputs, of which the second is the button that asks to leave, two outputs and
/// the applications 1 and 19.
CamEventExecParam MakeCamera()
{
    CamEventExecParam cam;
    cam.InitDIStatus(2, true);
    cam.InitDOStatus(2);
    cam.InitAppStatus({1, 19});
    return cam;
}

/// Everything but inputs and applications.
void TriggerDetectors(CamEventExecParam& cam)
{
    cam.SetMDStatus(At(1, true));
    cam.SetTDStatus(At(1, true));
    cam.SetADStatus(At(1, true));
    cam.SetPDStatus(At(1, true));
    cam.SetQRCodeStatus(At(1, true));
    cam.SetExtDIStatus(1);
    cam.SetDoorbellStatus(At(1, true));
    cam.SetDoorAcsTime(g_fakeWallSec);
    cam.SetDOStatus(0, At(1, true));
    cam.UpdateDoorActTime(1);
    cam.SetDOStatus(0, At(2, false));
    cam.UpdateDoorActTime(1);
    cam.SetPeopleVehicleStatus(true);
    cam.SetIntrusionStatus(true);
    cam.SetCrowdedDetectionStatus(true);
}

} // namespace

// Catches: a report that is delivered twice and overwrites what it already said.
TEST(CamEventTest, ReportWithTheStoredTimeChangesNothing)
{
    CamEventExecParam cam;
    cam.SetMDStatus(At(10, true));
    cam.SetMDStatus(At(10, false));
    EXPECT_TRUE(cam.IsMDTrig());
    cam.SetMDStatus({false, 10, 1}); // the second word of the time counts too
    EXPECT_FALSE(cam.IsMDTrig());
}

// ---- edges: the same rule for every kind of source that keeps two statuses

struct EdgeCase {
    const char* what;
    std::function<void(CamEventExecParam&, const EVENT_STATUS&)> report;
    std::function<bool(const CamEventExecParam&)> becomeActivate;
    std::function<bool(const CamEventExecParam&)> becomeInactivate; // empty: the source has none
};
class CamEdgeTest : public ::testing::TestWithParam<EdgeCase> {};

// Catches: an edge that is missed, seen twice, or lost because a report came twice.
TEST_P(CamEdgeTest, EdgeIsSeenFromItsReportToTheNext)
{
    const auto& report = GetParam().report;
    const auto& becomeActivate = GetParam().becomeActivate;
    const auto& becomeInactivate = GetParam().becomeInactivate;
    const auto falls = [&](const CamEventExecParam& cam) {
        return becomeInactivate && becomeInactivate(cam);
    };
    CamEventExecParam cam = MakeCamera();
    EXPECT_FALSE(becomeActivate(cam));

    report(cam, At(1, true));
    EXPECT_TRUE(becomeActivate(cam));
    report(cam, At(1, true)); // delivered again: the status of that time is stored, the edge is over
    EXPECT_FALSE(becomeActivate(cam));
    report(cam, At(2, true));
    EXPECT_FALSE(becomeActivate(cam));
    EXPECT_FALSE(falls(cam));

    report(cam, At(3, false));
    EXPECT_FALSE(becomeActivate(cam));
    EXPECT_EQ(falls(cam), static_cast<bool>(becomeInactivate));
    report(cam, At(4, false));
    EXPECT_FALSE(falls(cam));
    report(cam, At(5, true));
    EXPECT_TRUE(becomeActivate(cam));
}

INSTANTIATE_TEST_SUITE_P(
    EverySource, CamEdgeTest,
    ::testing::Values(EdgeCase{"DI", [](auto& cam, auto& status) { cam.SetDIStatus(1, status); },
                               [](auto& cam) { return cam.DIBecomeActivate(1); },
                               [](auto& cam) { return cam.DIBecomeInactivate(1); }},
                      EdgeCase{"DO", [](auto& cam, auto& status) { cam.SetDOStatus(0, status); },
                               [](auto& cam) { return cam.DOBecomeActivate(0); },
                               [](auto& cam) { return cam.DOBecomeInactivate(0); }},
                      EdgeCase{"DioDI", [](auto& cam, auto& status) { cam.SetDIOStatus(7, status); },
                               [](auto& cam) { return cam.DioDIBecomeActivate(7); },
                               [](auto& cam) { return cam.DioDIBecomeInactivate(7); }},
                      EdgeCase{"App",
                               [](auto& cam, auto& status) { cam.SetAppStatus(19, status); },
                               [](auto& cam) { return cam.AppBecomeActivate(19); },
                               {}},
                      EdgeCase{"Doorbell",
                               [](auto& cam, auto& status) { cam.SetDoorbellStatus(status); },
                               [](auto& cam) { return cam.DoorbellBecomeActivate(); },
                               {}}),
    [](const auto& test) { return std::string(test.param.what); });

// ---- digital inputs

// Catches: a port outside the camera's inputs that reads a neighbour, and a DI side that counts though
// its port is an output.
TEST(CamInputTest, PortsAnswerForThemselvesAndDioForItsInputSide)
{
    EXPECT_FALSE(CamEventExecParam().IsDITrig(-1));

    CamEventExecParam cam = MakeCamera();
    cam.SetDIOStatus(0, At(1, true));
    EXPECT_TRUE(cam.IsDITrig(-1));
    EXPECT_FALSE(cam.IsDITrig(0)); // no type yet
    cam.SetDIOType(0, 1);
    EXPECT_FALSE(cam.IsDITrig(0));
    cam.SetDIOType(0, 0);
    EXPECT_TRUE(cam.IsDITrig(0));
    cam.SetDIStatus(5, At(1, true)); // above the count: kept, never triggered by number
    EXPECT_FALSE(cam.IsDITrig(5));
    EXPECT_FALSE(cam.IsDITrig(-2));
    EXPECT_EQ(cam.GetTrigDIs(), std::list<int>{0});
    cam.InitDIStatus(1, false);
    EXPECT_FALSE(cam.IsMultiDi());
    EXPECT_FALSE(cam.DIBecomeActivate(5));
}

// Catches: the button read from a port that the camera does not have.
TEST(CamInputTest, ExitButtonLiesWithinTheInputs)
{
    CamEventExecParam cam = MakeCamera();
    cam.SetDIStatus(1, At(1, true));
    cam.SetDIStatus(2, At(1, true));
    for (const int port : {-1, 0, 1, 2}) {
        cam.SetRexBtnIdx(port);
        EXPECT_EQ(cam.IsRexBtnTrig(), port == 1) << port;
    }
    cam.SetExtDIStatus(0x80000001u);
    EXPECT_TRUE(cam.IsExtDITrig(31) && cam.IsExtDITrig(0));
    EXPECT_FALSE(cam.IsExtDITrig(1) || cam.IsExtDITrig(32) || cam.IsExtDITrig(-1));
}

// ---- door

// Catches: a door time that lasts a second too long or too short, or that a clock set back makes endless.
TEST(CamDoorTest, DoorTimesLastThreeSeconds)
{
    CamEventExecParam cam = MakeCamera();
    EXPECT_FALSE(cam.IsDoorUnlockTrig() || cam.IsDoorLockTrig() || cam.IsDoorAcsTrig());
    cam.SetDOStatus(1, At(1, true));
    cam.UpdateDoorActTime(1); // counts from 1: port 0 did not move
    EXPECT_FALSE(cam.IsDoorUnlockTrig());
    cam.UpdateDoorActTime(2);
    const std::time_t unlocked = g_fakeWallSec;
    for (const int delta : {-4, -3, 3, 4}) {
        g_fakeWallSec = unlocked + delta;
        EXPECT_EQ(cam.IsDoorUnlockTrig(), delta == 3 || delta == -3) << delta;
    }
    EXPECT_FALSE(cam.IsDoorLockTrig());
    cam.SetDOStatus(1, At(2, false));
    cam.UpdateDoorActTime(2);
    EXPECT_TRUE(cam.IsDoorLockTrig());
    cam.SetDoorAcsTime(g_fakeWallSec - 3);
    EXPECT_TRUE(cam.IsDoorAcsTrig());
}

// ---- connection

// Catches: a loss or a recovery seen for a status that is neither normal nor a failure.
TEST(CamConnectionTest, LossAndRecoveryForEveryPairOfStatuses)
{
    const auto isFailed = [](int status) {
        return (status > 1 && status < 7) || (status > 12 && status < 18);
    };
    CamEventExecParam cam;
    for (int previous = -1; previous <= 20; ++previous) {
        for (int current = -1; current <= 20; ++current) {
            cam.SetPrevConnStatus(static_cast<CONN_STATUS>(previous));
            cam.SetCurConnStatus(static_cast<CONN_STATUS>(current));
            EXPECT_EQ(cam.BecomeConnLost(), previous == 1 && isFailed(current)) << previous << ">" << current;
            EXPECT_EQ(cam.BecomeConnRecover(), isFailed(previous) && current == 1)
                << previous << ">" << current;
            EXPECT_EQ(cam.IsConnNormal(), current == 1);
        }
    }
}

// ---- the recording decision

struct CustomCase {
    const char* what;
    std::function<void(CamEventExecParam&)> trigger;
    std::set<int> sourceBits; // bits of the source mask that select it
    std::set<int> inputBits;  // bits of the input mask that select it
};
class CamCustomTest : public ::testing::TestWithParam<CustomCase> {};

// Catches: a source that records under another one's bit, or not under its own.
TEST_P(CamCustomTest, SourceCountsUnderItsOwnBitsOnly)
{
    CamEventExecParam cam = MakeCamera();
    GetParam().trigger(cam);
    for (int bit = 0; bit < 32; ++bit) {
        cam.SetCustomDetMethod(MAIN, CUSTOM_2, {1u << bit, 0});
        EXPECT_EQ(cam.IsScheCustomTrig(1, MAIN, CUSTOM_2), GetParam().sourceBits.count(bit) == 1)
            << "source " << bit;
        cam.SetCustomDetMethod(MAIN, CUSTOM_2, {0, 1u << bit});
        EXPECT_EQ(cam.IsScheCustomTrig(1, MAIN, CUSTOM_2), GetParam().inputBits.count(bit) == 1)
            << "input " << bit;
    }
}

INSTANTIATE_TEST_SUITE_P(
    EverySource, CamCustomTest,
    ::testing::Values(
        CustomCase{"None", [](auto&) {}, {}, {}}, //
        CustomCase{"Motion", [](auto& cam) { cam.SetMDStatus(At(1, true)); }, {0}, {}},
        CustomCase{"Tampering", [](auto& cam) { cam.SetTDStatus(At(1, true)); }, {1}, {}},
        CustomCase{"Audio", [](auto& cam) { cam.SetADStatus(At(1, true)); }, {2}, {}},
        CustomCase{"Pd", [](auto& cam) { cam.SetPDStatus(At(1, true)); }, {3}, {}},
        CustomCase{"Doorbell", [](auto& cam) { cam.SetDoorbellStatus(At(1, true)); }, {4}, {}},
        CustomCase{"DoorAccess", [](auto& cam) { cam.SetDoorAcsTime(g_fakeWallSec); }, {5}, {}},
        CustomCase{"ExitButton",
                   [](auto& cam) {
                       cam.SetRexBtnIdx(1);
                       cam.SetDIStatus(1, At(1, true));
                   },
                   {7},
                   {1}},
        CustomCase{"DoorUnlock",
                   [](auto& cam) {
                       cam.SetDOStatus(0, At(1, true));
                       cam.UpdateDoorActTime(1);
                   },
                   {9},
                   {}},
        CustomCase{"DoorLock",
                   [](auto& cam) {
                       cam.SetDOStatus(0, At(1, true));
                       cam.SetDOStatus(0, At(2, false));
                       cam.UpdateDoorActTime(1);
                   },
                   {8},
                   {}},
        CustomCase{"QrCode", [](auto& cam) { cam.SetQRCodeStatus(At(1, true)); }, {10}, {}},
        CustomCase{"PeopleVehicle", [](auto& cam) { cam.SetPeopleVehicleStatus(true); }, {12}, {}},
        CustomCase{"Intrusion", [](auto& cam) { cam.SetIntrusionStatus(true); }, {13}, {}},
        CustomCase{"Crowded", [](auto& cam) { cam.SetCrowdedDetectionStatus(true); }, {14}, {}},
        CustomCase{
            "AppSharesTheBitOfIntrusion", [](auto& cam) { cam.SetAppStatus(1, At(1, true)); }, {13}, {}},
        CustomCase{"LastApp", [](auto& cam) { cam.SetAppStatus(19, At(1, true)); }, {31}, {}},
        CustomCase{"Input", [](auto& cam) { cam.SetDIStatus(0, At(1, true)); }, {}, {0}},
        CustomCase{"ExternalInputIsBehindTheLast", [](auto& cam) { cam.SetExtDIStatus(4); }, {}, {2}}),
    [](const auto& test) { return std::string(test.param.what); });

// Catches: a line that is missing, misworded or out of order, a source that is not asked after another one was
// found, and anything but the first input.
TEST(CamCustomLogTest, EverySelectedSourceWritesItsLineInOrder)
{
    CamEventExecParam cam;
    cam.InitDIStatus(3, true);
    cam.InitDOStatus(2);
    cam.InitAppStatus({2, 0, 19});
    for (const int port : {1, 2}) {
        cam.SetDIStatus(port, At(1, true));
    }
    for (const int app : {0, 2, 19}) {
        cam.SetAppStatus(app, At(1, true));
    }
    TriggerDetectors(cam);
    cam.SetRexBtnIdx(2);
    cam.SetCustomDetMethod(SECOND, CUSTOM_2, {~0u, ~0u});
    LogCapture log;
    EXPECT_TRUE(cam.IsScheCustomTrig(7, SECOND, CUSTOM_2));
    std::string text;
    for (const CapturedLine& line : log.Take()) {
        EXPECT_EQ(line.categ + " " + line.level + " " + line.place,
                  std::string(Enum2String<LOG_CATEG>(static_cast<LOG_CATEG>(7))) + " " +
                      Enum2String<LOG_LEVEL>(static_cast<LOG_LEVEL>(4)) +
                      " camera/cameventexecparam IsScheCustomTrig");
        ASSERT_EQ(line.text.rfind("Cam[7] RecGrp[1] Custom[1]: ", 0), 0u) << line.text;
        text += line.text.substr(line.text.find(':') + 2);
    }
    EXPECT_EQ(text, "DI(1) is trigged.\nMD is trigged.\nTD is trigged.\nAD is trigged.\nPD is trigged.\n"
                    "external DI is trigged.\nApp(2) is trigged.\nApp(0) is trigged.\nApp(19) is trigged.\n"
                    "Doorbell is trigged.\nRelay is trigged.\nREX is trigged.\nDoor Lock is trigged.\n"
                    "Door Unlock is trigged.\npeople vehicle is trigged.\nintrusion detection is trigged.\n"
                    "crowded detection is trigged.\nQR Code detection is trigged.\n");
    EXPECT_TRUE(cam.IsScheMDTrig(7));
    EXPECT_EQ(log.TakeText(), "camera/cameventexecparam IsScheMDTrig: Cam[7]: REC_SCHE_MD is trigger!\n");
}

// Catches: flags of one group or index that decide for another one.
TEST(CamCustomGroupTest, EachGroupAndIndexDecidesForItself)
{
    for (const auto group : {MAIN, SECOND, static_cast<CAM_REC_GROUP>(9)}) {
        for (const auto idx : {CUSTOM_1, CUSTOM_2}) {
            CamEventExecParam cam;
            cam.SetMDStatus(At(1, true));
            cam.SetCustomDetMethod(group, idx, {1, 0});
            for (const auto askedGroup : {MAIN, SECOND}) {
                for (const auto askedIdx : {CUSTOM_1, CUSTOM_2}) {
                    EXPECT_EQ(cam.IsScheCustomTrig(1, askedGroup, askedIdx),
                              (group == SECOND) == (askedGroup == SECOND) && idx == askedIdx);
                }
            }
            EXPECT_FALSE(cam.IsScheCustomTrig(1, group, static_cast<CustomFlags::Idx>(2)));
        }
    }
    ExtDeviceTrigCustomT outside;
    ExtDeviceTrigCustomT other;
    other.trigger[1][0] = true;
    outside.OrOper(other);
    CamEventExecParam cam;
    cam.SetExtDeviceTrigCustom(outside);
    EXPECT_TRUE(cam.IsScheCustomTrig(1, SECOND, CUSTOM_1));
    EXPECT_FALSE(cam.IsScheCustomTrig(1, SECOND, CUSTOM_2) || cam.IsScheCustomTrig(1, MAIN, CUSTOM_1));
}

// Catches: a derived camera whose own motion answer is ignored.
TEST(CamMotionTest, ScheduleAsksTheDerivedCamera)
{
    struct Derived : CamEventExecParam {
        bool IsMDTrig() const noexcept override { return true; }
    } cam;
    EXPECT_TRUE(cam.IsScheMDTrig(1));
    cam.RefreshTrigEvt();
    EXPECT_TRUE(cam.GetAlertEventType().Has(0));
}

// ---- combined flags

// Catches: an alert under the wrong flag, one that stays after its source is at rest, and the flags of
// the analytics that are set and cleared out of turn.
TEST(CamAlertTest, FlagsFollowTheirSources)
{
    CamEventExecParam cam = MakeCamera();
    const auto flags = [&cam] {
        std::set<int> set;
        for (int flag = 0; flag < AlertEventType::FLAG_COUNT; ++flag) {
            if (cam.GetAlertEventType().Has(flag)) {
                set.insert(flag);
            }
        }
        return set;
    };
    cam.SetIntrusionStatus(true);
    EXPECT_EQ(flags(), (std::set<int>{65}));
    cam.SetPeopleVehicleStatus(false); // was not set: nothing to clear
    cam.SetIntrusionStatus(false);
    EXPECT_TRUE(flags().empty());

    TriggerDetectors(cam);
    cam.SetRexBtnIdx(0);
    cam.SetDIStatus(0, At(1, true));
    cam.SetAppStatus(19, At(1, true));
    cam.SetActionRuleAlert(true);
    cam.RefreshTrigEvt();
    EXPECT_EQ(flags(), (std::set<int>{0, 1, 2, 3, 14, 15, 16, 17, 21, 22, 23, 25, 51, 64, 65, 66, 80}));

    cam.SetMDStatus(At(2, false));
    cam.RefreshTrigEvt();
    EXPECT_EQ(flags().count(0), 0u);
}

// Catches: a task that is never flagged and disturbs the set.
TEST(CamLapseTest, TasksAreFlaggedOneByOne)
{
    CamEventExecParam cam;
    cam.SetLapseTaskFlag(4, true);
    cam.SetLapseTaskFlag(5, false);
    EXPECT_TRUE(cam.IsLapseTaskTrig(4));
    EXPECT_FALSE(cam.IsLapseTaskTrig(5));
    cam.SetLapseTaskFlag(4, false);
    EXPECT_FALSE(cam.IsLapseTaskTrig(4));
}
