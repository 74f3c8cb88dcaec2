// SPDX-License-Identifier: Apache-2.0
// actionrule/actruleverdict.cpp - judging a rule, and saying why in words.
#include "actruleverdict.h"

#include <algorithm>
#include <charconv>
#include <string_view>
#include <vector>

#include "iter2string.h"

namespace {

/// One event to judge: of a rule's list, or of its own columns.
struct EventView {
    DEVICE_SRC source;
    RULE_EVENT id;
    int item;
};

/// What the events of a rule amount to.
struct Trigger {
    bool isTriggered = false;
    bool isEdge = false;
    int place = -1;
    int deviceId = 0;
};

SourceState Lasting(bool isTriggered) noexcept
{
    return {isTriggered, isTriggered};
}

bool IsInputNew(const CamEventExecParam& camera, int port) noexcept
{
    return camera.DIBecomeActivate(port) || camera.DioDIBecomeActivate(port);
}

bool IsAnyInputNew(const CamEventExecParam& camera) noexcept
{
    const int count = std::max(camera.GetDICnt(), camera.GetDOCnt()); // a port that is both counts as either
    for (int port = 0; port < count; ++port) {
        if (IsInputNew(camera, port)) {
            return true;
        }
    }
    return false;
}

/// Calls judge(deviceId) for the devices of an event until it says true. Allocates nothing.
template <typename Judge>
void ForEachDevice(const ActionRuleEvent& event, const CameraStates& cameras, Judge judge)
{
    if (event.IsAllDevices()) {
        for (const auto& camera : cameras) {
            if (judge(camera.first)) {
                return;
            }
        }
        return;
    }
    if (!event.IsSupportMultiDevice() || event.GetStoredDevIds().empty()) {
        judge(event.GetEvtDevId());
        return;
    }
    for (const int deviceId : event.GetStoredDevIds()) {
        if (judge(deviceId)) {
            return;
        }
    }
}

/// Adds one device's source to a trigger. @return true when nothing better can come
bool AddSource(const EventView& event, int deviceId, const CameraStates& cameras, std::time_t instant,
               Trigger& trigger) noexcept
{
    const auto camera = cameras.find(deviceId);
    if (event.source != DEVICE_SRC_CAMERA || camera == cameras.end()) {
        return false;
    }
    const SourceState state = ReadSource(camera->second, event.id, event.item, instant);
    if (state.isTriggered && !(trigger.isTriggered && trigger.isEdge)) {
        if (!trigger.isTriggered || state.isEdge) {
            trigger.deviceId = deviceId;
        }
        trigger.isTriggered = true;
        trigger.isEdge = trigger.isEdge || state.isEdge;
    }
    return trigger.isTriggered && trigger.isEdge;
}

Trigger JudgeEvent(const ActionRuleEvent& event, const CameraStates& cameras, std::time_t instant) noexcept
{
    Trigger trigger;
    const EventView view{event.GetEvtSrc(), event.GetEvtId(), event.GetEvtItem()};
    ForEachDevice(event, cameras,
                  [&](int deviceId) { return AddSource(view, deviceId, cameras, instant, trigger); });
    return trigger;
}

Trigger JudgeAnyEvent(const ActionRule& rule, const CameraStates& cameras, std::time_t instant) noexcept
{
    Trigger best;
    int place = 0;
    for (const ActionRuleEvent& event : rule.GetEvtList()) {
        const Trigger trigger = JudgeEvent(event, cameras, instant);
        if (trigger.isTriggered && (!best.isTriggered || (trigger.isEdge && !best.isEdge))) {
            best = trigger;
            best.place = place;
        }
        ++place;
    }
    return best;
}

Trigger JudgeAllEvents(const ActionRule& rule, const CameraStates& cameras, std::time_t instant) noexcept
{
    Trigger all{true, false, -1, 0};
    int place = 0;
    for (const ActionRuleEvent& event : rule.GetEvtList()) {
        const Trigger trigger = JudgeEvent(event, cameras, instant);
        if (!trigger.isTriggered) {
            return {false, false, place, 0}; // the one that is missing
        }
        if (trigger.isEdge && !all.isEdge) {
            all = {true, true, place, trigger.deviceId};
        }
        ++place;
    }
    return all;
}

Trigger JudgeEvents(const ActionRule& rule, const CameraStates& cameras, std::time_t instant) noexcept
{
    if (!rule.GetEvtList().empty()) {
        return rule.GetMultiEvtSetting() == MULTI_EVT_SETTING_ALL ? JudgeAllEvents(rule, cameras, instant)
                                                                  : JudgeAnyEvent(rule, cameras, instant);
    }
    if (rule.GetRuleType() == VxRULE_TYPE_SCHEDULED) {
        return {true, true, -1, 0};
    }
    Trigger trigger;
    const EventView own{rule.GetEvtSrc(), rule.GetEvtId(), rule.GetEvtItem()};
    AddSource(own, rule.GetEvtDevId(), cameras, instant, trigger);
    return trigger;
}

/// Seconds until the rule may fire again; 0 when it may. A last time in the future was set by another clock.
int WaitSec(const ActionRule& rule, std::time_t instant) noexcept
{
    const auto sinceSec = static_cast<long long>(instant) - static_cast<long long>(rule.GetLastTrigTime());
    const bool isWithin = rule.GetLastTrigTime() != 0 && sinceSec >= 0 &&
                          sinceSec < static_cast<long long>(rule.GetEvtMinInterval());
    return isWithin ? static_cast<int>(rule.GetEvtMinInterval() - sinceSec) : 0;
}

/// The camera that a rule's condition names, and the item there: "12", "12:3".
struct ConditionSource {
    int deviceId = 0;
    int item = 0;
    bool isNamed = false; ///< false: the text is neither
};

ConditionSource ReadCondition(std::string_view text) noexcept
{
    ConditionSource source;
    const char* const end = text.data() + text.size();
    const auto camera = std::from_chars(text.data(), end, source.deviceId);
    const bool hasItem = camera.ec == std::errc() && camera.ptr != end && *camera.ptr == ':';
    const auto rest = hasItem ? std::from_chars(camera.ptr + 1, end, source.item) : camera;
    source.isNamed = rest.ec == std::errc() && rest.ptr == end;
    return source;
}

bool IsConditionMet(const ActionRule& rule, const CameraStates& cameras, std::time_t instant) noexcept
{
    if (!rule.IsCondition()) {
        return true;
    }
    const ConditionSource source = ReadCondition(rule.GetConditionValue());
    const auto found = source.isNamed ? cameras.find(source.deviceId) : cameras.end();
    return found != cameras.end() &&
           ReadSource(found->second, static_cast<RULE_EVENT>(rule.GetConditionUnit()), source.item, instant)
               .isTriggered;
}

/// Why a condition does not hold.
std::string ConditionPhrase(const ActionRule& rule)
{
    const std::string& text = rule.GetConditionValue();
    return ReadCondition(text).isNamed
               ? "its condition does not hold (" +
                     RuleEventPhrase(DEVICE_SRC_CAMERA, static_cast<RULE_EVENT>(rule.GetConditionUnit())) +
                     " on camera " + text + ")."
               : "its condition \"" + text + "\" names no camera, as \"12\" or \"12:3\" would.";
}

std::string LocalTimeText(std::time_t instant)
{
    char text[64] = "";
    tm local{};
    if (::localtime_r(&instant, &local) != nullptr) {
        std::strftime(text, sizeof text, "%a %Y-%m-%d %H:%M:%S %Z", &local);
    }
    return text;
}

/// "motion on camera 3"; without a device, on all that the event names.
std::string PhraseOf(const ActionRuleEvent& event, int deviceId)
{
    std::string phrase = RuleEventPhrase(event.GetEvtSrc(), event.GetEvtId());
    if (event.GetEvtSrc() != DEVICE_SRC_CAMERA) {
        return phrase;
    }
    if (deviceId == 0 && event.IsAllDevices()) {
        return phrase + " on any camera";
    }
    const std::set<int> ids = deviceId != 0 ? std::set<int>{deviceId} : event.GetEvtDevIds(false);
    return phrase + (ids.size() > 1 ? " on cameras " : " on camera ") +
           Iter2String(ids.begin(), ids.end(), ", ");
}

/// The events of a rule: those that are attached, or the one of its own columns; none when neither is set.
std::vector<ActionRuleEvent> EventsOf(const ActionRule& rule)
{
    if (!rule.GetEvtList().empty() || rule.GetEvtId() == RULE_EVENT_NONE) {
        return rule.GetEvtList();
    }
    ActionRuleEvent own;
    own.SetEvtSrc(rule.GetEvtSrc());
    own.SetEvtId(rule.GetEvtId());
    own.SetEvtDevId(rule.GetEvtDevId());
    return {own};
}

/// "motion on camera 3", for the event that decided; where none did, for all of them.
std::string EventPhrase(const RuleVerdict& verdict, const ActionRule& rule)
{
    const std::vector<ActionRuleEvent> events = EventsOf(rule);
    if (verdict.eventPlace >= 0 && verdict.eventPlace < static_cast<int>(events.size())) {
        return PhraseOf(events[static_cast<std::size_t>(verdict.eventPlace)], verdict.deviceId);
    }
    return Iter2String(events.begin(), events.end(), "; ", [&verdict](const ActionRuleEvent& event) {
        return PhraseOf(event, verdict.deviceId);
    });
}

/// Why the source of a rule is not triggered.
std::string RestPhrase(const ActionRule& rule, const std::string& events)
{
    const auto& list = rule.GetEvtList();
    const auto isReported = [](const ActionRuleEvent& event) {
        return event.GetEvtSrc() == DEVICE_SRC_CAMERA;
    };
    if (events.empty()) {
        return "it names no event.";
    }
    return (list.empty() ? rule.GetEvtSrc() == DEVICE_SRC_CAMERA
                         : std::any_of(list.begin(), list.end(), isReported))
               ? "its source is at rest (" + events + ")."
               : "no camera reports its source (" + events + ").";
}

} // namespace

