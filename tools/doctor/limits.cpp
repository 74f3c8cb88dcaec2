// SPDX-License-Identifier: Apache-2.0
// tools/doctor/limits.cpp - limits of recordings that their volume cannot hold, and cameras that have none.
#include <fmt/format.h>

#include <filesystem>
#include <set>
#include <string>

#include "camera_group.h"
#include "doctor/finding.h"
#include "package/camera.h"
#include "package/recsweep.h"
#include "package/root.h"

namespace {

bool HasLimit(const RotLimits& limits)
{
    return (limits.byDate && limits.days > 0) || (limits.bySize && limits.sizeMB > 0) || limits.num > 0;
}

/// Megabytes that the camera may fill by its limits. Its groups without any limit are added to `unlimited`.
long long AllowedMB(const Camera& camera, std::string& unlimited)
{
    long long allowedMB = 0;
    for (const CAM_REC_GROUP group : {CAM_REC_GROUP_CONTINUOUS, CAM_REC_GROUP_EVENT}) {
        const RotLimits& limits = camera.GetLimits(group);
        allowedMB += limits.bySize ? limits.sizeMB : 0;
        if (!HasLimit(limits)) {
            unlimited += fmt::format("{}{} of camera {}", unlimited.empty() ? "" : ", ",
                                     CameraGroupName(group), camera.GetId());
        }
    }
    return allowedMB;
}

} // namespace

void CheckLimits(Findings& findings)
{
    const std::string root = GetPackageRoot();
    std::error_code missing; // nothing configured or nothing recorded: no limits to judge
    std::set<int> ids;
    if (!std::filesystem::exists(root + "/db/system.db", missing) || GetAllCameraIds(ids) != 0) {
        return;
    }
    long long allowedMB = 0;
    std::string unlimited;
    for (const int id : ids) {
        Camera camera;
        if (camera.Load(id) == 0 && camera.IsEnabled()) {
            allowedMB += AllowedMB(camera, unlimited);
        }
    }
    if (!unlimited.empty()) {
        findings.Note(
            fmt::format("recording groups without any limit: {}; only the volume's reserve ends them "
                        "(vx camera edit ID --group GROUP --days N)",
                        unlimited));
    }
    long long freeMB = 0;
    long long totalMB = 0;
    if (std::filesystem::exists(root + "/rec", missing) &&
        GetVolumeSpaceMB(root + "/rec", freeMB, totalMB) == 0 && allowedMB > totalMB) {
        findings.Add("limits.too-large",
                     fmt::format("cameras may keep {} MB by their limits; the volume of {}/rec has {}",
                                 allowedMB, root, totalMB),
                     "the volume is full before a limit is reached, and the oldest recordings of all cameras "
                     "go instead",
                     "vx camera edit ID --size MB");
    }
}
