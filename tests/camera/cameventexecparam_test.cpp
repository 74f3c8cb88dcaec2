// SPDX-License-Identifier: Apache-2.0
// tests/camera/cameventexecparam_test.cpp - states, edges and the recording decision of one camera.
#include "cameventexecparam.h"

#include <gtest/gtest.h>

#include <set>

#include "support/fake_clock.h"
#include "support/log_capture.h"

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
    cam.InitAppStatus({19, 1});
    return cam;
}

using Cam = CamEventExecParam;

const EVENT_STATUS ON = At(1, true);

/// The first output moves, and with it the door.
void MoveDoor(Cam& cam, std::uint32_t sec, bool isOpen)
{
    cam.SetDOStatus(0, At(sec, isOpen));
    cam.UpdateDoorActTime(1);
}

/// What can be at work in such a camera, in the order of their lines in the log.
struct Source {
    const char* name; ///< in its line
    void (*trigger)(Cam&);
    std::set<int> sourceBits; ///< bits of the source mask that select it
    std::set<int> inputBits;  ///< bits of the input mask that select it
    std::set<int> flags;      ///< of the combined alert
};
const Source SOURCES[] = {
    {"DI(0)", [](Cam& cam) { cam.SetDIStatus(0, ON); }, {}, {0}, {3}},
    {"MD", [](Cam& cam) { cam.SetMDStatus(ON); }, {0}, {}, {0}},
    {"TD", [](Cam& cam) { cam.SetTDStatus(ON); }, {1}, {}, {2}},
    {"AD", [](Cam& cam) { cam.SetADStatus(ON); }, {2}, {}, {1}},
    {"PD", [](Cam& cam) { cam.SetPDStatus(ON); }, {3}, {}, {14}},
    {"external DI", [](Cam& cam) { cam.SetExtDIStatus(4); }, {}, {2}, {15}}, // behind the last input
    {"App(19)", [](Cam& cam) { cam.SetAppStatus(19, ON); }, {31}, {}, {51}},
    {"App(1)", [](Cam& cam) { cam.SetAppStatus(1, ON); }, {13}, {}, {33}}, // the bit of intrusion, too
    {"Doorbell", [](Cam& cam) { cam.SetDoorbellStatus(ON); }, {4}, {}, {16}},
    {"Relay", [](Cam& cam) { cam.SetDoorAcsTime(g_fakeWallSec); }, {5}, {}, {17}},
    {"REX", [](Cam& cam) { cam.SetRexBtnIdx(1), cam.SetDIStatus(1, ON); }, {7}, {1}, {3, 21}},
    {"Door Lock", [](Cam& cam) { cam.SetDOStatus(0, ON), MoveDoor(cam, 2, false); }, {8}, {}, {22}},
    {"Door Unlock", [](Cam& cam) { MoveDoor(cam, 3, true); }, {9}, {}, {23}},
    {"people vehicle", [](Cam& cam) { cam.SetPeopleVehicleStatus(true); }, {12}, {}, {64}},
    {"intrusion detection", [](Cam& cam) { cam.SetIntrusionStatus(true); }, {13}, {}, {65}},
    {"crowded detection", [](Cam& cam) { cam.SetCrowdedDetectionStatus(true); }, {14}, {}, {66}},
    {"QR Code detection", [](Cam& cam) { cam.SetQRCodeStatus(ON); }, {10}, {}, {25}},
};

std::set<int> FlagsOf(const Cam& cam)
{
    std::set<int> flags;
    for (int flag = 0; flag < AlertEventType::FLAG_COUNT; ++flag) {
        if (cam.GetAlertEventType().Has(flag)) {
            flags.insert(flag);
        }
    }
    return flags;
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

struct Edge {
    const char* what;
    void (*report)(Cam&, const EVENT_STATUS&);
    bool (*becomeActivate)(const Cam&);
    bool (*becomeInactivate)(const Cam&); ///< null: the source has none
};
const Edge EDGES[] = {
    {"DI", [](Cam& cam, auto& status) { cam.SetDIStatus(1, status); },
     [](auto& cam) { return cam.DIBecomeActivate(1); }, [](auto& cam) { return cam.DIBecomeInactivate(1); }},
    {"DO", [](Cam& cam, auto& status) { cam.SetDOStatus(0, status); },
     [](auto& cam) { return cam.DOBecomeActivate(0); }, [](auto& cam) { return cam.DOBecomeInactivate(0); }},
    {"DioDI", [](Cam& cam, auto& status) { cam.SetDIOStatus(7, status); },
     [](auto& cam) { return cam.DioDIBecomeActivate(7); },
     [](auto& cam) { return cam.DioDIBecomeInactivate(7); }},
    {"App", [](Cam& cam, auto& status) { cam.SetAppStatus(19, status); },
     [](auto& cam) { return cam.AppBecomeActivate(19); }, nullptr},
    {"Doorbell", [](Cam& cam, auto& status) { cam.SetDoorbellStatus(status); },
     [](auto& cam) { return cam.DoorbellBecomeActivate(); }, nullptr},
};

// Catches: an edge that is missed, seen twice, or lost because a report came twice.
TEST(CamEdgeTest, EdgeIsSeenFromItsReportToTheNext)
{
    const struct {
        std::uint32_t sec;
        bool trigger;
        bool rises;
        bool falls;
    } reports[] = {
        {1, true, true, false},  {1, true, false, false}, // again: that time is known, the edge is over
        {2, true, false, false}, {3, false, false, true}, {4, false, false, false}, {5, true, true, false}};
    for (const Edge& edge : EDGES) {
        Cam cam = MakeCamera();
        EXPECT_FALSE(edge.becomeActivate(cam));
        for (const auto& [sec, trigger, rises, falls] : reports) {
            edge.report(cam, At(sec, trigger));
            EXPECT_EQ(edge.becomeActivate(cam), rises) << edge.what << " at " << sec;
            EXPECT_TRUE(edge.becomeInactivate == nullptr || edge.becomeInactivate(cam) == falls)
                << edge.what << " at " << sec;
        }
    }
}

// ---- digital inputs

// Catches: a port outside the camera's inputs that reads a neighbour, and a DI side that counts though
// its port is an output.
TEST(CamInputTest, PortsAnswerForThemselvesAndDioForItsInputSide)
{
    EXPECT_FALSE(CamEventExecParam().IsDITrig(-1));

    CamEventExecParam cam = MakeCamera();
    cam.SetDIOStatus(0, ON);
    EXPECT_TRUE(cam.IsDITrig(-1));
    EXPECT_FALSE(cam.IsDITrig(0)); // no type yet
    cam.SetDIOType(0, 1);
    EXPECT_FALSE(cam.IsDITrig(0));
    cam.SetDIOType(0, 0);
    EXPECT_TRUE(cam.IsDITrig(0));
    cam.SetDIStatus(5, ON); // above the count: kept, never triggered by number
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
    cam.SetDIStatus(1, ON);
    cam.SetDIStatus(2, ON);
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
    cam.SetDOStatus(1, ON);
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
            EXPECT_TRUE(cam.BecomeConnLost() == (previous == 1 && isFailed(current)) &&
                        cam.BecomeConnRecover() == (isFailed(previous) && current == 1) &&
                        cam.IsConnNormal() == (current == 1))
                << previous << ">" << current;
        }
    }
}

