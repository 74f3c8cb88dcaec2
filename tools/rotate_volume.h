// SPDX-License-Identifier: Apache-2.0
// tools/rotate_volume.h - whether the volume of recordings is short of room, and how far back it has to go.
#pragma once

#include <list>
#include <string>
#include <vector>

#include "rotate_targets.h"

/// What a volume needs.
struct VolumeNeed {
    std::string share; ///< the share that lies on it; "": it is that of rec/
    long long totalMB = 0;
    long long freeMB = 0;
    long long reserveMB = 0;      ///< to be left free
    long long comingMB = 0;       ///< marked already, free after the sweep
    long long neededMB = 0;       ///< still missing then; 0: nothing
    long long foundMB = 0;        ///< what comes free up to the bound
    long boundTime = 0;           ///< what ended before it goes, of targets that make room; 0: nothing
    std::list<std::string> stuck; ///< targets that make none, and why
};

/// Recordings that ended later than this long ago are never taken for room.
constexpr long VOLUME_KEEP_SEC = 3600;

/// Looks at the volumes that targets record on: that of rec/, and those of shares that are mounted below it. For one
/// that is short it walks the oldest recordings of its targets together until what is missing comes free. The newest
/// recording of all stays, and so does what is younger than VOLUME_KEEP_SEC: a volume that others have filled does not
/// empty the box. A target of which neither the oldest nor the newest can be deleted is left out: one round after the
/// other would mark more of it, and free nothing.
///
/// @param targets    their `volume` and `makesRoom` are set
/// @param reserveMB  to be left free; below 0: as configured
/// @param needs      that of rec/ comes first, and is always there
/// @return 0; -1 (logged): `needs` says what was found until then, without a bound for the one that failed
[[nodiscard]] int ComputeVolumeNeeds(std::list<RotateTarget>& targets, long long reserveMB,
                                     std::vector<VolumeNeed>& needs);
