// SPDX-License-Identifier: Apache-2.0
// tests/support/fake_clock.h - both clocks under the test's hand. Linking fake_clock.cpp puts them in place.
#pragma once

#include <ctime>

/// Seconds that GetMonoTimeSec() and GetWallTimeSec() give until they are set again.
extern int g_fakeMonoSec;
extern std::time_t g_fakeWallSec;