SourceState ReadSource(const CamEventExecParam& camera, RULE_EVENT event, int item,
                       std::time_t instant) noexcept
{
    switch (static_cast<int>(event)) {
    case RULE_EVENT_CONN_LOST:
        return {IsConnFailed(camera.GetCurConnStatus()), camera.BecomeConnLost()};
    case RULE_EVENT_CONN_RECOVER:
        return {camera.IsConnNormal(), camera.BecomeConnRecover()};
    case RULE_EVENT_MOTION:
        return Lasting(camera.IsMDTrig());
    case RULE_EVENT_TAMPER:
        return Lasting(camera.IsTDTrig());
    case RULE_EVENT_DIGITAL_INPUT:
        return {camera.IsDITrig(item), item == -1 ? IsAnyInputNew(camera) : IsInputNew(camera, item)};
    case RULE_EVENT_AUDIO:
        return Lasting(camera.IsADTrig());
    case RULE_EVENT_PD:
        return Lasting(camera.IsPDTrig());
    case RULE_EVENT_DOORBELL:
        return {camera.IsDoorbellTrig(), camera.DoorbellBecomeActivate()};
    case RULE_EVENT_DOOR_ACCESS:
        return Lasting(camera.IsDoorTime(camera.GetDoorAcsTime(), instant));
    case RULE_EVENT_EXIT_BUTTON:
        return {camera.IsRexBtnTrig(), camera.DIBecomeActivate(camera.GetRexBtnIdx())};
    case RULE_EVENT_DOOR_LOCK:
        return Lasting(camera.IsDoorTime(camera.GetDoorLockTime(), instant));
    case RULE_EVENT_DOOR_UNLOCK:
        return Lasting(camera.IsDoorTime(camera.GetDoorUnlockTime(), instant));
    case RULE_EVENT_QR_CODE:
        return Lasting(camera.IsQRCodeTrig());
    case RULE_EVENT_EXTERNAL_INPUT:
        return Lasting(item < 0 ? camera.IsExtDITrig() : camera.IsExtDITrig(item));
    case RULE_EVENT_PEOPLE_VEHICLE:
        return Lasting(camera.IsPeopleVehicleTrigger());
    case RULE_EVENT_INTRUSION:
        return Lasting(camera.IsIntrusionTrigger());
    case RULE_EVENT_CROWDED:
        return Lasting(camera.IsCrowdedDetectionTrigger());
    case RULE_EVENT_APPLICATION:
        return {camera.IsAppTrig(item), camera.AppBecomeActivate(item)};
    case RULE_EVENT_TIME_LAPSE:
        return Lasting(camera.IsLapseTaskTrig(item));
    default:
        return {};
    }
}

