// SPDX-License-Identifier: Apache-2.0
// tools/camera_group.h - recording groups of a camera by their names.
#pragma once

#include <string>
#include <string_view>

#include "package/camera.h"

/// "continuous", "event", or the number of one that no camera has.
std::string CameraGroupName(CAM_REC_GROUP group);

/// "continuous", "event", or the number; ends the verb for another text.
CAM_REC_GROUP ParseCameraGroup(std::string_view verb, const std::string& name);
