// SPDX-License-Identifier: Apache-2.0
// package/pkgservice.h - which of the package's optional services are there.
#pragma once

#include "package/export.h"

/// Whether a service of the package is there. Service 0 stands for "none needed" and always is.
///
/// A service is there unless its number stands on a line of its own in etc/services.off. The file is read
/// again when it has changed.
/// Thread-safety: any thread.
VX_API bool IsPkgServiceOn(int serviceId) noexcept;
