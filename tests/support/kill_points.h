// SPDX-License-Identifier: Apache-2.0
// tests/support/kill_points.h - a process that is killed at its n-th change of a file. Linking kill_points.cpp
// puts it before the C library's calls; while it is not armed everything works as ever.
#pragma once

#include <string>

/// From now on the n-th call (from 0) that changes a file or makes it durable ends this process by SIGKILL,
/// before it does anything. A negative number only counts.
void ArmKillPoint(int n);

/// Calls since ArmKillPoint(), each as "name argument", for instance "unlinkat a.mp4".
const char* KillPointName(int n);
int KillPointsPassed();
