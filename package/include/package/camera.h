// SPDX-License-Identifier: Apache-2.0
// package/camera.h - the cameras that this box knows.
#pragma once

#include <set>

#include "package/export.h"

/// The ids of all cameras.
///
/// @param ids  replaced on 0, unchanged on -1
/// @return 0; -1 (logged).
/// Thread-safety: any thread.
[[nodiscard]] VX_API int GetAllCameraIds(std::set<int>& ids) noexcept;
