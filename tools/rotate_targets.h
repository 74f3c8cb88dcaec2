// SPDX-License-Identifier: Apache-2.0
// tools/rotate_targets.h - all that this box rotates: cameras by group, archives, time-lapses, analytics, faces.
#pragma once

#include <functional>
#include <list>
#include <memory>
#include <string>

#include "package/rectable.h"
#include "vxrotate.h"
#include "vxrotatelogger.h"

/// One target of rotation.
struct RotateTarget {
    using Maker = std::function<std::unique_ptr<VxRotEvtBase>(long volBound, const volatile int& runFlag,
                                                              VxRotLogger& logger)>;

    EVT_TYPE type = EVT_TYPE_CAMERA;
    REC_KIND kind = REC_KIND_EVENT;
    int archTaskId = 0;
    int id = 0;
    std::string name;         ///< for people
    std::string dbPath;       ///< exists
    std::string share;        ///< folder of its recordings below rec/; "": rec/ itself
    bool isConfigured = true; ///< no: only its recordings remember it
    std::size_t volume = 0;   ///< which of the volumes that ComputeVolumeNeeds() tells
    bool makesRoom = true;    ///< no: its files cannot be deleted, so marking them would free nothing
    Maker make;
};

/// The targets whose databases exist, and the owners of recordings that are no longer configured: those have no
/// limits of their own, but make room when the volume is short.
///
/// A database that cannot be read has no targets, and keeps those of others from nothing.
/// @param refused  what cannot be rotated and why, a line each, is added
/// @return 0; 1 (logged): a database cannot be read; -1 (logged): what is configured cannot be read
[[nodiscard]] int ListRotateTargets(std::list<RotateTarget>& targets, std::list<std::string>& refused);

/// Text for a kind of target: "camera", "archive", ...
const char* RotateTypeName(EVT_TYPE type) noexcept;
