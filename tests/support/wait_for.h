// SPDX-License-Identifier: Apache-2.0
// tests/support/wait_for.h - waits for what another process or thread brings about.
#pragma once

#include <unistd.h>

/// Asks every few milliseconds until the answer is yes. @return false after a minute without it
template <typename Condition>
bool WaitFor(const Condition& condition)
{
    for (int i = 0; i < 12000 && !condition(); ++i) {
        ::usleep(5000);
    }
    return condition();
}
