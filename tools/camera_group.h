// SPDX-License-Identifier: Apache-2.0
// tools/camera_group.h - recording groups of a camera by their names.
#pragma once

#include <string>
#include <string_view>

#include "package/camera.h"

const char* CameraGroupName(CAM_REC_GROUP group) noexcept;

/// "continuous", "event", or the number; ends the verb for another text.
CAM_REC_GROUP ParseCameraGroup(std::string_view verb, const std::string& name);
