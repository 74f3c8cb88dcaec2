// SPDX-License-Identifier: Apache-2.0
// actrulepredicates.h - what the numbers of actions, events and time units of action rules mean.
//
// Pure functions of numbers: any value may be asked about, one that is not listed gives the answer for
// "other".
#pragma once

#include "actionruleenum.h"
#include "actionruleevent.h"
#include "package/export.h"

/// The action switches a device on or off (1, 2).
VX_API bool IsDeviceEnableAct(RULE_ACTION action) noexcept;
/// The action records (3, 13).
VX_API bool IsRecordAct(RULE_ACTION action) noexcept;
/// The action moves a lens and may return to where it was (5 to 8).
VX_API bool IsLensAct(RULE_ACTION action) noexcept;
/// The action plays audio (9, 11, 12).
VX_API bool IsAudioOutAct(RULE_ACTION action) noexcept;
/// The action sets a digital output (10, 14).
VX_API bool IsDOAct(RULE_ACTION action) noexcept;
/// Two rules have the same action only when the action item is the same too (5, 6, 10, 14).
VX_API bool IsCheckActItemAsSameRule(RULE_ACTION action) noexcept;

/// The event says that a device was switched on or off: events 1 and 2 of the sources 0, 7, 9, 11 and 14.
VX_API bool IsEnableRelateEvt(DEVICE_SRC source, RULE_EVENT event) noexcept;
VX_API bool IsEnableRelateEvt(const ActionRuleEvent& event) noexcept;

/// Seconds of one time unit: -2 gives 0, 2 gives 60, 3 gives 3600, all others 1.
VX_API int TimeUnit2Sec(int unit) noexcept;

/// The package service that a source needs; 0 for none.
VX_API int SourceDependentService(DEVICE_SRC source) noexcept;
/// The package service that an event needs: always 0, none does.
VX_API int EventDependentService(RULE_EVENT event) noexcept;

/// The code of an event's name within its source; 0 for none.
VX_API int GetEventName(RULE_EVENT event, DEVICE_SRC source) noexcept;