RuleVerdict JudgeRule(const ActionRule& rule, const CameraStates& cameras, std::time_t instant) noexcept
{
    if (!rule.IsEnabled()) {
        return {RuleReason::DISABLED, -1, 0, 0};
    }
    if (rule.GetActiveSche().ValueAt(instant) == 0) {
        return {RuleReason::OUTSIDE_SCHEDULE, -1, 0, 0};
    }
    const Trigger trigger = JudgeEvents(rule, cameras, instant);
    const auto verdict = [&trigger](RuleReason reason, int waitSec = 0) {
        return RuleVerdict{reason, trigger.place, trigger.deviceId, waitSec};
    };
    if (!trigger.isTriggered) {
        return verdict(RuleReason::NOT_TRIGGERED);
    }
    if (!trigger.isEdge) {
        return verdict(RuleReason::NO_EDGE);
    }
    if (const int waitSec = WaitSec(rule, instant); waitSec > 0) {
        return verdict(RuleReason::WITHIN_MIN_INTERVAL, waitSec);
    }
    return verdict(IsConditionMet(rule, cameras, instant) ? RuleReason::FIRES
                                                          : RuleReason::CONDITION_NOT_MET);
}

const char* RuleReasonText(RuleReason reason) noexcept
{
    switch (reason) {
    case RuleReason::DISABLED:
        return "disabled";
    case RuleReason::OUTSIDE_SCHEDULE:
        return "outside schedule";
    case RuleReason::NOT_TRIGGERED:
        return "not triggered";
    case RuleReason::NO_EDGE:
        return "no edge";
    case RuleReason::WITHIN_MIN_INTERVAL:
        return "within minimum interval";
    case RuleReason::CONDITION_NOT_MET:
        return "condition not met";
    case RuleReason::FIRES:
        break;
    }
    return "fires";
}