// ---- the recording decision

// Catches: a source that records under another one's bit, or not under its own.
TEST(CamCustomTest, SourceCountsUnderItsOwnBitsOnly)
{
    for (const Source& source : SOURCES) {
        Cam cam = MakeCamera();
        for (const bool isTriggered : {false, true}) {
            for (int bit = 0; bit < 32; ++bit) {
                for (const auto& [bits, mask] : {std::pair{source.sourceBits, CustomFlags{1u << bit, 0}},
                                                 {source.inputBits, {0, 1u << bit}}}) {
                    cam.SetCustomDetMethod(MAIN, CUSTOM_2, mask);
                    EXPECT_EQ(cam.IsScheCustomTrig(1, MAIN, CUSTOM_2), isTriggered && bits.contains(bit))
                        << source.name << ", bit " << bit;
                }
            }
            source.trigger(cam);
        }
    }
}

// Catches: a line that is missing, misworded or out of order, a source that is not asked after another one was
// found, and anything but the first input.
TEST(CamCustomTest, EverySelectedSourceWritesItsLineInOrder)
{
    Cam cam = MakeCamera();
    std::string expected;
    for (const Source& source : SOURCES) {
        source.trigger(cam);
        expected += std::string("camera INFO camera/cameventexecparam IsScheCustomTrig: Cam[7] RecGrp[1] "
                                "Custom[1]: ") +
                    source.name + " is trigged.\n";
    }
    cam.SetAppStatus(0, ON); // not one of the camera's
    cam.SetCustomDetMethod(SECOND, CUSTOM_2, {~0u, ~0u});
    LogCapture log;
    EXPECT_TRUE(cam.IsScheCustomTrig(7, SECOND, CUSTOM_2));
    std::string text;
    for (const CapturedLine& line : log.Take()) {
        text += line.categ + " " + line.level + " " + line.place + ": " + line.text;
    }
    EXPECT_EQ(text, expected);
    EXPECT_TRUE(cam.IsScheMDTrig(7));
    EXPECT_EQ(log.TakeText(), "camera/cameventexecparam IsScheMDTrig: Cam[7]: REC_SCHE_MD is trigger!\n");
}

// Catches: flags of one group or index that decide for another one.
TEST(CamCustomGroupTest, EachGroupAndIndexDecidesForItself)
{
    for (const auto group : {MAIN, SECOND, static_cast<CAM_REC_GROUP>(9)}) {
        for (const auto idx : {CUSTOM_1, CUSTOM_2}) {
            CamEventExecParam cam;
            cam.SetMDStatus(ON);
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
    for (const Source& source : SOURCES) {
        Cam cam = MakeCamera();
        source.trigger(cam);
        cam.RefreshTrigEvt();
        EXPECT_EQ(FlagsOf(cam), source.flags) << source.name;
    }
    Cam cam = MakeCamera();
    cam.SetIntrusionStatus(true);
    EXPECT_EQ(FlagsOf(cam), (std::set<int>{65})) << "at once";
    cam.SetPeopleVehicleStatus(false); // was not set: nothing to clear
    cam.SetIntrusionStatus(false);
    EXPECT_TRUE(FlagsOf(cam).empty());
    cam.SetMDStatus(ON);
    cam.SetActionRuleAlert(true);
    cam.RefreshTrigEvt();
    EXPECT_EQ(FlagsOf(cam), (std::set<int>{0, 80}));
    cam.SetMDStatus(At(2, false));
    cam.RefreshTrigEvt();
    EXPECT_EQ(FlagsOf(cam), (std::set<int>{80}));
}
