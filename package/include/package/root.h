// SPDX-License-Identifier: Apache-2.0
// package/root.h - the one folder that holds everything that the package stores.
#pragma once

#include <string>

#include "package/export.h"

/// The package root: $VX_ROOT, else /var/lib/vx. Read anew at each call, so that a test can move it.
///
/// @return an absolute or relative path as given, without a trailing slash.
/// Thread-safety: any thread, as long as nobody changes the environment meanwhile.
VX_API std::string GetPackageRoot();

/// The folders below the root. Databases, keys and run files keep other users out (0700);
/// recordings, logs and archives may be read by the group (0750).
enum class PackageDir { ETC, DB, REC, LOG, ARCHIVE, RUN };

/// The path of one folder below the root, made with its mode on first use.
///
/// @return the path; empty when it does not exist and cannot be made (errno says why).
/// Thread-safety: any thread; several processes may make the same folder at once.
VX_API std::string GetPackageDir(PackageDir dir);

/// The path of a file in one of the folders, which is made on first use. Where it cannot be made the path is the
/// same, so that opening it fails and names it: joined to an empty folder by hand, a name would stand in "/".
///
/// @param name  name of the file, without a slash before it.
/// Thread-safety: as GetPackageDir.
VX_API std::string GetPackagePath(PackageDir dir, const std::string& name);
