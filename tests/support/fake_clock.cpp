// SPDX-License-Identifier: Apache-2.0
// tests/support/fake_clock.cpp - takes the place of the package's clocks in a test program.
#include "fake_clock.h"

#include "package/monoclock.h"

int g_fakeMonoSec = 1000;
std::time_t g_fakeWallSec = 1'700'000'000;

int GetMonoTimeSec() noexcept
{
    return g_fakeMonoSec;
}

std::time_t GetWallTimeSec() noexcept
{
    return g_fakeWallSec;
}
