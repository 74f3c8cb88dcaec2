// SPDX-License-Identifier: Apache-2.0
// actruleverdict.h - does a rule fire now, and if not, why not?
#pragma once

#include <ctime>
#include <map>
#include <string>

#include "actionrule.h"
#include "cameventexecparam.h"
#include "package/export.h"

/// Why a rule fires or does not. They are asked in this order, and the first that holds is the answer.
enum class RuleReason {
    DISABLED,            ///< the rule is switched off
    OUTSIDE_SCHEDULE,    ///< its weekly schedule is off at that instant
    NOT_TRIGGERED,       ///< its source is at rest; with "all events", one of them is
    NO_EDGE,             ///< its source is triggered and has been before; nothing new has happened
    WITHIN_MIN_INTERVAL, ///< it has fired less than its minimum interval ago
    CONDITION_NOT_MET,   ///< its condition does not hold
    FIRES,
};

/// The answer, with what a person needs to understand it.
struct RuleVerdict {
    RuleReason reason = RuleReason::NOT_TRIGGERED;
    int eventPlace = -1; ///< the event that decided, counted from 0; -1: none, or the rule's own columns
    int deviceId = 0;    ///< the device on which it did; 0: none
    int waitSec = 0;     ///< WITHIN_MIN_INTERVAL: seconds until it may fire again

    bool Fires() const noexcept { return reason == RuleReason::FIRES; }
};

/// The cameras by id, as a rule daemon keeps them.
using CameraStates = std::map<int, CamEventExecParam>;

/// Judges one rule. Pure: it reads no clock and no database, changes nothing and allocates nothing.
///
/// A rule's events are its attached events, or the columns of its first event when none are attached.
/// Sources that report edges (inputs, applications, doorbell) must have just become active; a source that
/// keeps one status counts as new while it is triggered. A rule of the scheduled type without an event fires
/// by its schedule alone. The condition of a rule names a source that has to be triggered at the same time:
/// unit is its event number, value its camera and item ("12", "12:3").
///
/// @param cameras  a camera that is missing is at rest
/// @param instant  seconds since 1970-01-01 UTC; the schedule is judged in local time
/// Thread-safety: any thread, while nobody changes rule and cameras. The local time zone is the process's.
VX_API RuleVerdict JudgeRule(const ActionRule& rule, const CameraStates& cameras,
                             std::time_t instant) noexcept;

/// Whether a camera's source is triggered, and whether it has just become so.
struct SourceState {
    bool isTriggered = false;
    bool isEdge = false;
};

/// Reads one source of a camera. An event that no camera reports is never triggered. Pure.
VX_API SourceState ReadSource(const CamEventExecParam& camera, RULE_EVENT event, int item,
                              std::time_t instant) noexcept;

/// The verdict as a sentence that a person understands, with the rule's name.
VX_API std::string ExplainVerdict(const RuleVerdict& verdict, const ActionRule& rule, std::time_t instant);

/// The name of a reason: "fires", "outside schedule" and so on.
VX_API const char* RuleReasonText(RuleReason reason) noexcept;

/// The name of an event of a source: "motion", or "event 33", "event 3 of source 2" where there is no name.
VX_API std::string RuleEventPhrase(DEVICE_SRC source, RULE_EVENT event);

/// The name of a camera's event: "motion", "digital input" and so on; "event" for a number without a name.
VX_API const char* RuleEventText(RULE_EVENT event) noexcept;
