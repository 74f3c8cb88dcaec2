// SPDX-License-Identifier: Apache-2.0
// package/src/monoclock.cpp - the system's clocks. Alone in its file so that a test can link its own.
#include "package/monoclock.h"

int GetMonoTimeSec() noexcept
{
    timespec now{}; // whole seconds are wanted: the coarse clock is always a memory read
    ::clock_gettime(CLOCK_MONOTONIC_COARSE, &now);
    return static_cast<int>(now.tv_sec);
}

std::time_t GetWallTimeSec() noexcept
{
    return ::time(nullptr);
}
