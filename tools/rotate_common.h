// SPDX-License-Identifier: Apache-2.0
// tools/rotate_common.h - what the verbs of vx rotate share.
#pragma once

#include <json/value.h>

#include <list>
#include <string_view>

#include "rotate_targets.h"
#include "rotate_volume.h"

namespace CLI {
class App;
}

/// Whether the recordings of a target may be touched at all: database and volume belong together.
/// @param why  set when not; empty when nothing was recorded yet
bool IsVolumeOfTarget(const RotateTarget& target, std::string& why);

/// Adds "volume", that of rec/, and "shares", the other volumes.
void AddVolumesJson(const std::vector<VolumeNeed>& needs, Json::Value& json);
/// A line, and one for each target that makes no room.
std::string VolumeText(const VolumeNeed& need);
/// The bound time of its volume for a target; 0 for one that makes no room.
long VolumeBoundOf(const RotateTarget& target, const std::vector<VolumeNeed>& needs);

/// 2026-11-21 08:30:00, local time.
std::string RotateTimeText(long long time);

void AddRotatePlanVerb(CLI::App& rotate);
void AddRotateRunVerb(CLI::App& rotate);
