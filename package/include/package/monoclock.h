// SPDX-License-Identifier: Apache-2.0
// package/monoclock.h - the two clocks that the library reads. A test links its own in place of them.
#pragma once

#include <ctime>

#include "package/export.h"

/// Seconds of the monotonic clock: never goes back, says nothing about the date, starts anew at boot.
///
/// @return seconds since an arbitrary start, never negative.
/// Thread-safety: any thread.
VX_API int GetMonoTimeSec() noexcept;

/// Seconds of the wall clock since 1970-01-01 UTC. Goes back when somebody sets it.
///
/// Thread-safety: any thread.
VX_API std::time_t GetWallTimeSec() noexcept;
