// SPDX-License-Identifier: Apache-2.0
// tests/support/wait_for.h - waits for what another process or thread brings about.
#pragma once

#include <unistd.h>

#include <fstream>
#include <string>

/// Asks every few milliseconds until the answer is yes. @return false after a minute without it
template <typename Condition>
bool WaitFor(const Condition& condition)
{
    for (int i = 0; i < 12000 && !condition(); ++i) {
        ::usleep(5000);
    }
    return condition();
}

/// Whether a process stands in flock() and waits for another one.
inline bool IsWaitingForALock(pid_t pid)
{
    std::ifstream locks("/proc/locks");
    bool isFound = false;
    for (std::string line; !isFound && std::getline(locks, line);) {
        isFound =
            line.find("-> FLOCK") != line.npos && line.find(" " + std::to_string(pid) + " ") != line.npos;
    }
    return isFound;
}
