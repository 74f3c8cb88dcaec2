// SPDX-License-Identifier: Apache-2.0
// package/fileutil.h - what is asked of files and folders in one call.
#pragma once

#include <string>

#include "package/export.h"

/// Whether a folder is there, and may be written into. errno says why not.
[[nodiscard]] VX_API bool IsDirAccess(const std::string& path) noexcept;

/// Removes a file. One that is not there is no error.
///
/// @return 0; -1 (logged, errno kept).
VX_API int VxRm(const std::string& path) noexcept;

/// Brings a file's or a folder's content to its medium. @return 0; -1 (not logged, errno kept).
[[nodiscard]] VX_API int SyncPath(const std::string& path) noexcept;