const char* RuleEventText(RULE_EVENT event) noexcept
{
    static constexpr const char* NAMES[] = {
        "event",
        "lost connection",
        "recovered connection",
        "motion",
        "tampering",
        "digital input",
        "audio",
        "PD",
        "doorbell",
        "door access",
        "exit button",
        "door lock",
        "door unlock",
        "QR code",
        "external input",
        "people or vehicle",
        "intrusion",
        "crowd",
        "application",
        "time-lapse",
    };
    const auto place = static_cast<std::size_t>(event);
    return event >= 0 && place < std::size(NAMES) ? NAMES[place] : NAMES[0];
}

std::string RuleEventPhrase(DEVICE_SRC source, RULE_EVENT event)
{
    const bool isNamed =
        source == DEVICE_SRC_CAMERA && event > RULE_EVENT_NONE && event <= RULE_EVENT_TIME_LAPSE;
    return isNamed ? RuleEventText(event)
                   : "event " + std::to_string(event) +
                         (source == DEVICE_SRC_CAMERA ? "" : " of source " + std::to_string(source));
}

std::string ExplainVerdict(const RuleVerdict& verdict, const ActionRule& rule, std::time_t instant)
{
    const std::string subject = "Rule \"" + rule.GetName() + "\" (" + std::to_string(rule.GetId()) + ") ";
    const std::string event = EventPhrase(verdict, rule);
    switch (verdict.reason) {
    case RuleReason::DISABLED:
        return subject + "does not fire: it is switched off.";
    case RuleReason::OUTSIDE_SCHEDULE:
        return subject + "does not fire: its schedule is off at " + LocalTimeText(instant) + " (" +
               rule.GetActiveSche().ToText() + ").";
    case RuleReason::NOT_TRIGGERED:
        return subject + "does not fire: " + RestPhrase(rule, event);
    case RuleReason::NO_EDGE:
        return subject + "does not fire: " + event + " is still active; nothing new has happened.";
    case RuleReason::WITHIN_MIN_INTERVAL:
        return subject + "does not fire: it has fired before and waits " + std::to_string(verdict.waitSec) +
               " more seconds of its minimum interval of " + std::to_string(rule.GetEvtMinInterval()) + ".";
    case RuleReason::CONDITION_NOT_MET:
        return subject + "does not fire: " + ConditionPhrase(rule);
    case RuleReason::FIRES:
        break;
    }
    return subject + "fires at " + LocalTimeText(instant) +
           (verdict.deviceId != 0 ? ": " + event + "." : ".");
}
